#include "PixelBlitter/kernels/VectorTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/VectorKernels.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include "PixmapChannels-inl.h"
#include "PixmapDepths-inl.h"
#include "PixmapNeighbours-inl.h"

HWY_BEFORE_NAMESPACE();
namespace VF::Pixmaps {
namespace HWY_NAMESPACE {

void FinishStreaming() noexcept {
    hwy::FlushStream();
}

const PixmapKernels* TableOfTarget() {
    static constexpr PixmapKernels table{
        .depth = kDepthTable,
        .channels = kChannelTable,
        .masks = kMaskTable,
        .mattes = {.smoothFringe = SmoothFringe, .paintFringe = PaintFringe},
        // In the order of SumWidth.
        .convolve = {Convolve<ConvolveWords>, Convolve<ConvolveFloats>},
        .nearestEntries = Nearest,
        .finishStreaming = FinishStreaming,
    };
    return &table;
}

} // namespace HWY_NAMESPACE
} // namespace VF::Pixmaps
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace VF::Pixmaps {

HWY_EXPORT(TableOfTarget);

const PixmapKernels& KernelsOfThisMachine() noexcept {
    // The answer is kept by the vector library, where tests can replace it.
    hwy::ChosenTarget& chosen = hwy::GetChosenTarget();
    if (!chosen.IsInitialized()) {
        chosen.Update(hwy::SupportedTargets());
    }
    // Beyond the last vector target lies the fallback.
    if (chosen.GetIndex() > HWY_MAX_DYNAMIC_TARGETS) {
        return PlainKernels();
    }
    return *HWY_DYNAMIC_DISPATCH(TableOfTarget)();
}

} // namespace VF::Pixmaps
#endif
