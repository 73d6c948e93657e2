/// The resampler against zimg's float path: filters, borders and grid mean the same in both.

#include "Pictures.h"

#include <zimg.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using namespace PixelBlitter;
using scaletest::Picture;

using Graph = std::unique_ptr<zimg_filter_graph, void (*)(zimg_filter_graph*)>;
using Buffer = std::unique_ptr<void, void (*)(void*)>;

std::size_t RowBytes(int width) {
    return (static_cast<std::size_t>(width) * sizeof(float) + 63) / 64 * 64;
}

Buffer Allocate(std::size_t size) {
    return {std::aligned_alloc(64, (size + 63) / 64 * 64 + 64), std::free};
}

/// The first plane of the source, scaled; rows of RowBytes.
Buffer ScaleWithZimg(const Picture& source, int width, int height, zimg_resample_filter_e filter) {
    zimg_image_format from;
    zimg_image_format to;
    for (zimg_image_format* format : {&from, &to}) {
        zimg_image_format_default(format, ZIMG_API_VERSION);
        format->pixel_type = ZIMG_PIXEL_FLOAT;
        format->color_family = ZIMG_COLOR_GREY;
        format->width = static_cast<unsigned>(format == &from ? source.width : width);
        format->height = static_cast<unsigned>(format == &from ? source.height : height);
    }
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.resample_filter = filter;
    parameters.filter_param_a = filter == ZIMG_RESIZE_LANCZOS ? 3 : 0;
    parameters.filter_param_b = 0.5;
    const Graph graph(zimg_filter_graph_build(&from, &to, &parameters), zimg_filter_graph_free);
    EXPECT_TRUE(graph);

    const Buffer in = Allocate(RowBytes(source.width) * static_cast<std::size_t>(source.height));
    Buffer out = Allocate(RowBytes(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < source.height; ++y)
        std::memcpy(static_cast<char*>(in.get()) + RowBytes(source.width) * static_cast<std::size_t>(y),
                    source.At(0, y, 0), static_cast<std::size_t>(source.width) * sizeof(float));
    std::size_t temporary = 0;
    zimg_filter_graph_get_tmp_size(graph.get(), &temporary);
    zimg_image_buffer_const inBuffer{};
    zimg_image_buffer outBuffer{};
    inBuffer.version = outBuffer.version = ZIMG_API_VERSION;
    inBuffer.plane[0] = {in.get(), static_cast<std::ptrdiff_t>(RowBytes(source.width)), ZIMG_BUFFER_MAX};
    outBuffer.plane[0] = {out.get(), static_cast<std::ptrdiff_t>(RowBytes(width)), ZIMG_BUFFER_MAX};
    EXPECT_EQ(zimg_filter_graph_process(graph.get(), &inBuffer, &outBuffer, Allocate(temporary).get(), nullptr, nullptr,
                                        nullptr, nullptr),
              0);
    return out;
}

TEST(ResamplerPeer, AgreesWithZimg) {
    constexpr std::pair<Filter, zimg_resample_filter_e> kFilters[] = {{Filter::Bilinear, ZIMG_RESIZE_BILINEAR},
                                                                      {Filter::Bicubic, ZIMG_RESIZE_BICUBIC},
                                                                      {Filter::Lanczos3, ZIMG_RESIZE_LANCZOS}};
    for (const auto& [filter, zimgFilter] : kFilters) {
        for (const auto& [width, height] : {std::pair{96, 54}, {128, 72}, {307, 211}, {23, 300}, {191, 13}}) {
            const Picture source = Picture::Random(192, 108);
            Picture result(width, height);
            ResamplePlan::Make({WholeAxis(192, width), WholeAxis(108, height), filter, 0})->Run(source, result);
            const Buffer wanted = ScaleWithZimg(source, width, height, zimgFilter);
            for (int y = 0; y < height; ++y) {
                const auto* row = reinterpret_cast<const float*>(static_cast<const char*>(wanted.get()) +
                                                                 RowBytes(width) * static_cast<std::size_t>(y));
                for (int x = 0; x < width; ++x)
                    ASSERT_NEAR(*result.At(0, y, x), row[x], 3e-6)
                        << FilterName(filter) << " " << width << "x" << height << " at " << x << "," << y;
            }
        }
    }
}

} // namespace
