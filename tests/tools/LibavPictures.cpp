#include "LibavPictures.h"

#include "ToolProcess.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace tooltest {
namespace {

using Codec = std::unique_ptr<AVCodecContext, Freeing<avcodec_free_context>>;
using Packet = std::unique_ptr<AVPacket, Freeing<av_packet_free>>;

int Check(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(what);
    }
    return result;
}

void CloseOutput(AVFormatContext** format) {
    avio_closep(&(*format)->pb);
    avformat_free_context(*format);
}

void FillGradient(AVFrame& picture, const Layout& layout) {
    const bool palette = layout.format == AV_PIX_FMT_PAL8; // its indices are RGB of 2, 3 and 3 bits
    const AVPixFmtDescriptor& samples = *av_pix_fmt_desc_get(palette ? AV_PIX_FMT_RGB8 : layout.format);
    for (std::uint32_t index = 0; palette && index < 256; ++index) {
        reinterpret_cast<std::uint32_t*>(picture.data[1])[index] =
            0xFF000000 | (index >> 6) * 85 << 16 | (index >> 3 & 7) * 255 / 7 << 8 | (index & 7) * 255 / 7;
    }
    const bool rgb = (samples.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    const bool full = rgb || samples.nb_components <= 2 || layout.range == AVCOL_RANGE_JPEG;
    const reference::Format real(rgb ? 0x104 : layout.matrix == AVCOL_SPC_BT709 ? 0xB05 : 0x905);
    const reference::Picture values =
        reference::Convert(reference::Format(kBGRA), real, Gradient(picture.width, picture.height));
    for (int component = 0; component < samples.nb_components; ++component) {
        const bool alpha = (samples.flags & AV_PIX_FMT_FLAG_ALPHA) != 0 && component == samples.nb_components - 1;
        const bool chroma = !rgb && !alpha && component > 0;
        const int depth = samples.comp[component].depth;
        const double unit = std::ldexp(1.0, depth - 8);
        const double zero = chroma ? 128 * unit : full || alpha ? 0 : 16 * unit;
        const double scale = full || alpha ? std::ldexp(1.0, depth) - 1 : (chroma ? 224 : 219) * unit;
        const int shiftX = chroma ? samples.log2_chroma_w : 0;
        const int shiftY = chroma ? samples.log2_chroma_h : 0;
        const reference::Plane& plane = values.plane[alpha ? 3 : 2 - component];
        const double right = plane.At(1, 0) - plane.At(0, 0);
        const double down = plane.At(0, 1) - plane.At(0, 0);
        std::vector<std::uint32_t> line(static_cast<std::size_t>(AV_CEIL_RSHIFT(picture.width, shiftX)));
        for (int y = 0; y < AV_CEIL_RSHIFT(picture.height, shiftY); ++y) {
            // Chroma lies on the left column and a quarter below its line, in fields as well (ISO/IEC
            // 13818-2, 6.1.1.8).
            const double top = plane.At(0, 0) + down * (shiftY == 0 ? y : 2 * y + 0.5);
            for (std::size_t x = 0; x < line.size(); ++x) {
                const double value = top + right * static_cast<double>(x << shiftX);
                line[x] = static_cast<std::uint32_t>(std::lround(zero + scale * value));
            }
            av_write_image_line2(line.data(), picture.data, picture.linesize, &samples, 0, y, component,
                                 static_cast<int>(line.size()), sizeof(std::uint32_t));
        }
    }
}

} // namespace

Decoded Decode(const std::string& path, std::size_t end) {
    AVFormatContext* format = nullptr;
    Check(avformat_open_input(&format, path.c_str(), nullptr, nullptr), "the file does not open");
    const std::unique_ptr<AVFormatContext, Freeing<avformat_close_input>> closing(format);
    Check(avformat_find_stream_info(format, nullptr), "no streams");
    const AVCodec* codec = nullptr;
    const int index = Check(av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0), "no pictures");
    AVStream* stream = format->streams[index];
    const Codec decoder(avcodec_alloc_context3(codec));
    Check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "parameters");
    Check(avcodec_open2(decoder.get(), codec, nullptr), "no decoder");

    Decoded decoded;
    decoded.frameRate = av_guess_frame_rate(format, stream, nullptr);
    const Packet packet(av_packet_alloc());
    for (bool more = true; more && decoded.pictures.size() < end; av_packet_unref(packet.get())) {
        more = av_read_frame(format, packet.get()) >= 0;
        if (more && packet->stream_index != index) {
            continue;
        }
        avcodec_send_packet(decoder.get(), more ? packet.get() : nullptr);
        for (Picture picture(av_frame_alloc()); avcodec_receive_frame(decoder.get(), picture.get()) >= 0;
             picture.reset(av_frame_alloc())) {
            decoded.sampleAspectRatio = av_guess_sample_aspect_ratio(format, stream, picture.get());
            decoded.pictures.push_back(std::move(picture));
        }
    }
    return decoded;
}

Decoded Convert(const std::string& in, const std::string& out, const std::string& options) {
    const Result result = RunTool("convert " + in + " " + out + " " + options);
    EXPECT_EQ(result.exitCode, 0) << options << "\n" << result.errors;
    EXPECT_EQ(result.errors, ""); // no bar where there is no terminal
    return Decode(out);
}

