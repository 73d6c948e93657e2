// Warps and composites of 1080p pictures in processor time: milliseconds and the ratio to a memcpy of (read + written)
// / 2 bytes of the same run, hot (the same pictures again) and cold (walking over more pictures than the caches hold);
// warps beside OpenCV's warpPerspective where that is installed. All take turns and the best of many turns counts.
//
// Usage: bench_warp [turns]

#include "PixelBlitter.h"
#include "Turns.h"

#include <cstdlib>

#ifdef BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace pixmapbench;

constexpr PB_PixelFormat kBGRA = 0x4;

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
    {"in perspective", {{-300, -20}, {2220, -60}, {1900, 1110}, {40, 1140}}},
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
    Memory pixels(4);
    for (const Shape& shape : kShapes) {
        std::vector<Contestant> contestants{Ours(shape)};
#ifdef BENCH_WITH_OPENCV
        contestants.push_back(OpenCV(shape));
#endif
        Run(shape.name, 8 * kPixels, pixels, std::move(contestants), turns);
    }
    const struct {
        const char* name;
        std::size_t pictures; // read and written
        int pixelBytes;
        Contestant contestant;
    } composites[] = {
        {"through a mask, BGRA", 3, 4, Masked(kBGRA, false)}, {"through a mask, in place", 3, 4, Masked(kBGRA, true)},
        {"through a mask, UYVY", 3, 2, Masked(0x811, false)}, {"through a mask, BGRA 15u", 3, 8, Masked(0x84, false)},
        {"onto black, BGRA", 2, 4, ToBlack(kBGRA)},           {"onto black, BGRP", 2, 4, ToBlack(0x8)},
        {"onto black, BGRA 15u", 2, 8, ToBlack(0x84)},        {"onto black, BGRA float", 2, 16, ToBlack(0x104)},
    };
    for (const auto& [name, pictures, pixelBytes, contestant] : composites) {
        Memory memory(pixelBytes);
        Run(name, pictures * memory.PictureBytes(), memory, {contestant}, turns);
    }
}
