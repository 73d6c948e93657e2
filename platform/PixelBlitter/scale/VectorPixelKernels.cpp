#include "kernels/VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "scale/VectorPixelKernels.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "scale/PixelTable-inl.h"

#if HWY_ONCE
namespace PixelBlitter {

HWY_EXPORT(PixelTableOfTarget);

const PixelKernels& PixelKernelsOfThisMachine() noexcept {
    hwy::ChosenTarget& chosen = hwy::GetChosenTarget();
    if (!chosen.IsInitialized()) {
        chosen.Update(hwy::SupportedTargets());
    }
    // Beyond the last vector target lies the fallback.
    if (chosen.GetIndex() > HWY_MAX_DYNAMIC_TARGETS) {
        return PortablePixelKernels();
    }
    return *HWY_DYNAMIC_DISPATCH(PixelTableOfTarget)();
}

} // namespace PixelBlitter
#endif
