#include "VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/VectorKernels.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "KernelTable-inl.h"

#if HWY_ONCE
namespace PixelBlitter {

HWY_EXPORT(TableOfTarget);

const Kernels& KernelsOfThisMachine() noexcept {
    // Asking the processor is slow under a hypervisor, so it happens once; the answer is kept by the vector library,
    // where tests can replace it.
    hwy::ChosenTarget& chosen = hwy::GetChosenTarget();
    if (!chosen.IsInitialized()) {
        chosen.Update(hwy::SupportedTargets());
    }
    // The vector targets start at a baseline that not every machine of the architecture has; beyond the last of them
    // lies the fallback.
    if (chosen.GetIndex() > HWY_MAX_DYNAMIC_TARGETS) {
        return PortableKernels();
    }
    return *HWY_DYNAMIC_DISPATCH(TableOfTarget)();
}

} // namespace PixelBlitter
#endif
