#pragma once

#include <chrono>
#include <ctime>

namespace tool {

/// What a stage of a run has taken so far.
struct StageTime {
    double elapsed = 0;   ///< seconds by the clock
    double processor = 0; ///< seconds of this process on all processors; of its other threads, too, while they run
};

/// Seconds of this process on all processors since it started.
inline double ProcessorSeconds() {
    timespec processor{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &processor);
    return static_cast<double>(processor.tv_sec) + static_cast<double>(processor.tv_nsec) * 1e-9;
}

/// Adds its lifetime to a stage.
class StageTimer {
public:
    explicit StageTimer(StageTime& stage) : mStage(stage), mStart(Now()) {}
    ~StageTimer() {
        const StageTime end = Now();
        mStage.elapsed += end.elapsed - mStart.elapsed;
        mStage.processor += end.processor - mStart.processor;
    }
    StageTimer(const StageTimer&) = delete;
    StageTimer& operator=(const StageTimer&) = delete;

private:
    static StageTime Now() {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now().time_since_epoch();
        return {elapsed.count(), ProcessorSeconds()};
    }

    StageTime& mStage;
    StageTime mStart;
};

} // namespace tool
