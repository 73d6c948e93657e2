// Conversions on one thread: the ratio to a memcpy of (read + written) / 2 bytes of the same run, hot (the same buffers
// again) and cold (walking over more buffers than the caches hold), and the largest and mean distance in codes from
// the exact, unrounded result; ours and the peers'. All take turns in one run and the best of many turns counts.
//
// Usage: bench_converter [turns] [substring of the job's name]

#include "Peers.h"
#include "PixelBlitter.h"
#include "ReferencePixels.h"

#include <algorithm>
#include <chrono>
#include <cmath>
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
    int width = kWidth, height = kHeight; // of a window in 1080p pictures
    bool fill = false;
};

constexpr Job kJobs[] = {
    {"copy BGRA", 0x4, 0x4},
    {"copy BGRA 1000x800", 0x4, 0x4, 1000, 800},
    {"copy UYVY", 0x811, 0x811},
    {"copy BGRA 32f", 0x104, 0x104},
    {"BGRA -> ARGB", 0x4, 0x1004},
    {"BGRA -> BGRX", 0x4, 0xC},
    {"UYVY -> YUYV", 0x811, 0x1811},
    {"BGRA -> BGRP", 0x4, 0x8},
    {"BGRP -> BGRA", 0x8, 0x4},
    {"BGRA -> VUYA", 0x4, 0x805},
    {"VUYA -> BGRA", 0x805, 0x4},
    {"VUYA -> VUYP", 0x805, 0x809},
    {"VUYP -> VUYA", 0x809, 0x805},
    {"BGRA -> UYVY", 0x4, 0x811},
    {"BGRA -> UYVY 709", 0x4, 0xA11},
    {"ARGB -> YUYV 709", 0x1004, 0x1A11},
    {"VUYA -> UYVY", 0x805, 0x811},
    {"UYVY -> BGRA", 0x811, 0x4},
    {"UYVY -> BGRA 709", 0xA11, 0x4},
    {"YUYV -> ARGB 709", 0x1A11, 0x1004},
    {"UYVY -> VUYA", 0x811, 0x805},
    {"BGRA -> 4:2:0", 0x4, 0xA000831},
    {"BGRA -> 4:2:0 MPEG-4", 0x4, 0xC000831},
    {"4:2:0 -> BGRA", 0xA000831, 0x4},
    {"4:2:0 -> BGRA 709", 0xA000A31, 0x4},
    {"4:2:0 MPEG-4 -> BGRA", 0xC000831, 0x4},
    {"UYVY -> 4:2:0", 0x811, 0xA000831},
    {"UYVY -> 4:2:0 MPEG-4", 0x811, 0xC000831},
    {"UYVY -> 4:2:0 fields", 0x811, 0x9000831},
    {"4:2:0 -> UYVY", 0xA000831, 0x811},
    {"4:2:0 MPEG-4 -> UYVY", 0xC000831, 0x811},
    {"UYVY -> UYVY 709", 0x811, 0xA11},
    {"BGRA -> BGRA 32f", 0x4, 0x104},
    {"BGRA 32f -> BGRA", 0x104, 0x4},
    {"ARGB -> BGRA 32f", 0x1004, 0x104},
    {"BGRA -> BGRA 15u", 0x4, 0x84},
    {"BGRA 15u -> BGRA", 0x84, 0x4},
    {"BGRA -> BGRA linear", 0x4, 0x106},
    {"BGRA linear -> BGRA", 0x106, 0x4},
    {"BGRA -> V210", 0x4, 0x851},
    {"V210 -> BGRA", 0x851, 0x4},
    {"UYVY -> V210", 0x811, 0x851},
    {"V210 -> UYVY", 0x851, 0x811},
    {"V210 -> VUYA 32f", 0x851, 0x905},
    {"VUYA 32f -> V210", 0x905, 0x851},
    {"fill BGRA", 0x4, 0x4, kWidth, kHeight, true},
};

