#include "LibavPictures.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace tooltest {
namespace {

template <class T>
T Check(T result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(what);
    }
    return result;
}

struct FreeCodec {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

// Kr and Kb of ITU-R BT.601 and BT.709.
struct Weights {
    double red;
    double blue;
};
Weights WeightsOf(bool bt709) {
    return bt709 ? Weights{0.2126, 0.0722} : Weights{0.299, 0.114};
}

// Y', Cb, Cr as 0..1 and -0.5..0.5.
RGB YUVOf(const RGB& rgb, bool bt709) {
    const auto [kr, kb] = WeightsOf(bt709);
    const double luma = (kr * rgb[0] + (1 - kr - kb) * rgb[1] + kb * rgb[2]) / 255;
    return {luma, (rgb[2] / 255 - luma) / (2 - 2 * kb), (rgb[0] / 255 - luma) / (2 - 2 * kr)};
}

int SampleAt(const AVFrame& picture, int plane, int x, int y) {
    return picture.data[plane][y * picture.linesize[plane] + x];
}

// The position of a component's sample in luma samples: on the left column, and between lines unless fields have it
// otherwise (ISO/IEC 13818-2, 6.1.1.8).
std::array<double, 2> PositionOf(const Layout& layout, const AVPixFmtDescriptor& descriptor, bool chroma, int x,
                                 int y) {
    if (!chroma) {
        return {static_cast<double>(x), static_cast<double>(y)};
    }
    const double line = 1 << descriptor.log2_chroma_h;
    double top = (y + 0.5) * line - 0.5;
    if (layout.interlaced && descriptor.log2_chroma_h == 1) {
        const int pair = y / 2;
        top = 4.0 * pair + (y % 2 == 0 ? 0.5 : 2.5);
    }
    return {static_cast<double>(x << descriptor.log2_chroma_w), top};
}

RGB GradientAt(double x, double y, int width, int height) {
    const double right = std::clamp(x / (width - 1), 0.0, 1.0);
    const double down = std::clamp(y / (height - 1), 0.0, 1.0);
    return {40 + 150 * right, 60 + 130 * down, 200 - 90 * right - 70 * down};
}

void FillPalette(AVFrame& picture) {
    for (std::uint32_t index = 0; index < 256; ++index) { // 3 bits of red, 3 of green, 2 of blue
        const std::uint32_t red = (index >> 5) * 255 / 7;
        const std::uint32_t green = (index >> 2 & 7) * 255 / 7;
        const std::uint32_t blue = (index & 3) * 85;
        reinterpret_cast<std::uint32_t*>(picture.data[1])[index] = 0xFF000000 | red << 16 | green << 8 | blue;
    }
}

void FillGradient(AVFrame& picture, const Layout& layout) {
    const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(layout.format);
    const bool rgb = (descriptor.flags & AV_PIX_FMT_FLAG_RGB) != 0;
    const bool grey = descriptor.nb_components <= 2;
    const bool full = layout.range == AVCOL_RANGE_JPEG || (grey && layout.range == AVCOL_RANGE_UNSPECIFIED);
    const bool alphaLast = (descriptor.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    for (int component = 0; component < descriptor.nb_components; ++component) {
        const bool chroma = !rgb && !grey && (component == 1 || component == 2);
        const int width = chroma ? AV_CEIL_RSHIFT(picture.width, descriptor.log2_chroma_w) : picture.width;
        const int height = chroma ? AV_CEIL_RSHIFT(picture.height, descriptor.log2_chroma_h) : picture.height;
        const int depth = descriptor.comp[component].depth;
        const double unit = std::ldexp(1.0, depth - 8);
        const double top = std::ldexp(1.0, depth) - 1;
        for (int y = 0; y < height; ++y) {
            std::vector<std::uint32_t> line(static_cast<std::size_t>(width));
            for (int x = 0; x < width; ++x) {
                const auto [px, py] = PositionOf(layout, descriptor, chroma, x, y);
                const RGB colour = GradientAt(px, py, picture.width, picture.height);
                const RGB yuv = YUVOf(colour, layout.matrix == AVCOL_SPC_BT709);
                double value = 0;
                if (alphaLast && component == descriptor.nb_components - 1) {
                    value = top;
                } else if (rgb) {
                    value = colour[static_cast<std::size_t>(component)] / 255 * top;
                } else if (chroma) {
                    value = 128 * unit + yuv[static_cast<std::size_t>(component)] * (full ? top : 224 * unit);
                } else {
                    value = full ? yuv[0] * top : 16 * unit + yuv[0] * 219 * unit;
                }
                line[static_cast<std::size_t>(x)] = static_cast<std::uint32_t>(std::lround(value));
            }
            av_write_image_line2(line.data(), picture.data, picture.linesize, &descriptor, 0, y, component, width,
                                 sizeof(std::uint32_t));
        }
    }
}

} // namespace

RGB Gradient(int x, int y, int width, int height) {
    return GradientAt(x, y, width, height);
}

Decoded Decode(const std::string& path, int first, int end) {
    AVFormatContext* format = nullptr;
    Check(avformat_open_input(&format, path.c_str(), nullptr, nullptr), "the file does not open");
    const std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> closing(
        format, [](AVFormatContext* open) { avformat_close_input(&open); });
    Check(avformat_find_stream_info(format, nullptr), "no streams");
    const AVCodec* codec = nullptr;
    const int index = Check(av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0), "no pictures");
    AVStream* stream = format->streams[index];
    const std::unique_ptr<AVCodecContext, FreeCodec> decoder(avcodec_alloc_context3(codec));
    Check(avcodec_parameters_to_context(decoder.get(), stream->codecpar), "parameters");
    Check(avcodec_open2(decoder.get(), codec, nullptr), "no decoder");

