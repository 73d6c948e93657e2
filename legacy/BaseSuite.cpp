#include "BaseSuite.h"

#include "DepthConversion.h"
#include "LifecycleSteps.h"

#include <atomic>

namespace VF {
namespace Pixmaps {
namespace {

constexpr SuiteEntry kIdle{{}, {.idle = tpixLockPixels}};
constexpr SuiteEntry Entry(SuiteConversion function) {
    return {{}, {.convert = function}};
}

constexpr BaseSuite kBaseSuite{
    "base suite",
    kBaseSuiteVersion,
    {kIdle, kIdle, Entry(_KxCopy32), kIdle, Entry(_KxDepthCon24To32), Entry(_KxDepthCon32To24), kIdle, kIdle, kIdle,
     kIdle, kIdle},
};

std::atomic<const BaseSuite*> sCurrentSuite{nullptr};

} // namespace

const BaseSuite* CurrentSuite() noexcept {
    return sCurrentSuite.load(std::memory_order_acquire);
}

std::int32_t CallSuite(SuiteEntryNumber entry, const void* source, void* destination, std::int32_t width,
                       std::int32_t height, std::int32_t sourceRowBytes, std::int32_t destinationRowBytes) {
    const BaseSuite* const suite = CurrentSuite();
    return suite == nullptr ? 0
                            : suite->entries[entry].function.convert(source, destination, width, height, sourceRowBytes,
                                                                     destinationRowBytes);
}

} // namespace Pixmaps

// The last stop leaves it: it is a constant, and good as long as the library is loaded.
void Details::MakeBaseSuiteCurrent() {
    Pixmaps::sCurrentSuite.store(&Pixmaps::kBaseSuite, std::memory_order_release);
}

} // namespace VF
