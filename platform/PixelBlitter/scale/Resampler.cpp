#include "scale/Resampler.h"

#include "scale/PreparedResample.h"
#include "scale/ResampleBand.h"

#include "scale/RowSharing.h"

namespace PixelBlitter {

namespace {
// A thread that turns to other rows reads those around them anew.
constexpr int kRowsPerTurn = 64;
} // namespace

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

    explicit State(const ResampleRequest& request) : prepared(request) { prepared.AllocateRows(); }
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

void ResamplePlan::RunRows(const FloatRowSource& source, FloatRowSink& sink, int band, int top, int bottom) noexcept {
    ResampleBand(mState->prepared, source, sink, band, top, bottom).Run();
}

void ResamplePlan::RunBand(const FloatRowSource& source, FloatRowSink& sink, int band) noexcept {
    const PreparedResample& prepared = mState->prepared;
    RunRows(source, sink, band, prepared.BandTop(band), prepared.BandTop(band + 1));
}

void ResamplePlan::Run(const FloatRowSource& source, FloatRowSink& sink) noexcept {
    const PreparedResample& prepared = mState->prepared;
    if (prepared.IsEmpty()) {
        return;
    }
    ShareRows(prepared.request.vertical.destinationSize, kRowsPerTurn, prepared.outline.bands,
              [&](int worker, int top, int bottom) { RunRows(source, sink, worker, top, bottom); });
}

} // namespace PixelBlitter
