#include "PixelBlitter/kernels/VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/PixelCopyVectorKernels.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "kernels/PixelCopyKernels-inl.h"

#if HWY_ONCE
namespace VF::Pixmaps {

HWY_EXPORT(PixelCopyTable);

/// The table in plain C++.
const PixelCopyKernels& PlainPixelCopyKernels() noexcept;

const PixelCopyKernels& PixelCopyKernelsOfThisMachine() noexcept {
    hwy::ChosenTarget& chosen = hwy::GetChosenTarget();
    if (!chosen.IsInitialized()) {
        chosen.Update(hwy::SupportedTargets());
    }
    // Beyond the last vector target lies the fallback.
    return chosen.GetIndex() > HWY_MAX_DYNAMIC_TARGETS ? PlainPixelCopyKernels()
                                                       : *HWY_DYNAMIC_DISPATCH(PixelCopyTable)();
}

} // namespace VF::Pixmaps
#endif
