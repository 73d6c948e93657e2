#pragma once

/// The commands of `vf`, one file each. A command adds itself to the command line; its callback does the work and
/// throws Failure to end with an exit code other than 0.

#include <CLI/CLI.hpp>

namespace tool {

/// `vf convert IN OUT`: a clip or still through a pixel format and a size into a file.
void AddConvertCommand(CLI::App& app);

/// `vf formats`: the table of pixel formats.
void AddFormatsCommand(CLI::App& app);

} // namespace tool
