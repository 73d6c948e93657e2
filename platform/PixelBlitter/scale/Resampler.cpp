#include "scale/Resampler.h"

#include "scale/PreparedResample.h"
#include "scale/ResampleBand.h"

#include "zyncore.h"

#include <atomic>
#include <vector>

namespace PixelBlitter {

ResampleAxis WholeAxis(int sourceSize, int destinationSize) noexcept {
    return {sourceSize, destinationSize, destinationSize > 0 ? double(sourceSize) / destinationSize : 0.0, 0.0};
}

ResampleAxis LinesAxis(int sourceHeight, Lines sourceLines, int destinationHeight, Lines destinationLines) noexcept {
    // Line n of a side is centred on scale * (n + 1/2) + shift of its whole picture.
    struct Side {
        int size;
        double scale;
        double shift;
    };
    const auto side = [](int height, Lines lines) noexcept -> Side {
        switch (lines) {
        case Lines::All:
            break;
        case Lines::Even:
            return {height - height / 2, 2.0, -0.5};
        case Lines::Odd:
            return {height / 2, 2.0, 0.5};
        }
        return {height, 1.0, 0.0};
    };
    const Side from = side(sourceHeight, sourceLines);
    const Side to = side(destinationHeight, destinationLines);
    const double ratio = WholeAxis(sourceHeight, destinationHeight).step;
    return {from.size, to.size, to.scale * ratio / from.scale, (to.shift * ratio - from.shift) / from.scale};
}

struct ResamplePlan::State {
    PreparedResample prepared;
    std::vector<std::atomic<bool>> bandDone;

    explicit State(const ResampleRequest& request) : prepared(request) {
        prepared.AllocateRows();
        bandDone = std::vector<std::atomic<bool>>(static_cast<std::size_t>(prepared.outline.bands));
    }
};

ResamplePlan::ResamplePlan(std::unique_ptr<State> state) noexcept : mState(std::move(state)) {}
ResamplePlan::~ResamplePlan() = default;

std::unique_ptr<ResamplePlan> ResamplePlan::Make(const ResampleRequest& request) noexcept {
    try {
        return std::make_unique<ResamplePlan>(std::make_unique<State>(request));
    } catch (...) {
        return nullptr;
    }
}

std::optional<ResampleOutline> ResamplePlan::Outline(const ResampleRequest& request) noexcept {
    try {
        return PreparedResample(request).outline;
    } catch (...) {
        return std::nullopt;
    }
}

const ResampleOutline& ResamplePlan::Outline() const noexcept {
    return mState->prepared.outline;
}

void ResamplePlan::RunBand(const FloatRowSource& source, FloatRowSink& sink, int band) noexcept {
    ResampleBand(mState->prepared, source, sink, band).Run();
}

void ResamplePlan::Run(const FloatRowSource& source, FloatRowSink& sink) noexcept {
    const int bands = mState->prepared.outline.bands;
    if (bands <= 1) {
        if (bands == 1)
            RunBand(source, sink, 0);
        return;
    }
    for (std::atomic<bool>& done : mState->bandDone)
        done.store(false, std::memory_order_relaxed);
    try {
        zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors(
            [this, &source, &sink](std::uint64_t band) {
                RunBand(source, sink, static_cast<int>(band));
                mState->bandDone[band].store(true, std::memory_order_release);
            },
            static_cast<std::uint64_t>(bands));
    } catch (...) {
        // Bands do not throw, so the pool found no memory to hand them out. This thread makes those that are missing.
        for (int band = 0; band < bands; ++band) {
            if (!mState->bandDone[static_cast<std::size_t>(band)].load(std::memory_order_acquire))
                RunBand(source, sink, band);
        }
    }
}

} // namespace PixelBlitter
