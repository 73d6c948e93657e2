// What it costs to lend a frame as a pixmap and to take it back, and to find the frame behind one of many handles from
// one and from two threads. Beside it the same look-ups in an ordered map of the standard library, without a lock.

#include "HandleMemory.h"
#include "TPixHandleUtilities.h"
#include "VideoFrameFactory.h"
#include "VideoFrameUtilities.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <map>
#include <random>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr std::size_t kHandles = 10'000;
constexpr std::size_t kLookUps = 20'000;
constexpr int kRuns = 101;

/// Nanoseconds for one of count calls on each thread, of the thread that took longest.
template <class Body>
double NanosecondsEach(unsigned threadCount, std::size_t count, const Body& body) {
    std::latch start(threadCount);
    std::vector<double> times(threadCount);
    {
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread] {
                body(thread, std::min<std::size_t>(count, 500)); // what a thread's first calls set up
                start.arrive_and_wait();
                const auto begin = Clock::now();
                body(thread, count);
                times[thread] = std::chrono::duration<double, std::nano>(Clock::now() - begin).count();
            });
        }
    }
    return std::ranges::max(times) / static_cast<double>(count);
}

template <class Body>
void Print(const char* name, unsigned threads, std::size_t count, const Body& body) {
    std::vector<double> each;
    for (int run = 0; run < kRuns; ++run) {
        each.push_back(NanosecondsEach(threads, count, body));
    }
    std::ranges::sort(each);
    std::printf("%-44s %7u %8.1f %8.1f\n", name, threads, each.front(), each[each.size() / 2]);
}

FrameRef MakeFrame() {
    FrameRef frame;
    if (VF::CreateVideoFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, 64, 48, {1, 1}, false, false) != 0) {
        std::abort();
    }
    return frame;
}

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

} // namespace

int main() {
    VF::Initialize();
    const FrameRef frames[2] = {MakeFrame(), MakeFrame()};
    std::printf("%-44s %7s %8s %8s\n", "ns of one call", "threads", "best", "median");

    const auto lend = [&](unsigned thread, std::size_t count) {
        for (std::size_t n = 0; n < count; ++n) {
            VF::DisposeTPixFromVideoFrame(VF::NewTPixFromVideoFrame(frames[thread]));
        }
    };
    for (const unsigned threads : {1U, 2U}) {
        Print("lend and take back, none lent", threads, kLookUps, lend);
    }

    std::vector<TPixHand> hands;
    std::map<TPixHand, FrameRef> ordered;
    for (std::size_t n = 0; n < kHandles; ++n) {
        hands.push_back(VF::NewTPixFromVideoFrame(MakeFrame()));
        ordered[hands.back()] = frames[0];
    }
    for (const unsigned threads : {1U, 2U}) {
        Print("lend and take back, 10,000 lent", threads, kLookUps, lend);
    }
    std::vector<TPixHand> asked[2];
    std::mt19937 random(1);
    for (auto& list : asked) {
        for (std::size_t n = 0; n < kLookUps; ++n) {
            list.push_back(hands[random() % hands.size()]);
        }
    }
    for (const unsigned threads : {1U, 2U}) {
        Print("frame of one of 10,000", threads, kLookUps, [&](unsigned thread, std::size_t count) {
            for (std::size_t n = 0; n < count; ++n) {
                Require(static_cast<bool>(VF::GetVideoFrameFromTPix(asked[thread][n])));
            }
        });
        Print("object of one of 10,000", threads, kLookUps, [&](unsigned thread, std::size_t count) {
            for (std::size_t n = 0; n < count; ++n) {
                Require(static_cast<bool>(VF::GetTPixHandFrameMapping(asked[thread][n])));
            }
        });
        Print("ordered map without lock and reference", threads, kLookUps, [&](unsigned thread, std::size_t count) {
            for (std::size_t n = 0; n < count; ++n) {
                Require(ordered.find(asked[thread][n]) != ordered.end());
            }
        });
    }

    for (TPixHand hand : hands) {
        VF::DisposeTPixFromVideoFrame(hand);
    }
    ordered.clear();
    Require(KxGetLiveHandleCount() == 0);
    VF::Shutdown();
    return 0;
}
