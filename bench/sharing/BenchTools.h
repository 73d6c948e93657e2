#pragma once

#include "zyncore.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

/// A 1080p picture of 8-bit BGRA.
inline constexpr std::uint32_t kWidth = 1920;
inline constexpr std::uint32_t kHeight = 1080;
inline constexpr std::size_t kFrameBytes = std::size_t{kWidth} * kHeight * 4;

inline zyncore::utility::Guid Id(std::uint32_t number) {
    return {number, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
}

/// Ends the benchmark when a step failed; a consumer ends its producer, which would wait for it.
inline void Require(bool condition, const char* what) {
    static const pid_t sMain = ::getpid();
    if (!condition) {
        std::fprintf(stderr, "bench_sharing: %s failed\n", what);
        if (::getpid() != sMain) {
            ::kill(sMain, SIGTERM);
        }
        std::_Exit(1);
    }
}

/// Microseconds on the clock that all processes share.
inline double Now() {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Times of one step, in microseconds.
class Samples {
public:
    template <class Step>
    void Time(Step step) {
        const double start = Now();
        step();
        Add(Now() - start);
    }
    void Add(double microseconds) { mTimes.push_back(microseconds); }
    double Quantile(double part) {
        const auto place = mTimes.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(mTimes.size() - 1));
        std::nth_element(mTimes.begin(), place, mTimes.end());
        return *place;
    }
    double Median() { return Quantile(0.5); }

private:
    std::vector<double> mTimes;
};
