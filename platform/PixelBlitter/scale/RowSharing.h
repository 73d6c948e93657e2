#pragma once

/// Divides the rows of a picture among threads.

#include "zyncore.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace PixelBlitter {

/// Hands out rows [0, rows) from the top down, in ranges that begin at multiples of grain and become smaller towards
/// the end, so that a thread that was late or slow does not keep the others waiting.
class RowQueue {
public:
    RowQueue(int rows, int grain, int workers) noexcept : mRows(rows), mGrain(grain), mWorkers(workers) {}

    bool Take(int& outTop, int& outBottom) noexcept {
        int top = mNext.load(std::memory_order_relaxed);
        int bottom = 0;
        do {
            if (top >= mRows) {
                return false;
            }
            const int grains = (mRows - top) / (2 * mWorkers * mGrain);
            bottom = std::min(mRows, top + std::max(1, grains) * mGrain);
        } while (!mNext.compare_exchange_weak(top, bottom, std::memory_order_relaxed));
        outTop = top;
        outBottom = bottom;
        return true;
    }

private:
    const int mRows;
    const int mGrain;
    const int mWorkers;
    std::atomic<int> mNext{0};
};

/// Calls work(worker, top, bottom) until all rows have been handed out, 0 <= worker < workers; calls of one worker
/// follow one another. work must not throw.
template <class Work>
void ShareRows(int rows, int grain, int workers, const Work& work) noexcept {
    if (workers <= 1) {
        work(0, 0, rows);
        return;
    }
    RowQueue queue(rows, grain, workers);
    const auto takeRows = [&](int worker) {
        for (int top = 0, bottom = 0; queue.Take(top, bottom);) {
            work(worker, top, bottom);
        }
    };
    try {
        zyncore::threads::ExecuteCPUBoundTaskOnAllProcessors(
            [&takeRows](std::uint64_t worker) { takeRows(static_cast<int>(worker)); },
            static_cast<std::uint64_t>(workers));
    } catch (...) { // NOLINT(bugprone-empty-catch)
        // Work does not throw, so the pool found no memory to hand it out. This thread does what is left.
    }
    takeRows(0);
}

/// How many threads are worth their waking for so many pixels read and written, at least rowsPerWorker rows each.
inline int WorthwhileWorkers(double pixels, double pixelsPerWorker, int rows, int rowsPerWorker) noexcept {
    const double worthwhile = std::min({pixels / pixelsPerWorker, static_cast<double>(rows) / rowsPerWorker,
                                        static_cast<double>(zyncore::threads::ProcessorCount())});
    return std::max(1, static_cast<int>(worthwhile));
}

} // namespace PixelBlitter
