#include "BRTFoundation.h"

namespace BRT {

const char*& CriticalSectionLock::LabelOfThread() noexcept {
    static constinit thread_local const char* label = nullptr;
    return label;
}

} // namespace BRT
