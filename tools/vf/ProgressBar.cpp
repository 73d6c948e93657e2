#include "ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tool {
namespace {

constexpr int kBarWidth = 32;
constexpr std::chrono::milliseconds kRedrawInterval{100};

} // namespace

ProgressBar::ProgressBar(std::int64_t total)
    : mTotal(total), mTerminal(isatty(STDERR_FILENO) != 0), mStart(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
    Clear();
}

void ProgressBar::Update(std::int64_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (!mTerminal || now - mLastDrawn < kRedrawInterval) {
        return;
    }
    mLastDrawn = now;
    mDrawn = true;
    const double seconds = std::chrono::duration<double>(now - mStart).count();
    const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    if (mTotal > 0) {
        const std::int64_t shown = std::min(done, mTotal); // the total may be an estimate
        const auto filled = static_cast<std::size_t>(shown * kBarWidth / mTotal);
        const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
        std::fprintf(stderr, "\r[%s] %3d%%  %lld of %lld  %.0f frames/s\033[K", bar.c_str(),
                     static_cast<int>(shown * 100 / mTotal), static_cast<long long>(done),
                     static_cast<long long>(std::max(done, mTotal)), rate);
    } else {
        std::fprintf(stderr, "\r%lld frames  %.0f frames/s\033[K", static_cast<long long>(done), rate);
    }
    std::fflush(stderr);
}

void ProgressBar::Note(const std::string& line) {
    Clear();
    std::fprintf(stderr, "vf: %s\n", line.c_str());
}

void ProgressBar::Clear() {
    if (mDrawn) {
        std::fputs("\r\033[K", stderr);
        mDrawn = false;
    }
}

} // namespace tool
