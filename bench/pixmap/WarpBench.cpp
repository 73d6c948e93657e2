// Warps and composites of 1080p pictures in processor time: milliseconds and the ratio to a memcpy of (read + written)
// / 2 bytes of the same run, hot (the same pictures again) and cold (walking over more pictures than the caches hold);
// warps beside OpenCV's warpPerspective where that is installed. All take turns and the best of many turns counts.
//
// Usage: bench_warp [turns]

#include "PixelBlitter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#ifdef BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kPictures = 24; // of three kinds: beyond the last cache
constexpr PB_PixelFormat kBGRA = 0x4;

struct Pictures {
    std::uint8_t *a, *b, *to;
};
using Work = std::function<void(const Pictures&)>;

struct Contestant {
    std::string name;
    Work work;
    double best[2] = {1e9, 1e9};
};

// Processor time of all threads: neither other programs nor a division of labour count.
double Milliseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

void Run(const char* name, double moved, int pixelBytes, std::vector<Contestant> contestants, int turns) {
    const std::size_t bytes = static_cast<std::size_t>(kWidth) * kHeight * static_cast<std::size_t>(pixelBytes);
    std::vector<std::uint8_t> memory(bytes * 3 * kPictures);
    for (std::size_t i = 0; i < memory.size(); ++i) {
        memory[i] = i % 4 == 3 ? (pixelBytes == 4 ? 255 : 63) : static_cast<std::uint8_t>(i * 2654435761U >> 24);
    }
    const auto copied = static_cast<std::size_t>(moved / 2 * static_cast<double>(bytes));
    contestants.insert(contestants.begin(), {"memcpy", [=](const Pictures& p) {
                                                 std::memcpy(p.to, p.a, std::min(copied, bytes));
                                                 std::memcpy(p.b, p.a, copied - std::min(copied, bytes));
                                             }});
    for (const int cold : {0, 1}) {
        std::size_t at = 0;
        for (int turn = 0; turn < turns; ++turn) {
            for (Contestant& contestant : contestants) {
                for (int again = cold; again < 2; ++again) {
                    const std::size_t i = cold != 0 ? at++ % kPictures : 0;
                    std::uint8_t* const first = memory.data() + 3 * i * bytes;
                    const double start = Milliseconds();
                    contestant.work({first, first + bytes, first + 2 * bytes});
                    contestant.best[cold] = std::min(contestant.best[cold], Milliseconds() - start);
                }
            }
        }
    }
    std::printf("%-28s", name);
    for (const Contestant& contestant : contestants) {
        std::printf("  %s %.2f / %.2f ms (%.2f / %.2f)", contestant.name.c_str(), contestant.best[0],
                    contestant.best[1], contestants[0].best[0] / contestant.best[0],
                    contestants[0].best[1] / contestant.best[1]);
    }
    std::printf("\n");
}

struct Shape {
    const char* name;
    PB_Corner corners[4];
};
constexpr PB_Corner kWhole[4] = {{0, 0}, {kWidth, 0}, {kWidth, kHeight}, {0, kHeight}};
const Shape kShapes[] = {
    {"moved by 0.3 pixels", {{0.3, 0.3}, {1920.3, 0.3}, {1920.3, 1080.3}, {0.3, 1080.3}}},
    {"sheared", {{-40, -30}, {2000, -100}, {1940, 1130}, {-100, 1200}}},
    {"turned by 30 degrees", {{400, -500}, {2063, 460}, {1523, 1395}, {-140, 435}}},
    {"a quarter turn", {{1920, -420}, {1920, 1500}, {0, 1500}, {0, -420}}},
};

Contestant Ours(const Shape& shape) {
    return {"ours", [&shape](const Pictures& p) {
                PB_WarpAffineQuad(kWidth, kHeight, p.a, 4 * kWidth, {0, 0}, kWhole, p.to, 4 * kWidth, {0, 0},
                                  shape.corners, {kWidth, kHeight}, kBGRA, 255, 1, 1, kBGRA, 0, 0, 1, 0);
            }};
}

#ifdef BENCH_WITH_OPENCV
Contestant OpenCV(const Shape& shape) {
    return {
        "OpenCV", [&shape](const Pictures& p) {
            cv::Point2f from[4], to[4];
            for (int i = 0; i < 4; ++i) { // its pixels have their centres on whole numbers
                from[i] = {static_cast<float>(kWhole[i].x - 0.5), static_cast<float>(kWhole[i].y - 0.5)};
                to[i] = {static_cast<float>(shape.corners[i].x - 0.5), static_cast<float>(shape.corners[i].y - 0.5)};
            }
            const cv::Mat source(kHeight, kWidth, CV_8UC4, p.a);
            cv::Mat destination(kHeight, kWidth, CV_8UC4, p.to);
            cv::warpPerspective(source, destination, cv::getPerspectiveTransform(from, to), destination.size(),
                                cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
        }};
}
#endif

Contestant Masked(PB_PixelFormat format, bool inPlace) {
    static const std::vector<std::uint8_t> mask(kWidth / 8 * kHeight, 0xB2);
    const auto rowBytes = static_cast<int>(PB_PixelFormatSize(format, kWidth, 1));
    return {"ours", [=](const Pictures& p) {
                PB_OneBitMaskComposite(p.a, rowBytes, format, p.b, rowBytes, format, mask.data(), kWidth / 8, 0,
                                       inPlace ? p.b : p.to, rowBytes, format, kWidth, kHeight, 3);
            }};
}

Contestant ToBlack(PB_PixelFormat format) {
    const auto rowBytes = static_cast<int>(PB_PixelFormatSize(format, kWidth, 1));
    return {"ours", [=](const Pictures& p) {
                PB_CompositeToBlack(p.a, rowBytes, format, p.to, rowBytes, format, kWidth, kHeight, 1, 4);
            }};
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    std::printf("milliseconds and ratio to memcpy, hot / cold\n");
#ifdef BENCH_WITH_OPENCV
    cv::setNumThreads(1);
#endif
    for (const Shape& shape : kShapes) {
        std::vector<Contestant> contestants{Ours(shape)};
#ifdef BENCH_WITH_OPENCV
        contestants.push_back(OpenCV(shape));
#endif
        Run(shape.name, 2, 4, std::move(contestants), turns);
    }
    Run("through a mask, BGRA", 3, 4, {Masked(kBGRA, false)}, turns);
    Run("through a mask, in place", 3, 4, {Masked(kBGRA, true)}, turns);
    Run("through a mask, UYVY", 3, 2, {Masked(0x811, false)}, turns);
    Run("through a mask, BGRA 15u", 3, 8, {Masked(0x84, false)}, turns);
    Run("onto black, BGRA", 2, 4, {ToBlack(kBGRA)}, turns);
    Run("onto black, BGRP", 2, 4, {ToBlack(0x8)}, turns);
    Run("onto black, BGRA 15u", 2, 8, {ToBlack(0x84)}, turns);
}
