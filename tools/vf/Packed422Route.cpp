#include "PictureRoutes.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tool {
namespace {

using namespace zynmediatypes;

template <class Sample>
const Sample* RowOf(const AVFrame& picture, int plane, int y) {
    return reinterpret_cast<const Sample*>(picture.data[plane] +
                                           static_cast<std::ptrdiff_t>(y) * picture.linesize[plane]);
}

void PackUYVY(const AVFrame& picture, int y, std::uint8_t* out) {
    const auto* luma = RowOf<std::uint8_t>(picture, 0, y);
    const auto* u = RowOf<std::uint8_t>(picture, 1, y);
    const auto* v = RowOf<std::uint8_t>(picture, 2, y);
    for (int pair = 0; pair < (picture.width + 1) / 2; ++pair) {
        *out++ = u[pair];
        *out++ = luma[2 * pair];
        *out++ = v[pair];
        *out++ = luma[std::min(2 * pair + 1, picture.width - 1)];
    }
}

// Six pixels in four little-endian words, three 10-bit samples a word, lowest bits first: U0 Y0 V0, Y1 U2 Y2, V2 Y3 U4,
// Y4 V4 Y5. The last group repeats the picture's last samples.
void PackV210(const AVFrame& picture, int y, std::uint32_t* out) {
    const auto* luma = RowOf<std::uint16_t>(picture, 0, y);
    const auto* u = RowOf<std::uint16_t>(picture, 1, y);
    const auto* v = RowOf<std::uint16_t>(picture, 2, y);
    const int chromaWidth = (picture.width + 1) / 2;
    for (int x = 0; x < picture.width; x += 6) {
        const auto Y = [&](int i) { return luma[std::min(x + i, picture.width - 1)] & 0x3FFU; };
        const auto U = [&](int i) { return u[std::min(x / 2 + i, chromaWidth - 1)] & 0x3FFU; };
        const auto V = [&](int i) { return v[std::min(x / 2 + i, chromaWidth - 1)] & 0x3FFU; };
        *out++ = U(0) | Y(0) << 10 | V(0) << 20;
        *out++ = Y(1) | U(1) << 10 | Y(2) << 20;
        *out++ = V(1) | Y(3) << 10 | U(2) << 20;
        *out++ = Y(4) | V(2) << 10 | Y(5) << 20;
    }
}

PixelFormat FormatFor(const PictureToLoad& source) {
    const bool bt709 = source.colour.matrix == Matrix::BT709;
    switch (source.picture.format) {
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_UYVY422:
        return bt709 ? kPixelFormat_UYVY_422_8u_709 : kPixelFormat_UYVY_422_8u;
    case AV_PIX_FMT_YUYV422:
        return bt709 ? kPixelFormat_YUYV_422_8u_709 : kPixelFormat_YUYV_422_8u;
    case AV_PIX_FMT_YUV422P10LE:
        return bt709 ? kPixelFormat_V210_422_10u_709 : kPixelFormat_V210_422_10u;
    default:
        return kPixelFormat_Invalid;
    }
}

} // namespace

Frame LoadPacked422(const PictureToLoad& source) {
    const AVFrame& picture = source.picture;
    const PixelFormat format = FormatFor(source);
    if (format == kPixelFormat_Invalid || source.colour.fullRange || !source.HasLibraryMatrix()) {
        return {};
    }
    Frame frame = MakeFrame(format, picture.width, picture.height, source.aspectRatio);
    const FrameRows rows(frame);
    for (int y = 0; y < picture.height; ++y) {
        if (picture.format == AV_PIX_FMT_YUV422P) {
            PackUYVY(picture, y, rows.Row<std::uint8_t>(y));
        } else if (picture.format == AV_PIX_FMT_YUV422P10LE) {
            PackV210(picture, y, rows.Row<std::uint32_t>(y));
        } else {
            std::memcpy(rows.Row<std::uint8_t>(y), RowOf<std::uint8_t>(picture, 0, y),
                        static_cast<std::size_t>(picture.width + 1) / 2 * 4);
        }
    }
    return frame;
}

} // namespace tool
