// Fills through a pixmap beside memset and a plain loop over alpha, and what handles, records and look-ups cost, on one
// thread and on two.

#include "HandleMemory.h"
#include "TPix.h"
#include "TPixHandleUtilities.h"
#include "VideoFrameFactory.h"
#include "VideoFrameUtilities.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 4;

double Seconds(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

FrameRef MakeFrame() {
    FrameRef frame;
    VF::CreateVideoFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight, {1, 1}, true, false);
    return frame;
}

// The least that setting alpha in place takes: every pixel is read and written once.
void SetAlphaPlainly(std::uint8_t* pixels) {
    auto* const words = reinterpret_cast<std::uint32_t*>(pixels);
    for (std::size_t n = 0; n < kBytes / 4; ++n) {
        words[n] = (words[n] & 0xFFFFFFU) | 0x42000000U;
    }
}

// Both jobs take turns; hot: one frame again and again, cold: over frames that no cache holds together.
void CompareFills(const char* name, const std::vector<TPixHand>& hands, const std::function<void(TPixHand)>& ours,
                  const std::function<void(std::uint8_t*)>& peer) {
    for (const bool cold : {false, true}) {
        std::vector<double> mine;
        std::vector<double> theirs;
        std::size_t at = 0;
        const auto next = [&] { return hands[cold ? at++ % hands.size() : 0]; };
        for (int turn = 0; turn < 150; ++turn) {
            if (!cold) {
                peer((*hands[0])->pixels);
            }
            mine.push_back(Seconds([&, hand = next()] { ours(hand); }));
            theirs.push_back(Seconds([&, hand = next()] { peer((*hand)->pixels); }));
        }
        const auto good = static_cast<std::ptrdiff_t>(cold ? mine.size() / 4 : 0);
        std::nth_element(mine.begin(), mine.begin() + good, mine.end());
        std::nth_element(theirs.begin(), theirs.begin() + good, theirs.end());
        const auto index = static_cast<std::size_t>(good);
        std::printf("%-28s %s  %6.3f ms  ratio %.2f\n", name, cold ? "cold" : "hot ", mine[index] * 1e3,
                    theirs[index] / mine[index]);
    }
}

// Nanoseconds of one call on one thread, and on each of two at once.
void Cost(const char* name, const std::function<void(unsigned)>& call) {
    constexpr int kCalls = 300000;
    const auto run = [&](unsigned thread) {
        for (int n = 0; n < kCalls; ++n) {
            call(thread);
        }
    };
    const double one = Seconds([&] { run(0); });
    const double two = Seconds([&] {
        std::jthread other(run, 1);
        run(0);
    });
    std::printf("%-40s %5.0f ns  two threads %5.0f ns\n", name, one / kCalls * 1e9, two / kCalls * 1e9);
}

} // namespace

int main() {
    VF::Initialize();
    std::vector<TPixHand> hands(64);
    std::generate(hands.begin(), hands.end(), [] { return VF::NewTPixFromVideoFrame(MakeFrame()); });
    CompareFills(
        "tpixFillRect / memset", hands, [](TPixHand hand) { tpixFillRect(hand, nullptr, 0x123456); },
        [](std::uint8_t* pixels) { std::memset(pixels, 7, kBytes); });
    CompareFills(
        "tpixFillAlpha / plain loop", hands, [](TPixHand hand) { tpixFillAlpha(hand, 0x42); }, SetAlphaPlainly);

    const FrameRef frames[] = {MakeFrame(), MakeFrame()};
    Cost("handle made and disposed of", [](unsigned) { KxDisposeHandle(KxNewHandleClear(sizeof(TPix))); });
    Cost("record made and disposed of",
         [&](unsigned thread) { tpixDispose(VF::NewTPixFromVideoFrame(frames[thread])); });
    std::vector<TPixHand> many(10000);
    std::generate(many.begin(), many.end(),
                  [&, n = 0U]() mutable { return VF::NewTPixFromVideoFrame(frames[n++ % 2]); });
    // An even step keeps each thread to the handles of a frame of its own.
    Cost("look-up among 10,000", [&](unsigned thread) {
        thread_local std::size_t at = thread;
        VF::GetTPixHandFrameMapping(many[at = (at + 7918) % many.size()]);
    });
    for (const auto& lent : {many, hands}) {
        std::for_each(lent.begin(), lent.end(), tpixDispose);
    }
    VF::Shutdown();
}