    Decoded decoded;
    decoded.frameRate = av_guess_frame_rate(format, stream, nullptr);
    decoded.codec = avcodec_get_name(codec->id);
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    int number = 0;
    for (bool more = true; more && number < end;) {
        const int read = av_read_frame(format, packet.get());
        if (read >= 0 && packet->stream_index != index) {
            av_packet_unref(packet.get());
            continue;
        }
        avcodec_send_packet(decoder.get(), read >= 0 ? packet.get() : nullptr);
        av_packet_unref(packet.get());
        more = read >= 0;
        for (Picture picture(av_frame_alloc()); avcodec_receive_frame(decoder.get(), picture.get()) >= 0;
             picture.reset(av_frame_alloc())) {
            decoded.sampleAspectRatio = av_guess_sample_aspect_ratio(format, stream, picture.get());
            if (codec->id == AV_CODEC_ID_PNG) { // given as pixels per unit
                decoded.sampleAspectRatio = av_inv_q(decoded.sampleAspectRatio);
            }
            if (number >= first && number < end) {
                decoded.pictures.push_back(std::move(picture));
            }
            ++number;
        }
    }
    return decoded;
}

RGB ColourInRGB(const AVFrame& picture, int x, int y) {
    const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    RGB colour{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const AVComponentDescriptor& where = descriptor.comp[channel];
        colour[channel] = SampleAt(picture, where.plane, x * where.step + where.offset, y);
    }
    return colour;
}

RGB ColourIn420(const AVFrame& picture, int x, int y, bool bt709) {
    const auto [kr, kb] = WeightsOf(bt709);
    const double luma = (SampleAt(picture, 0, x, y) - 16) / 219.0;
    const double u = (SampleAt(picture, 1, x / 2, y / 2) - 128) / 224.0;
    const double v = (SampleAt(picture, 2, x / 2, y / 2) - 128) / 224.0;
    const double red = luma + (2 - 2 * kr) * v;
    const double blue = luma + (2 - 2 * kb) * u;
    const double green = (luma - kr * red - kb * blue) / (1 - kr - kb);
    const auto code = [](double value) { return std::clamp(value * 255, 0.0, 255.0); };
    return {code(red), code(green), code(blue)};
}

