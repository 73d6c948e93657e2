#pragma once

/// Scaling of 8-bit pixels in integers, as far as there are kernels for it: of four components to the same, and of
/// 4:2:2 to four components.

#include "scale/PixelKernels.h"
#include "scale/Resampler.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace PixelBlitter {

/// Rows of a picture, or of one of its fields, from the top down.
template <class Byte>
struct BasicPixelRows {
    Byte* top = nullptr;
    std::ptrdiff_t stride = 0; ///< may be negative

    Byte* Row(int n) const noexcept { return top + n * stride; }
};

struct PixelJob {
    BasicPixelRows<const std::uint8_t> source;
    BasicPixelRows<std::uint8_t> destination;
    const PixelOrder& order;
    const PairMatrix* matrix; ///< where the source is 8-bit 4:2:2; then order does not count
    bool weighed = false;     ///< weigh colours by alpha, between straight formats
    bool stream = false;      ///< store past the caches; Kernels::finishStreaming orders this
};

/// A prepared scaling. Preparing is what can fail. Results do not depend on the ranges that rows are made in, nor on
/// the processor.
class PixelScaler {
public:
    /// Null when memory is exhausted. The request must be one that Takes.
    static std::unique_ptr<PixelScaler> Make(const ResampleRequest& request, int workers) noexcept;

    /// The name of the way that such a request is done, null when there is none. pairs: the source is 4:2:2.
    static const char* Takes(const ResampleRequest& request, bool pairs) noexcept;

    /// Threads that such a request is worth.
    static int WorkersFor(const ResampleRequest& request) noexcept;

    /// Ranges of rows that are made at once begin at a multiple of this.
    static constexpr int kGrain = 16;

    virtual ~PixelScaler() = default;

    /// Makes rows [top, bottom) of the destination. One worker makes one range at a time.
    virtual void RunRows(const PixelJob& job, int worker, int top, int bottom) noexcept = 0;

    struct RowRange {
        int top;
        int bottom;
    };
    /// The rows of the source that rows [top, bottom) are made of.
    virtual RowRange SourceRows(int top, int bottom) const noexcept = 0;

    /// Whether jobs may be weighed. Where not, pictures whose alpha matters must be opaque.
    virtual bool Weighs() const noexcept { return false; }

    /// Memory beside the pictures, with the tables.
    virtual std::uint64_t TemporaryBytes() const noexcept = 0;
};

} // namespace PixelBlitter
