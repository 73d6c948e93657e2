// A star of 50 corners across a 1080p picture, filled with another picture, beside pixman's triangles over the same
// pixels and OpenCV's fillPoly and copyTo where that is installed. A memcpy is one of the pixels inside the star.
// Turns.h says how times are taken. A line before them counts the pixels in which a peer's star is another than ours.
//
// Usage: bench_polygon [turns]

#include "Polygon.h"
#include "Record.h"

#include <pixman.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>

#ifdef BENCH_WITH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace pixmapbench;

constexpr int kCorners = 50;

std::vector<PolygonPoint> Star() {
    std::vector<PolygonPoint> star(kCorners);
    for (int i = 0; i < kCorners; ++i) {
        const double angle = 2 * std::numbers::pi * i / kCorners, radius = i % 2 == 0 ? 1 : 0.6;
        star[static_cast<std::size_t>(i)] = {static_cast<float>(kWidth / 2.0 * (1 + radius * std::cos(angle))),
                                             static_cast<float>(kHeight / 2.0 * (1 + radius * std::sin(angle)))};
    }
    return star;
}

struct FreeImage {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};

// The middle of the star sees all of its edges, so it is a fan of triangles.
Contestant Pixman(const char* name, pixman_format_code_t mask, const std::vector<PolygonPoint>& star) {
    std::vector<pixman_triangle_t> fan(star.size());
    const auto place = [](double x, double y) {
        return pixman_point_fixed_t{pixman_double_to_fixed(x), pixman_double_to_fixed(y)};
    };
    for (std::size_t i = 0; i < star.size(); ++i) {
        const PolygonPoint &from = star[i], &to = star[(i + 1) % star.size()];
        fan[i] = {place(kWidth / 2.0, kHeight / 2.0), place(from.x, from.y), place(to.x, to.y)};
    }
    return {name, [=](const Pictures& p) {
                const auto wrap = [](std::uint8_t* pixels) {
                    return std::unique_ptr<pixman_image_t, FreeImage>(pixman_image_create_bits(
                        PIXMAN_a8r8g8b8, kWidth, kHeight, reinterpret_cast<std::uint32_t*>(pixels), 4 * kWidth));
                };
                const auto source = wrap(p.a), destination = wrap(p.to);
                pixman_composite_triangles(PIXMAN_OP_OVER, source.get(), destination.get(), mask, 0, 0, 0, 0,
                                           static_cast<int>(fan.size()), fan.data());
            }};
}

#ifdef BENCH_WITH_OPENCV
Contestant OpenCV(const std::vector<PolygonPoint>& star) {
    constexpr int kFraction = 8; // bits behind the binary point
    std::vector<cv::Point> corners;
    for (const PolygonPoint& point : star) { // its pixels have their centres on whole numbers
        corners.emplace_back(std::lround((point.x - 0.5F) * (1 << kFraction)),
                             std::lround((point.y - 0.5F) * (1 << kFraction)));
    }
    return {"OpenCV", [corners, mask = cv::Mat(kHeight, kWidth, CV_8U)](const Pictures& p) mutable {
                mask.setTo(0);
                cv::fillPoly(mask, corners, 255, cv::LINE_8, kFraction);
                cv::Mat destination(kHeight, kWidth, CV_8UC4, p.to);
                cv::Mat(kHeight, kWidth, CV_8UC4, p.a).copyTo(destination, mask);
            }};
}
#endif

std::vector<std::uint32_t> Drawn(const Contestant& contestant, const Pictures& pictures) {
    std::fill_n(pictures.to, 4 * kPixels, std::uint8_t{0});
    contestant.work(pictures);
    const auto* const pixels = reinterpret_cast<const std::uint32_t*>(pictures.to);
    return {pixels, pixels + kPixels};
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 100;
    std::vector<PolygonPoint> star = Star();
    const PolygonPointArray points{star.data(), star.size(), star.size()};
    std::vector<Contestant> contestants{{"ours",
                                         [&](const Pictures& p) {
                                             Record from(p.a), to(p.to);
                                             DoRenderPolygon(to.Hand(), from.Hand(), &points, 0);
                                         }},
                                        Pixman("pixman, hard edges", PIXMAN_a1, star),
                                        Pixman("pixman, soft edges", PIXMAN_a8, star)};
#ifdef BENCH_WITH_OPENCV
    cv::setNumThreads(1);
    contestants.push_back(OpenCV(star));
#endif
    Memory memory(4);
    const std::vector<std::uint32_t> ours = Drawn(contestants[0], memory.At(0));
    const auto inside = kPixels - static_cast<std::size_t>(std::count(ours.begin(), ours.end(), 0U));
    std::printf("%zu pixels; different:", inside);
    for (std::size_t i = 1; i < contestants.size(); ++i) {
        const std::vector<std::uint32_t> theirs = Drawn(contestants[i], memory.At(0));
        std::size_t different = 0;
        for (std::size_t pixel = 0; pixel < kPixels; ++pixel) {
            different += theirs[pixel] != ours[pixel] ? 1 : 0;
        }
        std::printf("  %s %zu", contestants[i].name.c_str(), different);
    }
    std::printf("\nmilliseconds and ratio to memcpy, hot / cold\n");
    Run("star of 50 corners", 8 * inside, memory, std::move(contestants), turns);
}
