#include "DvReference.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace {

struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct Codec {
    std::unique_ptr<AVCodecContext, FreeContext> context;
    std::unique_ptr<AVFrame, FreeFrame> frame{av_frame_alloc()};
    std::unique_ptr<AVPacket, FreePacket> packet{av_packet_alloc()};
    explicit Codec(const AVCodec* codec) : context(avcodec_alloc_context3(codec)) {}
};

void Check(int result) {
    if (result < 0) {
        throw std::runtime_error("libavcodec refused");
    }
}

// Lines of a field between two samples of its chroma, and the line of the first.
struct Lines {
    int period, first;
};
Lines ChromaLines(const DvKind& kind, int plane) {
    return {kind.chromaRows, kind.chromaRows == 2 && plane == 1 ? 1 : 0};
}

} // namespace

DvPlanes::DvPlanes(const DvKind& kind)
    : plane{{kind.width, kind.height},
            {kind.width / kind.chromaColumns, kind.height / kind.chromaRows},
            {kind.width / kind.chromaColumns, kind.height / kind.chromaRows}} {}

DvFrame ReadDvFrame(const char* name) {
    std::ifstream file(std::string(VF_MEDIA_FOLDER "/") + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

DvPlanes DecodeDv(const DvKind& kind, const DvFrame& frame) {
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_DVVIDEO);
    const Codec decoder(codec);
    Check(avcodec_open2(decoder.context.get(), codec, nullptr));
    Check(av_new_packet(decoder.packet.get(), static_cast<int>(frame.size())));
    std::copy(frame.begin(), frame.end(), decoder.packet->data);
    Check(avcodec_send_packet(decoder.context.get(), decoder.packet.get()));
    Check(avcodec_receive_frame(decoder.context.get(), decoder.frame.get()));
    DvPlanes planes(kind);
    for (int p = 0; p < 3; ++p) {
        for (int y = 0; y < planes.plane[p].height; ++y) {
            const std::uint8_t* const row = decoder.frame->data[p] + y * decoder.frame->linesize[p];
            std::copy_n(row, planes.plane[p].width, &planes.plane[p].At(0, y));
        }
    }
    return planes;
}

DvFrame EncodeDv(const DvKind& kind, const DvPlanes& planes) {
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_DVVIDEO);
    const Codec encoder(codec);
    const AVPixelFormat format = kind.chromaColumns == 4 ? AV_PIX_FMT_YUV411P
                                 : kind.chromaRows == 2  ? AV_PIX_FMT_YUV420P
                                                         : AV_PIX_FMT_YUV422P;
    encoder.context->width = encoder.frame->width = kind.width;
    encoder.context->height = encoder.frame->height = kind.height;
    encoder.context->pix_fmt = format;
    encoder.frame->format = format;
    encoder.context->time_base = {kind.seconds, kind.frames};
    encoder.context->flags |= kind.interlaced ? AV_CODEC_FLAG_INTERLACED_DCT : 0;
    Check(avcodec_open2(encoder.context.get(), codec, nullptr));
    encoder.frame->interlaced_frame = kind.interlaced;
    encoder.frame->top_field_first = kind.upperFirst;
    encoder.frame->pts = 0;
    Check(av_frame_get_buffer(encoder.frame.get(), 0));
    for (int p = 0; p < 3; ++p) {
        for (int y = 0; y < planes.plane[p].height; ++y) {
            for (int x = 0; x < planes.plane[p].width; ++x) {
                encoder.frame->data[p][y * encoder.frame->linesize[p] + x] =
                    static_cast<std::uint8_t>(planes.plane[p].At(x, y));
            }
        }
    }
    Check(avcodec_send_frame(encoder.context.get(), encoder.frame.get()));
    Check(avcodec_receive_packet(encoder.context.get(), encoder.packet.get()));
    return {encoder.packet->data, encoder.packet->data + encoder.packet->size};
}

reference::Picture FullSize(const DvKind& kind, const DvPlanes& planes) {
    reference::Picture full;
    for (auto& plane : full.plane) {
        plane = reference::Plane(kind.width, kind.height);
    }
    const auto chroma = [&](int p, int x, int y) {
        const reference::Plane& plane = planes.plane[p];
        const Lines lines = ChromaLines(kind, p);
        const int fields = kind.chromaRows;
        const double column = double(x) / kind.chromaColumns;
        const double row = double(y / fields - lines.first) / lines.period;
        const auto at = [&](double i, double j) { // sample i of row j of the field
            const double last = plane.height / fields - 1;
            return plane.At(std::min(static_cast<int>(i), plane.width - 1),
                            fields * static_cast<int>(std::clamp(j, 0.0, last)) + y % fields);
        };
        const double i = std::floor(column), j = std::floor(row), s = column - i, t = row - j;
        return (1 - t) * ((1 - s) * at(i, j) + s * at(i + 1, j)) + t * ((1 - s) * at(i, j + 1) + s * at(i + 1, j + 1));
    };
    for (int y = 0; y < kind.height; ++y) {
        for (int x = 0; x < kind.width; ++x) {
            full.plane[0].At(x, y) = (chroma(2, x, y) - 128) / 224;
            full.plane[1].At(x, y) = (chroma(1, x, y) - 128) / 224;
            full.plane[2].At(x, y) = (planes.plane[0].At(x, y) - 16) / 219;
            full.plane[3].At(x, y) = 1;
        }
    }
    return full;
}

DvPlanes PlanesOf422(const DvKind& kind, const reference::Picture& codes) {
    DvPlanes planes(kind);
    planes.plane[0].samples = codes.plane[2].samples;
    for (const int p : {1, 2}) {
        const reference::Plane& half = codes.plane[p == 1 ? 1 : 0];
        reference::Plane& out = planes.plane[p];
        const int first = ChromaLines(kind, p).first;
        for (int y = 0; y < out.height; ++y) {
            for (int x = 0; x < out.width; ++x) {
                const auto at = [&](int dx, int dy) {
                    const int column = std::clamp(x * kind.chromaColumns / 2 + dx, 0, half.width - 1);
                    const int line = std::clamp(y / 2 * 2 + first + dy, 0, half.height / 2 - 1);
                    return half.At(column, kind.chromaRows == 2 ? 2 * line + y % 2 : y);
                };
                const double value = kind.chromaColumns == 4 ? (at(-1, 0) + 2 * at(0, 0) + at(1, 0)) / 4
                                     : kind.chromaRows == 2  ? (at(0, -1) + 2 * at(0, 0) + at(0, 1)) / 4
                                                             : at(0, 0);
                out.At(x, y) = std::floor(value + 0.5);
            }
        }
    }
    return planes;
}
