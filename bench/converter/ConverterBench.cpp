// Conversions of a 1080p picture on one thread: time, ratio to a memcpy of (read + written) / 2 bytes, and ratio to
// swscale where it knows the pair. Jobs, memcpy and peer take turns in one run; the best of many turns counts. "hot"
// uses the same buffers again, "cold" walks over more buffers than the caches hold.
//
// Usage: bench_converter [turns] [substring of the job's name]

#include "PixelBlitter.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kColdBytes = std::size_t{768} << 20; // beyond the last cache of any machine we know

struct Job {
    const char* name;
    PB_PixelFormat from, to;
    AVPixelFormat peerFrom = AV_PIX_FMT_NONE, peerTo = AV_PIX_FMT_NONE;
    bool fill = false;
};

constexpr Job kJobs[] = {
    {"copy BGRA", 0x4, 0x4},
    {"copy UYVY", 0x811, 0x811},
    {"copy BGRA 32f", 0x104, 0x104},
    {"BGRA -> ARGB", 0x4, 0x1004, AV_PIX_FMT_BGRA, AV_PIX_FMT_ARGB},
    {"BGRA -> BGRX", 0x4, 0xC},
    {"UYVY -> YUYV", 0x811, 0x1811, AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422},
    {"BGRA -> BGRA 32f", 0x4, 0x104},
    {"BGRA 32f -> BGRA", 0x104, 0x4},
    {"ARGB -> BGRA 32f", 0x1004, 0x104},
    {"BGRA -> BGRA 15u", 0x4, 0x84},
    {"BGRA 15u -> BGRA", 0x84, 0x4},
    {"BGRA -> BGRA linear", 0x4, 0x106},
    {"BGRA linear -> BGRA", 0x106, 0x4},
    {"BGRA -> BGRP", 0x4, 0x8},
    {"BGRP -> BGRA", 0x8, 0x4},
    {"BGRA -> VUYA", 0x4, 0x805, AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV444P},
    {"VUYA -> BGRA", 0x805, 0x4, AV_PIX_FMT_YUV444P, AV_PIX_FMT_BGRA},
    {"BGRA -> UYVY", 0x4, 0x811, AV_PIX_FMT_BGRA, AV_PIX_FMT_UYVY422},
    {"BGRA -> YUYV 709", 0x4, 0x1A11, AV_PIX_FMT_BGRA, AV_PIX_FMT_YUYV422},
    {"UYVY -> BGRA", 0x811, 0x4, AV_PIX_FMT_UYVY422, AV_PIX_FMT_BGRA},
    {"BGRA -> V210", 0x4, 0x851, AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV422P10LE},
    {"V210 -> BGRA", 0x851, 0x4, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_BGRA},
    {"UYVY -> V210", 0x811, 0x851, AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV422P10LE},
    {"V210 -> UYVY", 0x851, 0x811, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_UYVY422},
    {"V210 -> VUYA 32f", 0x851, 0x905},
    {"VUYA 32f -> V210", 0x905, 0x851},
    {"BGRA -> 4:2:0", 0x4, 0xA000831, AV_PIX_FMT_BGRA, AV_PIX_FMT_YUV420P},
    {"4:2:0 -> BGRA", 0xA000831, 0x4, AV_PIX_FMT_YUV420P, AV_PIX_FMT_BGRA},
    {"UYVY -> 4:2:0", 0x811, 0xA000831, AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV420P},
    {"UYVY -> 4:2:0 MPEG-4", 0x811, 0xC000831, AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV420P},
    {"UYVY -> 4:2:0 fields", 0x811, 0x9000831, AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV420P},
    {"4:2:0 -> UYVY", 0xA000831, 0x811, AV_PIX_FMT_YUV420P, AV_PIX_FMT_UYVY422},
    {"UYVY -> UYVY 709", 0x811, 0xA11},
    {"fill BGRA", 0x4, 0x4, AV_PIX_FMT_NONE, AV_PIX_FMT_NONE, true},
};

