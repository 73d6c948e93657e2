#pragma once

#include <string>

namespace converterbench {

/// Processor, caches and date, as a paragraph: what figures depend on.
std::string DescribeMachine();

/// Restricts the process to the processor that it runs on. Before anything asks how many there are.
void StayOnOneProcessor();

} // namespace converterbench
