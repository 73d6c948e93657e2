#include "scale/PixelScaler.h"

#include "scale/Halving.h"
#include "scale/RowSharing.h"
#include "scale/SeparablePixels.h"

#include <algorithm>
#include <iterator>

namespace PixelBlitter {
namespace {

struct Way {
    const char* name;
    bool takesPairs;
    bool (*accepts)(const ResampleRequest& request) noexcept;
    std::unique_ptr<PixelScaler> (*make)(const ResampleRequest& request, int workers) noexcept;
};

// Best first.
constexpr Way kWays[] = {
    {"scale 2:1", true, Halving::Accepts, Halving::Make},
    {"scale integers", false, SeparablePixels::Accepts, SeparablePixels::Make},
};

const Way* WayFor(const ResampleRequest& request) noexcept {
    const auto* const way =
        std::find_if(std::begin(kWays), std::end(kWays), [&](const Way& each) { return each.accepts(request); });
    return way == std::end(kWays) ? nullptr : way;
}

// Source and destination pixels that are worth a thread of their own: some 100 us of work, where waking it costs tens
// of them.
constexpr double kPixelsPerWorker = 1 << 19;

} // namespace

std::unique_ptr<PixelScaler> PixelScaler::Make(const ResampleRequest& request, int workers) noexcept {
    return WayFor(request)->make(request, workers);
}

const char* PixelScaler::Takes(const ResampleRequest& request, bool pairs) noexcept {
    const Way* const way = WayFor(request);
    return way && (way->takesPairs || !pairs) ? way->name : nullptr;
}

int PixelScaler::WorkersFor(const ResampleRequest& request) noexcept {
    const double pixels = double(request.horizontal.sourceSize) * request.vertical.sourceSize +
                          double(request.horizontal.destinationSize) * request.vertical.destinationSize;
    return WorthwhileWorkers(pixels, kPixelsPerWorker, request.vertical.destinationSize, kGrain);
}

} // namespace PixelBlitter