bool IsChromaFlat(const AVFrame& picture, int x, int y) {
    for (int plane = 1; plane < 3; ++plane) {
        int least = 255;
        int most = 0;
        for (int dy = -2; dy <= 2; ++dy) {
            for (int dx = -2; dx <= 2; ++dx) {
                const int sample = SampleAt(picture, plane, std::clamp(x / 2 + dx, 0, picture.width / 2 - 1),
                                            std::clamp(y / 2 + dy, 0, picture.height / 2 - 1));
                least = std::min(least, sample);
                most = std::max(most, sample);
            }
        }
        if (most - least > 1) {
            return false;
        }
    }
    return true;
}

void WriteGradient(const std::string& path, const Layout& layout, int width, int height) {
    const Picture picture(av_frame_alloc());
    picture->format = layout.format;
    picture->width = width;
    picture->height = height;
    Check(av_frame_get_buffer(picture.get(), 0), "no memory");
    for (const AVBufferRef* memory : picture->buf) { // lines are written by setting bits
        if (memory) {
            std::memset(memory->data, 0, memory->size);
        }
    }
    if (layout.format == AV_PIX_FMT_PAL8) {
        FillPalette(*picture);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const RGB colour = Gradient(x, y, width, height);
                const auto step = [](double value, int steps) {
                    return static_cast<unsigned>(std::lround(value / 255 * steps));
                };
                picture->data[0][y * picture->linesize[0] + x] =
                    static_cast<std::uint8_t>(step(colour[0], 7) << 5 | step(colour[1], 7) << 2 | step(colour[2], 3));
            }
        }
    } else {
        FillGradient(*picture, layout);
    }
    picture->pts = 0;
    picture->interlaced_frame = layout.interlaced ? 1 : 0;
    picture->top_field_first = 1;
    picture->color_range = layout.range;
    picture->colorspace = layout.matrix;

    const AVCodec* codec = avcodec_find_encoder(layout.codec);
    const std::unique_ptr<AVCodecContext, FreeCodec> encoder(avcodec_alloc_context3(codec));
    encoder->width = width;
    encoder->height = height;
    encoder->pix_fmt = layout.format;
    encoder->time_base = {1, 25};
    encoder->sample_aspect_ratio = {8, 9};
    encoder->color_range = layout.range;
    encoder->colorspace = layout.matrix;
    encoder->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    encoder->flags = AV_CODEC_FLAG_GLOBAL_HEADER | (layout.interlaced ? AV_CODEC_FLAG_INTERLACED_DCT : 0);
    encoder->field_order = layout.interlaced ? AV_FIELD_TT : AV_FIELD_PROGRESSIVE;
    Check(avcodec_open2(encoder.get(), codec, nullptr), "no encoder");

    AVFormatContext* format = nullptr;
    Check(avformat_alloc_output_context2(&format, nullptr, "matroska", path.c_str()), "no container");
    const std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> closing(format, [](AVFormatContext* open) {
        avio_closep(&open->pb);
        avformat_free_context(open);
    });
    AVStream* stream = avformat_new_stream(format, nullptr);
    Check(avcodec_parameters_from_context(stream->codecpar, encoder.get()), "parameters");
    stream->sample_aspect_ratio = encoder->sample_aspect_ratio;
    Check(avio_open(&format->pb, path.c_str(), AVIO_FLAG_WRITE), "the file cannot be created");
    Check(avformat_write_header(format, nullptr), "header");
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    Check(avcodec_send_frame(encoder.get(), picture.get()), "encoding");
    avcodec_send_frame(encoder.get(), nullptr);
    Check(avcodec_receive_packet(encoder.get(), packet.get()), "encoding");
    packet->stream_index = 0;
    Check(av_write_frame(format, packet.get()), "writing");
    Check(av_write_trailer(format), "trailer");
}

} // namespace tooltest
