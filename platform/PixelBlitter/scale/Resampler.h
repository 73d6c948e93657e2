#pragma once

/// Separable resampling of float rows: prepare a plan once, then run it over pictures.
///
/// Sampling grid: sample n of an axis sits at n + 1/2 of that axis, so pictures of different sizes share their borders.
/// Beyond its borders a picture continues as its mirror image (the border sample is repeated first); where the mirror
/// image ends, its last sample goes on. Weights are multiples of 2^-23 that add up to exactly 1, so 0 and powers of two
/// (an opaque alpha of 1) come through unchanged whatever the filter. Other constants keep to within 4 ulp where a
/// destination sample averages over fewer than a hundred source samples, and to 1e-5 of their value beyond. A sample
/// that is not finite spoils what its neighbours within reach of the filter would have given.
///
/// The result is the same to the bit for any number of bands and threads on one machine. Between processors of
/// different vector width it differs in the last places, because sums are formed in another order.

#include "FloatRows.h"
#include "scale/Filter.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace PixelBlitter {

/// How the samples of one direction map onto each other.
struct ResampleAxis {
    int sourceSize = 0;      ///< samples in the source, at least 1
    int destinationSize = 0; ///< samples in the destination, at least 1
    double step = 0;         ///< source samples per destination sample, above 0
    double offset = 0;       ///< source samples by which the grid is moved towards higher numbers

    /// Destination sample n is centred on this place of the source, where source sample m is centred on m + 1/2.
    double SourcePosition(int n) const noexcept { return (n + 0.5) * step + offset; }

    /// True when every destination sample is the source sample of the same number.
    bool IsIdentity() const noexcept { return sourceSize == destinationSize && step == 1.0 && offset == 0.0; }

    friend bool operator==(const ResampleAxis&, const ResampleAxis&) noexcept = default;
};

/// The axis that lays the whole source over the whole destination. Both sizes at least 1.
ResampleAxis WholeAxis(int sourceSize, int destinationSize) noexcept;

/// Which lines of a picture a side of a vertical axis consists of.
enum class Lines {
    All,
    Even, ///< lines 0, 2, 4 ... from the top; (height + 1) / 2 of them
    Odd,  ///< lines 1, 3, 5 ...; height / 2 of them
};

/// The vertical axis between lines of a source and lines of a destination picture such that the two whole pictures lie
/// over each other. Heights are those of the whole pictures. A side without lines (Odd of height 1) gives size 0.
ResampleAxis LinesAxis(int sourceHeight, Lines sourceLines, int destinationHeight, Lines destinationLines) noexcept;

/// What is to be resampled.
struct ResampleRequest {
    ResampleAxis horizontal;
    ResampleAxis vertical;
    Filter filter = Filter::Bicubic;
    int bands = 0; ///< threads that may be at work at once; 0 chooses by picture size and processors
};

/// What a plan is going to do.
struct ResampleOutline {
    enum class Passes {
        None,       ///< rows are handed through
        Horizontal, ///< the heights agree
        Vertical,   ///< the widths agree
        VerticalThenHorizontal,
        HorizontalThenVertical,
    };
    Passes passes = Passes::None;
    int bands = 1; ///< runs of destination rows that may be made at the same time, each in memory of its own
    std::uint64_t temporaryBytes = 0; ///< rows held between the passes, over all bands; grows with the width only
    std::uint64_t tableBytes = 0;     ///< weights, shared with other plans through the cache
};

/// A prepared resampling. Preparing is what can fail; running cannot.
///
/// Thread rules: one plan runs one picture at a time, but different bands of it may run on different threads.
class ResamplePlan {
public:
    /// Prepares tables and temporary rows. Empty when memory is exhausted, and only then. A side of size 0 or less
    /// gives a plan of no bands that does nothing.
    static std::unique_ptr<ResamplePlan> Make(const ResampleRequest& request) noexcept;

    /// What Make would prepare, without the temporary rows. Empty when memory is exhausted.
    static std::optional<ResampleOutline> Outline(const ResampleRequest& request) noexcept;

    struct State; ///< known to the implementation only, so that Make is the one way to a plan
    explicit ResamplePlan(std::unique_ptr<State> state) noexcept;
    ~ResamplePlan();
    ResamplePlan(const ResamplePlan&) = delete;
    ResamplePlan& operator=(const ResamplePlan&) = delete;

    const ResampleOutline& Outline() const noexcept;

    /// Makes the whole picture, by as many threads as there are bands. Each source row is read whole, each destination
    /// row written whole and once. May be called from inside a processor pool task.
    void Run(const FloatRowSource& source, FloatRowSink& sink) noexcept;

    /// Makes one band, 0 <= band < Outline().bands, on the calling thread.
    void RunBand(const FloatRowSource& source, FloatRowSink& sink, int band) noexcept;

    /// Makes destination rows [top, bottom) on the calling thread in the memory of a band.
    void RunRows(const FloatRowSource& source, FloatRowSink& sink, int band, int top, int bottom) noexcept;

private:
    std::unique_ptr<State> mState;
};

/// Frees the weight tables that no plan is using. Plans in use keep theirs.
void ReleaseResampleTables() noexcept;

} // namespace PixelBlitter
