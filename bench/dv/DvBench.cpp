// What conversions from and to DV cost beside the codec alone: milliseconds a frame, interleaved in one run, the best
// of some dozens. The codec alone runs on one thread and with as many slice threads as the converter uses processors.
// With "taskset -c 0" before it both use one.

#include "PixelBlitter.h"
#include "zyncore.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr int kRounds = 25;
constexpr int kBytesPerPixel = 4;
constexpr PB_PixelFormat kBgra = 0x4;

struct Kind {
    const char* name;
    PB_PixelFormat value, uyvy;
    int width, height, bytes;
    AVPixelFormat planes;
    AVRational frameTime;
    bool interlaced;
};
constexpr Kind kKinds[] = {
    {"NTSC DV25", 0x1000821, 0x811, 720, 480, 120000, AV_PIX_FMT_YUV411P, {1001, 30000}, true},
    {"PAL DV25", 0x2000821, 0x811, 720, 576, 144000, AV_PIX_FMT_YUV420P, {1, 25}, true},
    {"PAL DV50", 0x8000821, 0x811, 720, 576, 288000, AV_PIX_FMT_YUV422P, {1, 25}, true},
    {"PAL DV100 720p", 0x4000A21, 0xA11, 960, 720, 288000, AV_PIX_FMT_YUV422P, {1, 50}, false},
    {"PAL DV100 1080i", 0x6000A21, 0xA11, 1440, 1080, 576000, AV_PIX_FMT_YUV422P, {1, 25}, true},
};

struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

class BareCodec {
public:
    BareCodec(const Kind& kind, const AVCodec* codec, int threads)
        : mContext(avcodec_alloc_context3(codec)), mFrame(av_frame_alloc()), mPacket(av_packet_alloc()) {
        mContext->width = kind.width;
        mContext->height = kind.height;
        mContext->pix_fmt = kind.planes;
        mContext->time_base = kind.frameTime;
        mContext->flags |= kind.interlaced ? AV_CODEC_FLAG_INTERLACED_DCT : 0;
        mContext->thread_count = threads;
        mContext->thread_type = FF_THREAD_SLICE;
        avcodec_open2(mContext.get(), codec, nullptr);
    }
    void Decode(const std::vector<std::uint8_t>& frame) {
        if (mPacket->data == nullptr) {
            av_new_packet(mPacket.get(), static_cast<int>(frame.size()));
            std::copy(frame.begin(), frame.end(), mPacket->data);
        }
        avcodec_send_packet(mContext.get(), mPacket.get());
        avcodec_receive_frame(mContext.get(), mFrame.get());
    }
    void Encode(const AVFrame* frame) {
        avcodec_send_frame(mContext.get(), frame);
        avcodec_receive_packet(mContext.get(), mPacket.get());
    }
    const AVFrame* Frame() const { return mFrame.get(); }

private:
    std::unique_ptr<AVCodecContext, FreeContext> mContext;
    std::unique_ptr<AVFrame, FreeFrame> mFrame;
    std::unique_ptr<AVPacket, FreePacket> mPacket;
};

template <class Job>
void Time(double& best, const Job& job) {
    const auto start = std::chrono::steady_clock::now();
    job();
    best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
}

struct Buffer {
    explicit Buffer(int count) : bytes(static_cast<std::size_t>(count)) {}
    std::vector<std::uint8_t> bytes;
};

void Measure(const Kind& kind, const std::vector<std::uint8_t>& palFrame) {
    const int threads = static_cast<int>(zyncore::threads::ProcessorCount());
    Buffer dv(kind.bytes), encoded(kind.bytes), bgra(kind.width * kind.height * kBytesPerPixel),
        uyvy(kind.width * kind.height * 2);
    PB_ScaleConvert(palFrame.data(), 144000, 720, 576, 0x2000821, 0, bgra.bytes.data(), kind.width * kBytesPerPixel,
                    kind.width, kind.height, kBgra, 0, 3);
    const auto toDv = [&](Buffer& from, int stride, PB_PixelFormat format, Buffer& to) {
        PB_Convert(from.bytes.data(), stride, format, to.bytes.data(), kind.bytes, kind.value, kind.width, kind.height,
                   3);
    };
    const auto fromDv = [&](Buffer& to, int stride, PB_PixelFormat format) {
        PB_Convert(dv.bytes.data(), kind.bytes, kind.value, to.bytes.data(), stride, format, kind.width, kind.height,
                   3);
    };
    toDv(bgra, kind.width * kBytesPerPixel, kBgra, dv);
    const AVCodec* const decoder = avcodec_find_decoder(AV_CODEC_ID_DVVIDEO);
    const AVCodec* const encoder = avcodec_find_encoder(AV_CODEC_ID_DVVIDEO);
    BareCodec decodeOne(kind, decoder, 1), decodeAll(kind, decoder, threads);
    BareCodec encodeOne(kind, encoder, 1), encodeAll(kind, encoder, threads);
    BareCodec planes(kind, decoder, 1);
    planes.Decode(dv.bytes);
    constexpr double kNever = std::numeric_limits<double>::max();
    double decode[4] = {kNever, kNever, kNever, kNever}, encode[4] = {kNever, kNever, kNever, kNever};
    for (int round = 0; round < kRounds; ++round) {
        Time(decode[0], [&] { decodeOne.Decode(dv.bytes); });
        Time(decode[1], [&] { decodeAll.Decode(dv.bytes); });
        Time(decode[2], [&] { fromDv(uyvy, kind.width * 2, kind.uyvy); });
        Time(decode[3], [&] { fromDv(bgra, kind.width * kBytesPerPixel, kBgra); });
        Time(encode[0], [&] { encodeOne.Encode(planes.Frame()); });
        Time(encode[1], [&] { encodeAll.Encode(planes.Frame()); });
        Time(encode[2], [&] { toDv(uyvy, kind.width * 2, kind.uyvy, encoded); });
        Time(encode[3], [&] { toDv(bgra, kind.width * kBytesPerPixel, kBgra, encoded); });
    }
    std::printf("%-16s decode: codec %6.2f, %d slices %6.2f, to UYVY %6.2f, to BGRA %6.2f   "
                "encode: codec %6.2f, %d slices %6.2f, from UYVY %6.2f, from BGRA %6.2f\n",
                kind.name, decode[0], threads, decode[1], decode[2], decode[3], encode[0], threads, encode[1],
                encode[2], encode[3]);
}

} // namespace

int main() {
    std::ifstream file(VF_MEDIA_FOLDER "/city-pal.dv", std::ios::binary);
    const std::vector<std::uint8_t> frame{std::istreambuf_iterator<char>(file), {}};
    if (frame.size() != 144000) {
        std::fprintf(stderr, "bench_dv: cannot read media/city-pal.dv\n");
        return 1;
    }
    for (const Kind& kind : kKinds) {
        Measure(kind, frame);
    }
    return 0;
}
