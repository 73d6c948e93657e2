// SSE4 adds nothing to SSSE3 that these kernels use, and every target costs compile time. Vectors of a length unknown
// to the compiler cannot be members, which some of the kernels want.
#define HWY_DISABLED_TARGETS (HWY_SSE4 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128 | HWY_RVV)
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
