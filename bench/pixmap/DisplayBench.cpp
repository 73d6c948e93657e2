#include "Display.h"
#include "VideoFrameUtilities.h"
#include "VirtualDisplay.h"
#include "WindowsApi.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

// A 1080p picture into a window of its size on a server of the benchmark's own; each draw beside a memcpy of the same
// bytes. "frames" are those a second, "ratio" is the time of the memcpy over that of the draw.
namespace {

using Clock = std::chrono::steady_clock;

constexpr RECT kPicture{0, 0, 1920, 1080};

void BM_ToScreen(benchmark::State& state) {
    const vftest::VirtualDisplay display("1920x1080x24", state.range(0) != 0);
    VF::Initialize();
    const TPixHand hand = tpixNew(&kPicture);
    tpixFillRect(hand, nullptr, RGB(40, 80, 120));
    const HWND window = CreateWindowExA(0, "STATIC", "bench", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, kPicture.right,
                                        kPicture.bottom, nullptr, nullptr, nullptr, nullptr);
    const HDC context = GetDC(window);
    std::vector<std::uint8_t> copy(std::size_t{4} * 1920 * 1080);
    std::chrono::duration<double> drawing{};
    std::chrono::duration<double> copying{};
    for (auto _ : state) {
        const auto start = Clock::now();
        tpixToScreen(hand, context, &kPicture, &kPicture);
        const auto drawn = Clock::now();
        std::memcpy(copy.data(), (*hand)->pixels, copy.size());
        benchmark::ClobberMemory();
        drawing += drawn - start;
        copying += Clock::now() - drawn;
        state.SetIterationTime(std::chrono::duration<double>(drawn - start).count());
    }
    state.counters["frames"] = static_cast<double>(state.iterations()) / drawing.count();
    state.counters["ratio"] = copying / drawing;
    if (IsWindow(window) == FALSE) {
        state.SkipWithError("the window has gone");
    }
    ReleaseDC(window, context);
    DestroyWindow(window);
    tpixDispose(hand);
    VF::Shutdown();
}
BENCHMARK(BM_ToScreen)->ArgName("shared")->Arg(1)->Arg(0)->UseManualTime();

} // namespace
