#include "PictureRoutes.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tool {
namespace {

using namespace zynmediatypes;

// Where one component of an 8-bit picture lies.
struct Samples {
    const std::uint8_t* data = nullptr;
    std::ptrdiff_t rowBytes = 0;
    int step = 0; // bytes from a sample to the next of the same component
};

Samples SamplesOf(const PictureToLoad& source, int component) {
    const AVComponentDescriptor& where = source.layout.comp[component];
    return {source.picture.data[where.plane] + where.offset, source.picture.linesize[where.plane], where.step};
}

// Whether every component is a whole byte at full resolution.
bool IsBytesAt444(const PictureToLoad& source) {
    const AVPixFmtDescriptor& layout = source.layout;
    constexpr auto unlike = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_BAYER;
    if ((layout.flags & unlike) != 0 || layout.log2_chroma_w != 0 || layout.log2_chroma_h != 0) {
        return false;
    }
    return std::all_of(layout.comp, layout.comp + layout.nb_components,
                       [](const AVComponentDescriptor& component) { return component.depth == 8; });
}

// Components come as R, G, B, A or Y, U, V, A; rows hold B, G, R, A or V, U, Y, A. A grey sample serves all three.
Frame LoadBytes(const PictureToLoad& source, PixelFormat format) {
    const AVFrame& picture = source.picture;
    const bool grey = source.IsGrey();
    const std::array<Samples, 3> samples{SamplesOf(source, grey ? 0 : 2), SamplesOf(source, grey ? 0 : 1),
                                         SamplesOf(source, 0)};
    Samples alpha;
    if (source.HasAlpha()) {
        alpha = SamplesOf(source, grey ? 1 : 3);
    }
    Frame frame = MakeFrame(format, picture.width, picture.height, source.aspectRatio);
    const FrameRows rows(frame);
    for (std::ptrdiff_t y = 0; y < picture.height; ++y) {
        auto* out = rows.Row<std::uint8_t>(static_cast<int>(y));
        for (std::size_t channel = 0; channel < samples.size(); ++channel) {
            const std::uint8_t* in = samples[channel].data + y * samples[channel].rowBytes;
            for (int x = 0; x < picture.width; ++x) {
                out[4 * x + static_cast<int>(channel)] = in[x * samples[channel].step];
            }
        }
        const std::uint8_t* in = alpha.data ? alpha.data + y * alpha.rowBytes : nullptr;
        for (int x = 0; x < picture.width; ++x) {
            out[4 * x + 3] = in ? in[x * alpha.step] : std::uint8_t{255};
        }
    }
    return frame;
}

Frame LoadPalette(const PictureToLoad& source) {
    const AVFrame& picture = source.picture;
    // 256 words of alpha in the highest and blue in the lowest byte, which is BGRA in memory.
    std::array<std::uint32_t, 256> palette{};
    std::memcpy(palette.data(), picture.data[1], sizeof(palette));
    Frame frame = MakeFrame(kPixelFormat_BGRA_4444_8u, picture.width, picture.height, source.aspectRatio);
    const FrameRows rows(frame);
    for (std::ptrdiff_t y = 0; y < picture.height; ++y) {
        const std::uint8_t* in = picture.data[0] + y * picture.linesize[0];
        std::transform(in, in + picture.width, rows.Row<std::uint32_t>(static_cast<int>(y)),
                       [&palette](std::uint8_t index) { return palette[index]; });
    }
    return frame;
}

} // namespace

Frame LoadInterleaved8(const PictureToLoad& source) {
    if (source.picture.format == AV_PIX_FMT_PAL8) {
        return LoadPalette(source);
    }
    if (!IsBytesAt444(source)) {
        return {};
    }
    if (source.IsRGB() || (source.IsGrey() && source.colour.fullRange)) {
        return LoadBytes(source, kPixelFormat_BGRA_4444_8u);
    }
    if (source.IsGrey() || source.colour.fullRange || !source.HasLibraryMatrix() || source.layout.nb_components < 3) {
        return {};
    }
    return LoadBytes(source,
                     source.colour.matrix == Matrix::BT709 ? kPixelFormat_VUYA_4444_8u_709 : kPixelFormat_VUYA_4444_8u);
}

} // namespace tool
