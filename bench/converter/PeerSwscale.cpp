#include "Peers.h"
#include "Planes.h"
#include "ReferencePixels.h"

extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace converterbench {
namespace {

AVPixelFormat SwscaleFormat(PB_PixelFormat format) {
    switch (format) {
    case 0x4:
    case 0x8: // which it can scale, but not make
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
    case 0xC000831:
        return AV_PIX_FMT_YUV420P;
    default: // any number may come
        return AV_PIX_FMT_NONE;
    }
}

class Swscale final : public Worker {
public:
    explicit Swscale(const Job& job) {
        constexpr int kFilters[] = {SWS_AREA, SWS_BILINEAR, SWS_BICUBIC, SWS_LANCZOS};
        const double cubic[] = {0, 0.5}; // Keys' with a = -1/2
        const double defaults[] = {SWS_PARAM_DEFAULT, SWS_PARAM_DEFAULT};
        const int filter = job.Scales() ? kFilters[job.quality - 1] : SWS_BILINEAR;
        mContext =
            sws_getContext(job.in.width, job.in.height, SwscaleFormat(job.from), job.out.width, job.out.height,
                           SwscaleFormat(job.to), filter | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT,
                           nullptr, nullptr, filter == SWS_BICUBIC ? cubic : defaults);
        const reference::Format from(job.from), to(job.to);
        const auto* const in = sws_getCoefficients(from.bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
        const auto* const out = sws_getCoefficients(to.bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
        sws_setColorspaceDetails(mContext, in, from.yuv ? 0 : 1, out, to.yuv ? 0 : 1, 0, 1 << 16, 1 << 16);
    }
    ~Swscale() override { sws_freeContext(mContext); }
    const char* Name() const override { return "swscale"; }
    void Run(const Image& in, const Image& out) override {
        const Planes from(in), to(out);
        sws_scale(mContext, from.data, from.stride, 0, in.height, to.data, to.stride);
    }

private:
    SwsContext* mContext;
};

} // namespace

std::unique_ptr<Worker> MakeSwscale(const Job& job) {
    const bool knows = SwscaleFormat(job.from) != AV_PIX_FMT_NONE && SwscaleFormat(job.to) != AV_PIX_FMT_NONE;
    const bool changes = job.Scales() || (job.from != job.to && job.from != 0x8 && job.to != 0x8);
    return knows && changes && job.kind == Kind::Convert ? std::make_unique<Swscale>(job) : nullptr;
}

} // namespace converterbench