reference::Picture InRGB(const AVFrame& picture, bool bt709, std::int32_t through) {
    const AVPixFmtDescriptor& layout = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    reference::Picture codes;
    for (int component = 0; component < 3; ++component) {
        const AVComponentDescriptor& where = layout.comp[component];
        reference::Plane& plane = codes.plane[2 - component];
        plane = {AV_CEIL_RSHIFT(picture.width, component > 0 ? layout.log2_chroma_w : 0),
                 AV_CEIL_RSHIFT(picture.height, component > 0 ? layout.log2_chroma_h : 0)};
        for (int y = 0; y < plane.height; ++y) {
            const std::uint8_t* line = picture.data[where.plane] + y * picture.linesize[where.plane] + where.offset;
            for (int x = 0; x < plane.width; ++x) {
                plane.At(x, y) = line[x * where.step];
            }
        }
    }
    if ((layout.flags & AV_PIX_FMT_FLAG_RGB) != 0) {
        return codes;
    }
    codes.plane[3] = {picture.width, picture.height};
    const int centred = picture.chroma_location == AVCHROMA_LOC_CENTER ? 1 : 0;
    const reference::Format planar((10 + 2 * centred) << 24 | 0x831 | (bt709 ? 0x200 : 0));
    const reference::Format between(through);
    return reference::Convert(between, reference::Format(kBGRA), reference::Convert(planar, between, codes));
}

Difference Compare(const reference::Picture& is, const reference::Picture& wanted, int margin) {
    Difference difference;
    for (int channel = 0; channel < 3; ++channel) {
        const reference::Plane& plane = is.plane[channel];
        EXPECT_EQ(plane.width, wanted.plane[channel].width);
        EXPECT_EQ(plane.height, wanted.plane[channel].height);
        const double count = (plane.width - 2 * margin) * (plane.height - 2 * margin);
        double bias = 0;
        for (int y = margin; y < plane.height - margin; ++y) {
            for (int x = margin; x < plane.width - margin; ++x) {
                const double by = plane.At(x, y) - wanted.plane[channel].At(x, y);
                difference.worst = std::max(difference.worst, std::abs(by));
                difference.mean += std::abs(by) / (3 * count);
                bias += by / count;
            }
        }
        difference.bias = std::max(difference.bias, std::abs(bias));
    }
    return difference;
}

reference::Picture Gradient(int width, int height) {
    const reference::Plane plane(width, height);
    reference::Picture picture{{plane, plane, plane, plane}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double right = static_cast<double>(x) / (width - 1);
            const double down = static_cast<double>(y) / (height - 1);
            const double codes[] = {200 - 90 * right - 70 * down, 60 + 130 * down, 40 + 150 * right, 255};
            for (int channel = 0; channel < 4; ++channel) {
                picture.plane[channel].At(x, y) = codes[channel];
            }
        }
    }
    return picture;
}

void WriteGradient(const std::string& path, const Layout& layout, int width, int height) {
    const AVCodec* codec = avcodec_find_encoder(layout.codec);
    const Codec encoder(avcodec_alloc_context3(codec));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = layout.format;
    encoder->time_base = {1, 25};
    encoder->sample_aspect_ratio = {8, 9};
    encoder->color_range = layout.range;
    encoder->colorspace = layout.matrix;
    encoder->field_order = layout.interlaced ? AV_FIELD_TT : AV_FIELD_PROGRESSIVE;
    Check(avcodec_open2(encoder.get(), codec, nullptr), "no encoder");

    const Picture picture(av_frame_alloc());
    picture->format = layout.format;
    picture->width = width;
    picture->height = height;
    picture->pts = 0;
    picture->interlaced_frame = layout.interlaced ? 1 : 0;
    picture->top_field_first = 1;
    Check(av_frame_get_buffer(picture.get(), 0), "no memory");
    for (int n = 0; picture->buf[n]; ++n) { // lines are written by setting bits
        std::memset(picture->buf[n]->data, 0, picture->buf[n]->size);
    }
    FillGradient(*picture, layout);
    const Packet packet(av_packet_alloc());
    Check(avcodec_send_frame(encoder.get(), picture.get()), "encoding");
    avcodec_send_frame(encoder.get(), nullptr);
    Check(avcodec_receive_packet(encoder.get(), packet.get()), "encoding");

    AVFormatContext* format = nullptr;
    Check(avformat_alloc_output_context2(&format, nullptr, "matroska", path.c_str()), "no container");
    const std::unique_ptr<AVFormatContext, Freeing<CloseOutput>> closing(format);
    AVStream* stream = avformat_new_stream(format, nullptr);
    Check(avcodec_parameters_from_context(stream->codecpar, encoder.get()), "parameters");
    stream->sample_aspect_ratio = encoder->sample_aspect_ratio;
    Check(avio_open(&format->pb, path.c_str(), AVIO_FLAG_WRITE), "the file cannot be created");
    Check(avformat_write_header(format, nullptr), "header");
    Check(av_write_frame(format, packet.get()), "writing");
    Check(av_write_trailer(format), "trailer");
}

} // namespace tooltest
