#pragma once

/// Input checks. A failed one is reported under its text, source and line; then the operation goes on.

namespace VF::Details {

/// Reports a failed check: asks the dialog hook, breaks into an attached debugger if it said so, and raises the error.
/// Needs no state of the library, so it works before Initialize and after Shutdown. May throw what the error hook
/// throws.
void ReportContractViolation(const char* condition, const char* source, int line);

/// Reports the condition's text when it does not hold. source is the short form of the unit, such as
/// "Src/VideoFrameFactory"; the line is the caller's unless one is fixed.
inline void CheckContract(bool holds, const char* condition, const char* source, int line = __builtin_LINE()) {
    if (!holds) [[unlikely]] {
        ReportContractViolation(condition, source, line);
    }
}

} // namespace VF::Details
