// What a frame costs before anybody touches its pixels, and what a copy of one costs beside memcpy.

#include "BRTFoundation.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameUtilities.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace {

std::atomic<std::uint64_t> sAllocations{0};

} // namespace

// Counts what reaches the system's allocator through C++, in the libraries too.
void* operator new(std::size_t size) {
    ++sAllocations;
    if (void* const block = std::malloc(size ? size : 1)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

namespace {

using Clock = std::chrono::steady_clock;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr std::uint32_t kWidth = 1920;
constexpr std::uint32_t kHeight = 1080;

long MinorFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

FrameRef Make(zynmediatypes::PixelFormat format) {
    FrameRef frame;
    VF::CreateVideoFrame(frame, format, kWidth, kHeight, {1, 1}, false, false);
    return frame;
}

void BenchLifetime() {
    constexpr int kRounds = 20000;
    constexpr int kRepeats = 31;
    Make(zynmediatypes::kPixelFormat_BGRA_4444_8u);
    const auto before = BRT::MemoryRecycler::Instance().GetStatistics();
    std::vector<double> nanoseconds;
    nanoseconds.reserve(kRepeats);
    const std::uint64_t allocations = sAllocations;
    const long faults = MinorFaults();
    for (int repeat = 0; repeat < kRepeats; ++repeat) {
        const auto start = Clock::now();
        for (int i = 0; i < kRounds; ++i) {
            Make(zynmediatypes::kPixelFormat_BGRA_4444_8u);
        }
        nanoseconds.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kRounds);
    }
    const long newFaults = MinorFaults() - faults;
    const std::uint64_t newAllocations = sAllocations - allocations;
    const auto after = BRT::MemoryRecycler::Instance().GetStatistics();
    std::printf("create and release a 1080p BGRA frame: %.0f ns (median of %d); allocations %llu, page faults %ld, "
                "recycler hits %llu, misses %llu\n",
                Median(nanoseconds), kRepeats, static_cast<unsigned long long>(newAllocations), newFaults,
                static_cast<unsigned long long>(after.hits - before.hits),
                static_cast<unsigned long long>(after.misses - before.misses));
}

struct Pair {
    FrameRef source, destination;
    std::vector<std::uint8_t> plainSource, plainDestination;
};

std::size_t BytesOf(const FrameRef& frame) {
    return BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetDataSize();
}

// Interleaved with a memcpy of as many bytes as the operation reads and writes, together. Hot: the same pair again.
// Cold: walking over more pairs than the cache holds.
void BenchOperation(const char* label, zynmediatypes::PixelFormat from, zynmediatypes::PixelFormat to, int pairs,
                    std::size_t bytesMoved, void (*operation)(Pair&)) {
    std::vector<Pair> buffers(static_cast<std::size_t>(pairs));
    for (Pair& pair : buffers) {
        pair.source = Make(from);
        pair.destination = Make(to);
        std::memset(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(pair.source)->GetData(), 0x3C,
                    BytesOf(pair.source));
        BRT::QueryInterface<RK::IVideoFrameClearable>(pair.destination)->FillWithTransparentBlack();
        pair.plainSource.assign(bytesMoved / 2, 0x3C);
        pair.plainDestination.assign(bytesMoved / 2, 0);
    }
    std::vector<double> operations;
    std::vector<double> plain;
    for (int round = 0; round < 120; ++round) {
        Pair& pair = buffers[static_cast<std::size_t>(round % pairs)];
        auto start = Clock::now();
        operation(pair);
        operations.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
        start = Clock::now();
        std::memcpy(pair.plainDestination.data(), pair.plainSource.data(), bytesMoved / 2);
        plain.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
    }
    std::printf("%-34s %s: %.3f ms, memcpy of the same bytes %.3f ms, ratio %.2f\n", label,
                pairs == 1 ? "hot " : "cold", Median(operations), Median(plain), Median(plain) / Median(operations));
}

void BenchCopy(const char* label, zynmediatypes::PixelFormat from, zynmediatypes::PixelFormat to, int pairs) {
    BenchOperation(label, from, to, pairs, BytesOf(Make(from)) + BytesOf(Make(to)), [](Pair& pair) {
        VF::VideoFrameManipulators::CopyFrame(pair.source, pair.destination, zynmediatypes::kRenderQuality_High);
    });
}

// Operations on pixels in place, or from frame to frame.
void BenchManipulators(int pairs) {
    namespace Manipulators = VF::VideoFrameManipulators;
    constexpr auto kFormat = zynmediatypes::kPixelFormat_BGRA_4444_8u;
    constexpr std::size_t kFrameBytes = std::size_t{kWidth} * kHeight * 4;
    const auto bench = [=](const char* label, std::size_t bytesMoved, void (*operation)(Pair&)) {
        BenchOperation(label, kFormat, kFormat, pairs, bytesMoved, operation);
    };
    // One field is read, the other written.
    bench("Deinterlace", kFrameBytes, [](Pair& pair) { Manipulators::DeinterlaceVideoFrame(pair.source, 0); });
    bench("1-2-1 blur", 2 * kFrameBytes,
          [](Pair& pair) { Manipulators::VerticalConvolve(pair.source, pair.destination); });
    bench("Invert alpha", 2 * kFrameBytes, [](Pair& pair) { Manipulators::InvertAlpha(pair.source); });
    bench("Opaque alpha", 2 * kFrameBytes, [](Pair& pair) { Manipulators::OpaqueAlpha(pair.source); });
    // The frame is read once.
    bench("Alpha bounds, transparent", kFrameBytes, [](Pair& pair) {
        BRT::ParamRect<BRT::CRect> bounds;
        Manipulators::CalculateAlphaBounds(pair.destination, bounds);
    });
}

} // namespace

int main() {
    VF::Initialize();
    BenchLifetime();
    using namespace zynmediatypes;
    for (const int pairs : {1, 12}) {
        BenchCopy("CopyFrame BGRA 8u -> BGRA 8u", kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRA_4444_8u, pairs);
        BenchCopy("CopyFrame BGRA 8u -> ARGB 8u", kPixelFormat_BGRA_4444_8u, kPixelFormat_ARGB_4444_8u, pairs);
        BenchCopy("CopyFrame BGRA 8u -> BGRA 32f", kPixelFormat_BGRA_4444_8u, kPixelFormat_BGRA_4444_32f, pairs);
        BenchCopy("CopyFrame BGRA 8u -> UYVY", kPixelFormat_BGRA_4444_8u, kPixelFormat_UYVY_422_8u, pairs);
        BenchManipulators(pairs);
    }
    VF::Shutdown();
    return 0;
}
