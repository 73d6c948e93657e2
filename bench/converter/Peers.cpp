#include "Peers.h"

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#include <libyuv.h>

#include <algorithm>
#include <iterator>

namespace {

bool IsPlanar(PB_PixelFormat format) {
    return (format >> 24) != 0;
}
bool Is709(PB_PixelFormat format) {
    return (format & 0x200) != 0;
}
bool IsYUV(PB_PixelFormat format) {
    return (format & 1) != 0;
}

// Addresses as both libraries want them: the picture's top row first. Rows of ours run from the bottom.
struct Planes {
    std::uint8_t* data[4] = {};
    int stride[4] = {};
    explicit Planes(const PeerImage& image) {
        const int width = image.width, height = image.height;
        if (IsPlanar(image.format)) {
            const int half = (width + 1) / 2;
            data[0] = image.data;
            data[1] = data[0] + std::ptrdiff_t{width} * height;
            data[2] = data[1] + std::ptrdiff_t{half} * ((height + 1) / 2);
            stride[0] = width;
            stride[1] = stride[2] = half;
            return;
        }
        const auto rowBytes = static_cast<int>(PB_PixelFormatSize(image.format, width, 1));
        data[0] = image.data + std::ptrdiff_t{rowBytes} * (height - 1);
        stride[0] = -rowBytes;
    }
};

AVPixelFormat SwscaleFormat(PB_PixelFormat format) {
    switch (format) {
    case 0x4:
        return AV_PIX_FMT_BGRA;
    case 0x1004:
        return AV_PIX_FMT_ARGB;
    case 0x811:
    case 0xA11:
        return AV_PIX_FMT_UYVY422;
    case 0x1811:
    case 0x1A11:
        return AV_PIX_FMT_YUYV422;
    case 0xA000831:
    case 0xA000A31:
        return AV_PIX_FMT_YUV420P;
    default: // any number may come
        return AV_PIX_FMT_NONE;
    }
}

class Swscale final : public Peer {
public:
    Swscale(PB_PixelFormat from, PB_PixelFormat to, int width, int height) {
        mContext = sws_getContext(width, height, SwscaleFormat(from), width, height, SwscaleFormat(to),
                                  SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT, nullptr,
                                  nullptr, nullptr);
        const auto* const in = sws_getCoefficients(Is709(from) ? SWS_CS_ITU709 : SWS_CS_ITU601);
        const auto* const out = sws_getCoefficients(Is709(to) ? SWS_CS_ITU709 : SWS_CS_ITU601);
        sws_setColorspaceDetails(mContext, in, IsYUV(from) ? 0 : 1, out, IsYUV(to) ? 0 : 1, 0, 1 << 16, 1 << 16);
    }
    ~Swscale() override { sws_freeContext(mContext); }
    Swscale(const Swscale&) = delete;
    Swscale& operator=(const Swscale&) = delete;
    const char* Name() const override { return "swscale"; }
    void Run(const PeerImage& in, const PeerImage& out) override {
        const Planes from(in), to(out);
        sws_scale(mContext, from.data, from.stride, 0, in.height, to.data, to.stride);
    }

private:
    SwsContext* mContext;
};

using Convert = int (*)(const Planes& in, const Planes& out, int width, int height);

template <auto function>
int OneToOne(const Planes& in, const Planes& out, int width, int height) {
    return function(in.data[0], in.stride[0], out.data[0], out.stride[0], width, height);
}
template <auto function>
int OneToThree(const Planes& in, const Planes& out, int width, int height) {
    return function(in.data[0], in.stride[0], out.data[0], out.stride[0], out.data[1], out.stride[1], out.data[2],
                    out.stride[2], width, height);
}
template <auto function>
int ThreeToOne(const Planes& in, const Planes& out, int width, int height) {
    return function(in.data[0], in.stride[0], in.data[1], in.stride[1], in.data[2], in.stride[2], out.data[0],
                    out.stride[0], width, height);
}

// Its names read a pixel as a 32-bit number: ARGB is B G R A in memory.
struct LibyuvRow {
    PB_PixelFormat from, to;
    Convert convert;
};
constexpr LibyuvRow kLibyuv[] = {
    {0x4, 0x4, OneToOne<libyuv::ARGBCopy>},
    {0x4, 0x1004, OneToOne<libyuv::ARGBToBGRA>},
    {0x4, 0x8, OneToOne<libyuv::ARGBAttenuate>},
    {0x8, 0x4, OneToOne<libyuv::ARGBUnattenuate>},
    {0x4, 0x811, OneToOne<libyuv::ARGBToUYVY>},
    {0x4, 0x1811, OneToOne<libyuv::ARGBToYUY2>},
    {0x811, 0x4, OneToOne<libyuv::UYVYToARGB>},
    {0x1811, 0x4, OneToOne<libyuv::YUY2ToARGB>},
    {0x4, 0xA000831, OneToThree<libyuv::ARGBToI420>},
    {0xA000831, 0x4, ThreeToOne<libyuv::I420ToARGB>},
    {0xA000A31, 0x4, ThreeToOne<libyuv::H420ToARGB>},
    {0x811, 0xA000831, OneToThree<libyuv::UYVYToI420>},
    {0xA000831, 0x811, ThreeToOne<libyuv::I420ToUYVY>},
};

class Libyuv final : public Peer {
public:
    explicit Libyuv(Convert convert) : mConvert(convert) {}
    const char* Name() const override { return "libyuv"; }
    void Run(const PeerImage& in, const PeerImage& out) override {
        mConvert(Planes(in), Planes(out), in.width, in.height);
    }

private:
    Convert mConvert;
};

} // namespace

std::unique_ptr<Peer> MakeSwscale(PB_PixelFormat from, PB_PixelFormat to, int width, int height) {
    if (from == to || SwscaleFormat(from) == AV_PIX_FMT_NONE || SwscaleFormat(to) == AV_PIX_FMT_NONE) {
        return nullptr;
    }
    return std::make_unique<Swscale>(from, to, width, height);
}

std::unique_ptr<Peer> MakeLibyuv(PB_PixelFormat from, PB_PixelFormat to) {
    const auto* const row = std::find_if(std::begin(kLibyuv), std::end(kLibyuv),
                                         [=](const LibyuvRow& r) { return r.from == from && r.to == to; });
    return row == std::end(kLibyuv) ? nullptr : std::make_unique<Libyuv>(row->convert);
}
