#pragma once

#include "Measurement.h"

#include <span>
#include <string>

namespace converterbench {

/// One line for a console.
void Print(const Outcome& outcome);

/// Replaces what stands between the two markers of a Markdown file by the machine, the date and the table; everything
/// else in it is written by hand. False when the file cannot be read and written or has no markers.
bool WriteMarkdown(const std::string& path, std::span<const Outcome> outcomes);

} // namespace converterbench
