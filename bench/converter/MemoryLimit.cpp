#include "MemoryLimit.h"

#include <algorithm>
#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "MemoryLimit.cpp"
#include <hwy/foreach_target.h>

#include <hwy/cache_control.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace converterbench::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Line by line, reads and writes in proportion, as a conversion's are. Rows that do not follow each other have their
// successors fetched.
template <bool streams>
std::uint8_t Move(const Image& in, const Image& out, std::size_t rows, std::size_t read, std::size_t written) {
    constexpr std::size_t kLine = 64, kFetchAhead = 2048;
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t lanes = hn::Lanes(d);
    const std::size_t reads = read / kLine, writes = written / kLine, lines = std::max(reads, writes);
    const std::ptrdiff_t ahead = rows > 1 ? in.rowBytes : kFetchAhead;
    auto sum = hn::Zero(d);
    for (std::size_t row = 0; row < rows; ++row) {
        const std::uint8_t* from = in.data + static_cast<std::ptrdiff_t>(row) * in.rowBytes;
        // Streaming wants whole vectors.
        std::uint8_t* to = out.data + static_cast<std::ptrdiff_t>(row) * out.rowBytes / 64 * 64;
        std::size_t readsDue = 0, writesDue = 0;
        for (std::size_t i = 0; i < lines; ++i) {
            if ((readsDue += reads) >= lines) {
                readsDue -= lines;
                hwy::Prefetch(from + ahead);
                for (std::size_t k = 0; k < kLine; k += lanes) {
                    sum = hn::Xor(sum, hn::LoadU(d, from + k));
                }
                from += kLine;
            }
            if ((writesDue += writes) >= lines) {
                writesDue -= lines;
                for (std::size_t k = 0; k < kLine; k += lanes) {
                    if constexpr (streams) {
                        hn::Stream(sum, d, to + k);
                    } else {
                        hn::StoreU(sum, d, to + k);
                    }
                }
                to += kLine;
            }
        }
    }
    if constexpr (streams) {
        hwy::FlushStream();
    }
    return hn::GetLane(sum);
}

std::uint8_t MoveOrdinary(const Image& in, const Image& out, std::size_t rows, std::size_t read, std::size_t written) {
    return Move<false>(in, out, rows, read, written);
}
std::uint8_t MoveStreaming(const Image& in, const Image& out, std::size_t rows, std::size_t read, std::size_t written) {
    return Move<true>(in, out, rows, read, written);
}

} // namespace converterbench::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace converterbench {
namespace {

HWY_EXPORT(MoveOrdinary);
HWY_EXPORT(MoveStreaming);

class MemoryLimit final : public Worker {
public:
    MemoryLimit(const Job& job, bool streams) : mReads(job.kind != Kind::Fill), mStreams(streams) {}
    const char* Name() const override { return mStreams ? "streaming stores" : "ordinary stores"; }
    void Run(const Image& in, const Image& out) override {
        const bool byRows = in.rowBytes != 0 && in.PixelBytes() != in.rowBytes;
        const auto rows = byRows ? static_cast<std::size_t>(in.height) : 1;
        const std::size_t read = mReads ? in.Bytes() / rows : 0, written = out.Bytes() / rows;
        if (mStreams) {
            mSum = HWY_DYNAMIC_DISPATCH(MoveStreaming)(in, out, rows, read, written);
        } else if (read == 0) { // the C library writes without reading first
            std::memset(out.data, 0xFF, written);
        } else {
            mSum = HWY_DYNAMIC_DISPATCH(MoveOrdinary)(in, out, rows, read, written);
        }
    }

private:
    bool mReads, mStreams;
    volatile std::uint8_t mSum = 0; // so that nothing is left out
};

} // namespace

std::unique_ptr<Worker> MakeOrdinaryStores(const Job& job) {
    return std::make_unique<MemoryLimit>(job, false);
}
std::unique_ptr<Worker> MakeStreamingStores(const Job& job) {
    return std::make_unique<MemoryLimit>(job, true);
}

} // namespace converterbench

#endif