struct Free {
    void operator()(std::uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<std::uint8_t, Free>;

Block Allocate(std::size_t bytes, std::uint32_t seed) {
    Block block(static_cast<std::uint8_t*>(std::aligned_alloc(4096, (bytes + 4095) / 4096 * 4096)));
    if (!block) {
        throw std::bad_alloc();
    }
    for (std::size_t i = 0; i < bytes; ++i) {
        seed = seed * 1664525U + 1013904223U;
        block.get()[i] = static_cast<std::uint8_t>(seed >> 24);
    }
    return block;
}

// Buffers to walk over: one in hot runs, as many as outgrow the caches in cold ones.
struct Pool {
    std::vector<Block> blocks;
    std::size_t next = 0;
    Pool(std::size_t bytes, bool cold) {
        const std::size_t count = cold ? std::max<std::size_t>(2, kColdBytes / 2 / bytes) : 1;
        for (std::size_t i = 0; i < count; ++i) {
            blocks.push_back(Allocate(bytes, static_cast<std::uint32_t>(i)));
        }
    }
    std::uint8_t* Next() { return blocks[next++ % blocks.size()].get(); }
};

template <class Work>
double Milliseconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

class Swscale {
public:
    Swscale(AVPixelFormat from, AVPixelFormat to) {
        if (from == AV_PIX_FMT_NONE) {
            return;
        }
        mContext = sws_getContext(kWidth, kHeight, from, kWidth, kHeight, to,
                                  SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT, nullptr,
                                  nullptr, nullptr);
        for (int p = 0; p < 4; ++p) {
            mIn[p] = Allocate(std::size_t{kWidth} * kHeight * 4, 1);
            mOut[p] = Allocate(std::size_t{kWidth} * kHeight * 4, 2);
            mStride[p] = kWidth * 4;
        }
    }
    ~Swscale() { sws_freeContext(mContext); }
    Swscale(const Swscale&) = delete;
    Swscale& operator=(const Swscale&) = delete;
    explicit operator bool() const { return mContext != nullptr; }
    void Run() {
        const std::uint8_t* const in[4] = {mIn[0].get(), mIn[1].get(), mIn[2].get(), mIn[3].get()};
        std::uint8_t* const out[4] = {mOut[0].get(), mOut[1].get(), mOut[2].get(), mOut[3].get()};
        sws_scale(mContext, in, mStride, 0, kHeight, out, mStride);
    }

private:
    SwsContext* mContext = nullptr;
    Block mIn[4], mOut[4];
    int mStride[4] = {};
};

void Measure(const Job& job, bool cold, int turns) {
    const std::size_t read = job.fill ? 0 : PB_PixelFormatSize(job.from, kWidth, kHeight);
    const std::size_t written = PB_PixelFormatSize(job.to, kWidth, kHeight);
    const auto stride = [](PB_PixelFormat format) { return static_cast<int>(PB_PixelFormatSize(format, kWidth, 1)); };
    const std::size_t copied = (read + written) / 2;
    // memcpy works on the same memory, so that both meet the same pages.
    Pool in(std::max(read, copied), cold), out(std::max(written, copied), cold);
    Swscale peer(cold ? AV_PIX_FMT_NONE : job.peerFrom, job.peerTo);
    double ours = 1e9, copy = 1e9, theirs = 1e9;
    for (int i = 0; i < turns; ++i) {
        copy = std::min(copy, Milliseconds([&] { std::memcpy(out.Next(), in.Next(), copied); }));
        ours = std::min(ours, Milliseconds([&] {
                            if (job.fill) {
                                PB_FillWithOpaqueWhite(out.Next(), stride(job.to), kWidth, kHeight, job.to);
                            } else {
                                PB_Convert(in.Next(), stride(job.from), job.from, out.Next(), stride(job.to), job.to,
                                           kWidth, kHeight, 4);
                            }
                        }));
        if (peer && i % 4 == 0) {
            theirs = std::min(theirs, Milliseconds([&] { peer.Run(); }));
        }
    }
    std::printf("%-22s %-4s %7.3f ms  memcpy %7.3f  ratio %5.2f", job.name, cold ? "cold" : "hot", ours, copy,
                copy / ours);
    if (peer) {
        std::printf("  swscale %7.3f  times %5.1f", theirs, theirs / ours);
    }
    std::printf("\n");
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    const std::string filter = count > 2 ? arguments[2] : "";
    const bool cold = count > 3;
    for (const Job& job : kJobs) {
        if (std::string(job.name).find(filter) != std::string::npos) {
            Measure(job, false, turns);
            if (cold) {
                Measure(job, true, turns);
            }
        }
    }
}
