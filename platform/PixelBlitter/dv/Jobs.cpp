#include "dv/Jobs.h"

#include "zyncore.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>

namespace PixelBlitter::dv {
namespace {

// A video segment takes some microseconds, so a part should have several to be worth a thread's while.
constexpr unsigned kMinJobsPerPart = 16;
constexpr unsigned kMaxParts = 64;

} // namespace

int RunJobs(AVCodecContext* context, int (*job)(AVCodecContext*, void*), void* jobs, int* outResults, int count,
            int jobBytes) {
    const auto runRange = [=](std::int64_t first, std::int64_t end) {
        for (std::int64_t i = first; i < end; ++i) {
            const int result = job(context, static_cast<std::uint8_t*>(jobs) + i * jobBytes);
            if (outResults != nullptr) {
                outResults[i] = result;
            }
        }
    };
    const unsigned parts = std::min(
        {static_cast<unsigned>(std::max(count, 0)) / kMinJobsPerPart, zyncore::threads::ProcessorCount(), kMaxParts});
    if (parts <= 1) {
        runRange(0, count);
        return 0;
    }
    const auto firstOf = [&](std::uint64_t part) { return static_cast<std::int64_t>(part) * count / parts; };
    std::array<std::atomic<bool>, kMaxParts> done{};
    try {
        zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors(
            [&](std::uint64_t part) {
                runRange(firstOf(part), firstOf(part + 1));
                done[part].store(true, std::memory_order_release);
            },
            parts);
    } catch (...) {
        // Jobs do not throw, so the pool found no memory to hand them out. This thread does what is missing.
        for (unsigned part = 0; part < parts; ++part) {
            if (!done[part].load(std::memory_order_acquire)) {
                runRange(firstOf(part), firstOf(part + 1));
            }
        }
    }
    return 0;
}

} // namespace PixelBlitter::dv
