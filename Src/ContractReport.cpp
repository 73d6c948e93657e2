#include "ContractReport.h"

#include "zyncore.h"

namespace VF::Details {

void ReportContractViolation(const char* condition, const char* source, int line) {
    if (zyncore::debug::BreakAfterContractDialog(condition, source, line) && zyncore::debug::IsDebuggerAttached()) {
        zyncore::debug::BreakIntoDebugger();
    }
    const zyncore::config::ReplacementValue none[4];
    zyncore::config::ThrowError(
        0, "$$$/zyncore/utility/Error/Contract/InputContractViolation=An input contract violation has occurred!", 105,
        25, true, none[0], none[1], none[2], none[3]);
}

} // namespace VF::Details