struct Free {
    void operator()(std::uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<std::uint8_t, Free>;

// Random codes, or random floats from 0 to 1.
Block Allocate(std::size_t bytes, std::uint32_t seed, bool floats) {
    Block block(static_cast<std::uint8_t*>(std::aligned_alloc(4096, (bytes + 4095) / 4096 * 4096)));
    if (!block) {
        throw std::bad_alloc();
    }
    const auto next = [&] { return seed = seed * 1664525U + 1013904223U; };
    for (std::size_t i = 0; i + 4 <= bytes && floats; i += 4) {
        const float value = static_cast<float>(next() >> 8) / 0x1p24F;
        std::memcpy(block.get() + i, &value, 4);
    }
    for (std::size_t i = 0; i < bytes && !floats; ++i) {
        block.get()[i] = static_cast<std::uint8_t>(next() >> 24);
    }
    return block;
}

// Buffers to walk over: one in hot runs, as many as outgrow the caches in cold ones.
class Pool {
public:
    Pool(std::size_t bytes, bool cold, bool floats) {
        const std::size_t count = cold ? std::max<std::size_t>(2, kColdBytes / 2 / bytes) : 1;
        for (std::size_t i = 0; i < count; ++i) {
            mBlocks.push_back(Allocate(bytes, static_cast<std::uint32_t>(i), floats));
        }
    }
    std::uint8_t* Next() { return mBlocks[mNext++ % mBlocks.size()].get(); }

private:
    std::vector<Block> mBlocks;
    std::size_t mNext = 0;
};

template <class Work>
double Milliseconds(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

int RowBytes(PB_PixelFormat format, int width) {
    return static_cast<int>(PB_PixelFormatSize(format, width, 1));
}

bool HoldsFloats(PB_PixelFormat format) {
    return (format >> 24) == 0 && (format & 0x100) != 0;
}

class Ours final : public Peer {
public:
    explicit Ours(const Job& job, int pictureWidth) : mJob(job), mPictureWidth(pictureWidth) {}
    const char* Name() const override { return "ours"; }
    void Run(const PeerImage& in, const PeerImage& out) override {
        const int stride = RowBytes(mJob.to, mPictureWidth);
        if (mJob.fill) {
            PB_FillWithOpaqueWhite(out.data, stride, out.width, out.height, mJob.to);
        } else {
            PB_Convert(in.data, RowBytes(mJob.from, mPictureWidth), mJob.from, out.data, stride, mJob.to, in.width,
                       in.height, 4);
        }
    }

private:
    Job mJob;
    int mPictureWidth;
};

// Largest and mean distance from the exact codes, over a picture of slow gradients: libraries differ in how they filter
// chroma, which is not their error.
void PrintError(const Job& job, Peer& converter) {
    constexpr int kW = 256, kH = 64;
    constexpr PB_PixelFormat kFloatBGRA = 0x104;
    std::vector<float> gradients(4 * kW * kH);
    for (std::size_t i = 0; i < gradients.size(); ++i) {
        const std::size_t x = i / 4 % kW, y = i / 4 / kW;
        const auto column = static_cast<double>(x), row = static_cast<double>(y);
        const auto component = static_cast<double>(i % 4);
        const double value = 0.5 + 0.5 * std::sin((column + 2 * component * row) / (90 + 20 * component) + component);
        gradients[i] = static_cast<float>(i % 4 == 3 ? 0.2 + 0.8 * value : value);
    }
    const Block in = Allocate(PB_PixelFormatSize(job.from, kW, kH), 7, false);
    PB_Convert(gradients.data(), 16 * kW, kFloatBGRA, in.get(), RowBytes(job.from, kW), job.from, kW, kH, 4);
    const Block out = Allocate(PB_PixelFormatSize(job.to, kW, kH), 8, false);
    converter.Run({in.get(), job.from, kW, kH}, {out.get(), job.to, kW, kH});
    const reference::Format from(job.from), to(job.to);
    const auto exact =
        reference::Convert(from, to, reference::ReadCodes(from, in.get(), RowBytes(job.from, kW), kW, kH));
    const auto got = reference::ReadCodes(to, out.get(), RowBytes(job.to, kW), kW, kH);
    double largest = 0, sum = 0, count = 0;
    for (int c = 0; c < (to.Is444() ? 4 : 3); ++c) {
        for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
            const double error = std::abs(got.plane[c].samples[i] - exact.plane[c].samples[i]);
            largest = std::max(largest, error);
            sum += error;
            ++count;
        }
    }
    std::printf(" (%.3g, %.2g)", largest, sum / count);
}

struct Contestant {
    std::unique_ptr<Peer> converter;
    double best[2] = {1e9, 1e9}; // hot, cold
};

void Measure(const Job& job, int turns) {
    const std::size_t read = job.fill ? 0 : PB_PixelFormatSize(job.from, job.width, job.height);
    const std::size_t written = PB_PixelFormatSize(job.to, job.width, job.height);
    const std::size_t copied = (read + written) / 2;
    const bool window = job.width != kWidth;
    std::vector<Contestant> contestants;
    const auto enter = [&](std::unique_ptr<Peer> peer) {
        if (peer) {
            contestants.push_back({std::move(peer)});
        }
    };
    enter(std::make_unique<Ours>(job, kWidth));
    if (!job.fill && !window) {
        enter(MakeLibyuv(job.from, job.to));
        enter(MakeSwscale(job.from, job.to, job.width, job.height));
    }
    double copy[2] = {1e9, 1e9};
    for (const bool cold : {false, true}) {
        // The copy works on memory of the same kind, so that all meet the same pages; when hot, everybody has a
        // destination of their own, which nobody else moves out of the caches.
        const std::size_t largest =
            std::max({PB_PixelFormatSize(job.from, kWidth, kHeight), PB_PixelFormatSize(job.to, kWidth, kHeight)});
        Pool in(largest, cold, HoldsFloats(job.from));
        std::vector<Pool> out;
        for (std::size_t i = 0; i <= (cold ? 0 : contestants.size()); ++i) {
            out.emplace_back(largest, cold, false);
        }
        const auto time = [&](double& best, std::size_t who, const auto& work) {
            std::uint8_t* const from = in.Next();
            std::uint8_t* const to = out[cold ? 0 : who].Next();
            // Twice when hot: whoever had the turn before may have moved these buffers away.
            for (int i = 0; i < (cold ? 1 : 2); ++i) {
                best = std::min(best, Milliseconds([&] { work(from, to); }));
            }
        };
        for (int turn = 0; turn < turns; ++turn) {
            time(copy[cold], 0, [&](const std::uint8_t* from, std::uint8_t* to) { std::memcpy(to, from, copied); });
            for (std::size_t i = 0; i < contestants.size(); ++i) {
                if (i == 2 && turn % 4 != 0) {
                    continue; // swscale is slow
                }
                time(contestants[i].best[cold], i + 1, [&](std::uint8_t* from, std::uint8_t* to) {
                    contestants[i].converter->Run({from, job.from, job.width, job.height},
                                                  {to, job.to, job.width, job.height});
                });
            }
        }
    }
    std::printf("%-21s memcpy %.3f / %.3f ms", job.name, copy[0], copy[1]);
    for (auto& [converter, best] : contestants) {
        std::printf("  %s %.2f / %.2f", converter->Name(), copy[0] / best[0], copy[1] / best[1]);
        if (!job.fill) {
            if (converter == contestants.front().converter) {
                Ours small(job, 256);
                PrintError(job, small);
            } else if (std::string(converter->Name()) == "swscale") {
                PrintError(job, *MakeSwscale(job.from, job.to, 256, 64));
            } else {
                PrintError(job, *converter);
            }
        }
    }
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    const std::string filter = count > 2 ? arguments[2] : "";
    std::printf("ratio to memcpy hot / cold (largest, mean error in codes)\n");
    for (const Job& job : kJobs) {
        if (std::string(job.name).find(filter) != std::string::npos) {
            Measure(job, turns);
        }
    }
}
