// SSE4 adds nothing to SSSE3 that these kernels use, and every target costs compile time.
#define HWY_DISABLED_TARGETS HWY_SSE4
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/VectorKernels.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "KernelTable-inl.h"

#if HWY_ONCE
namespace PixelBlitter {

HWY_EXPORT(TableOfTarget);

const Kernels& KernelsOfThisMachine() noexcept {
    // The vector targets start at a baseline that not every machine of the architecture has.
    if ((hwy::SupportedTargets() & HWY_TARGETS) == 0) {
        return PortableKernels();
    }
    return *HWY_DYNAMIC_DISPATCH(TableOfTarget)();
}

} // namespace PixelBlitter
#endif
