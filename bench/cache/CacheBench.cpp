// What a look-up in the shared frame cache costs beside look-ups in an ordered map, and what two threads do to it.

#include "SharedVideoFrameCache.h"
#include "VideoFrameFactory.h"
#include "VideoFrameUtilities.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using zyncore::utility::Guid;
namespace Cache = VF::SharedVideoFrameCache;

constexpr std::size_t kEntries = 100'000;
constexpr std::size_t kWorkingSet = 16;
constexpr std::size_t kLookups = 20'000;
constexpr int kRounds = 301;

double NanosecondsEach(Clock::duration time, std::size_t count) {
    return std::chrono::duration<double, std::nano>(time).count() / static_cast<double>(count);
}

/// Times of the rounds of one job.
struct Times {
    std::vector<double> each;
    double Best() const { return *std::ranges::min_element(each); }
    double Median() const {
        auto sorted = each;
        std::ranges::sort(sorted);
        return sorted[sorted.size() / 2];
    }
};

/// Retrieves every name on each thread; time from the moment that all are ready, for one of all look-ups.
double RetrieveOn(unsigned threads, const std::vector<Guid>& names) {
    std::atomic<unsigned> ready{0};
    std::vector<Clock::time_point> starts(threads);
    std::vector<Clock::time_point> ends(threads);
    const auto body = [&](unsigned thread) {
        for (++ready; ready < threads;) {
        }
        starts[thread] = Clock::now();
        for (const Guid& name : names) {
            if (!Cache::RetrieveFromCache(name)) {
                std::abort();
            }
        }
        ends[thread] = Clock::now();
    };
    std::vector<std::jthread> others;
    for (unsigned thread = 1; thread < threads; ++thread) {
        others.emplace_back(body, thread);
    }
    body(0);
    others.clear();
    return NanosecondsEach(std::ranges::max(ends) - std::ranges::min(starts), names.size() * threads);
}

double FindIn(const std::map<Guid, std::size_t>& ordered, const std::vector<Guid>& names) {
    std::size_t sum = 0;
    const auto start = Clock::now();
    for (const Guid& name : names) {
        sum += ordered.find(name)->second;
    }
    const auto time = Clock::now() - start;
    if (sum == 0) {
        std::abort();
    }
    return NanosecondsEach(time, names.size());
}

void Compare(const char* label, const std::map<Guid, std::size_t>& ordered, const std::vector<Guid>& names) {
    Times map;
    Times one;
    Times two;
    Times ratio;
    for (int round = 0; round < kRounds; ++round) {
        map.each.push_back(FindIn(ordered, names));
        one.each.push_back(RetrieveOn(1, names));
        two.each.push_back(RetrieveOn(2, names));
        ratio.each.push_back(one.each.back() / two.each.back());
    }
    std::printf("%-12s retrieve %6.0f ns (best %.0f), ordered look-up %6.0f ns (best %.0f), ratio %.2f; "
                "two threads do %.2f times as many (best %.2f)\n",
                label, one.Median(), one.Best(), map.Median(), map.Best(), one.Median() / map.Median(), ratio.Median(),
                one.Best() / two.Best());
}

} // namespace

int main() {
    VF::Initialize();
    RK::GetMediaManager()->SetBudget(std::uint64_t{1} << 30);
    {
        std::vector<Guid> all(kEntries);
        std::ranges::generate(all, Guid::Generate);
        std::map<Guid, std::size_t> ordered;
        std::vector<BRT::InterfaceRef<RK::IVideoFrame>> frames(kEntries);
        for (std::size_t n = 0; n < kEntries; ++n) {
            ordered.emplace(all[n], n + 1);
            VF::CreateVideoFrame(frames[n], zynmediatypes::kPixelFormat_BGRA_4444_8u, 8, 8, {1, 1}, false, false);
        }
        auto start = Clock::now();
        for (std::size_t n = 0; n < kEntries; ++n) {
            Cache::InsertIntoCache(frames[n], all[n], 1);
        }
        std::printf("%zu entries; insert %.0f ns each\n", kEntries, NanosecondsEach(Clock::now() - start, kEntries));
        frames.clear();

        std::mt19937_64 random(1);
        std::vector<Guid> few(kLookups);
        std::vector<Guid> many(kLookups);
        for (std::size_t n = 0; n < kLookups; ++n) {
            few[n] = all[random() % kWorkingSet * (kEntries / kWorkingSet)];
            many[n] = all[random() % kEntries];
        }
        Compare("16 names", ordered, few);
        Compare("random names", ordered, many);

        start = Clock::now();
        RK::GetMediaManager()->SetBudget(0);
        std::printf("flush and release %.0f ns each\n", NanosecondsEach(Clock::now() - start, kEntries));
    }
    VF::Shutdown();
    return 0;
}
