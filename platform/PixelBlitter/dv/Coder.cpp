#include "dv/Coder.h"

#include "dv/Jobs.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace PixelBlitter::dv {
namespace {

// Moves messages beyond the most talkative level that a log can be set to (56), and stays within the eight bits that
// libavutil's own log compares.
constexpr int kSilence = 128;

AVPixelFormat PlanesOf(zynmediatypes::Chroma chroma) noexcept {
    switch (chroma) {
    case zynmediatypes::Chroma::C411:
        return AV_PIX_FMT_YUV411P;
    case zynmediatypes::Chroma::C420:
        return AV_PIX_FMT_YUV420P;
    case zynmediatypes::Chroma::C422:
        return AV_PIX_FMT_YUV422P;
    case zynmediatypes::Chroma::C444:
        break;
    }
    return AV_PIX_FMT_NONE;
}

} // namespace

void Coder::FreeContext::operator()(AVCodecContext* context) const noexcept {
    LoadedCodecLibrary()->avcodec_free_context(&context);
}

void Coder::FreePacket::operator()(AVPacket* packet) const noexcept {
    LoadedCodecLibrary()->av_packet_free(&packet);
}

void Coder::FreeFrame::operator()(AVFrame* frame) const noexcept {
    LoadedCodecLibrary()->av_frame_free(&frame);
}

std::unique_ptr<Coder> Coder::Open(const Kind& kind, Task task, PB_Result& outResult) noexcept {
    const CodecLibrary* const library = LoadedCodecLibrary();
    if (library == nullptr) {
        outResult = kPB_UnsupportedFormat;
        return nullptr;
    }
    std::unique_ptr<Coder> coder(new (std::nothrow) Coder(*library, kind, task));
    outResult = coder ? coder->OpenContext() : kPB_OutOfMemory;
    return outResult == kPB_Success ? std::move(coder) : nullptr;
}

PB_Result Coder::OpenContext() noexcept {
    const AVCodec* const codec = mTask == Task::Decode ? mLibrary.avcodec_find_decoder(AV_CODEC_ID_DVVIDEO)
                                                       : mLibrary.avcodec_find_encoder(AV_CODEC_ID_DVVIDEO);
    if (codec == nullptr) {
        return kPB_UnsupportedFormat;
    }
    mContext.reset(mLibrary.avcodec_alloc_context3(codec));
    mPacket.reset(mLibrary.av_packet_alloc());
    mFrame.reset(mLibrary.av_frame_alloc());
    if (!mContext || !mPacket || !mFrame) {
        return kPB_OutOfMemory;
    }
    mContext->log_level_offset = kSilence;
    mContext->thread_count = 1; // its own threads would be one set for each context
    if (mTask == Task::Encode) {
        mContext->width = mKind.width;
        mContext->height = mKind.height;
        mContext->pix_fmt = PlanesOf(mKind.chroma);
        mContext->time_base = {mKind.frameSeconds[0], mKind.frameSeconds[1]};
        mContext->framerate = {mKind.frameSeconds[1], mKind.frameSeconds[0]};
        // Blocks of moving lines are coded field by field.
        mContext->flags |= mKind.interlaced ? AV_CODEC_FLAG_INTERLACED_DCT : 0;
    }
    if (const int error = mLibrary.avcodec_open2(mContext.get(), codec, nullptr); error < 0) {
        return error == AVERROR(ENOMEM) ? kPB_OutOfMemory : kPB_UnsupportedFormat;
    }
    mContext->execute = RunJobs;
    return kPB_Success;
}

PB_Result Coder::Fail(int error) noexcept {
    mReusable = false;
    return error == AVERROR(ENOMEM) ? kPB_OutOfMemory : kPB_BadData;
}

// A copy, because the decoder reads a little beyond the end, and because others may write to the caller's memory.
PB_Result Coder::StorePacket(const std::uint8_t* bytes) noexcept {
    if (mPacket->buf == nullptr || mLibrary.av_buffer_is_writable(mPacket->buf) == 0) {
        mLibrary.av_packet_unref(mPacket.get());
        if (const int error = mLibrary.av_new_packet(mPacket.get(), static_cast<int>(mKind.bytes)); error < 0) {
            return Fail(error);
        }
    }
    std::memcpy(mPacket->data, bytes, mKind.bytes);
    return kPB_Success;
}

// A frame says itself what kind it is. 625 lines at 25 Mbit/s come in 4:1:1, too (SMPTE 314M).
bool Coder::IsExpectedFrame() const noexcept {
    const bool chroma = mFrame->format == PlanesOf(mKind.chroma) ||
                        (mKind.chroma == zynmediatypes::Chroma::C420 && mFrame->format == AV_PIX_FMT_YUV411P);
    // 720p of both systems has the same raster.
    const AVRational rate = mContext->framerate;
    const bool system =
        std::int64_t{rate.num} * mKind.frameSeconds[0] == std::int64_t{rate.den} * mKind.frameSeconds[1];
    return chroma && system && HasRaster(mKind, mFrame->width, mFrame->height);
}

PB_Result Coder::Decode(const std::uint8_t* bytes) noexcept {
    if (const PB_Result result = StorePacket(bytes); result != kPB_Success) {
        return result;
    }
    if (!HasBlockStructure(mKind, mPacket->data)) {
        return kPB_BadData;
    }
    int error = mLibrary.avcodec_send_packet(mContext.get(), mPacket.get());
    if (error >= 0) {
        error = mLibrary.avcodec_receive_frame(mContext.get(), mFrame.get());
    }
    if (error < 0) {
        return Fail(error);
    }
    return IsExpectedFrame() ? kPB_Success : Fail(AVERROR_INVALIDDATA);
}

PB_Result Coder::MakePlanes() noexcept {
    int error = 0;
    if (mFrame->buf[0] != nullptr) {
        error = mLibrary.av_frame_make_writable(mFrame.get());
    } else {
        mFrame->format = PlanesOf(mKind.chroma);
        mFrame->width = mKind.width;
        mFrame->height = mKind.height;
        mFrame->interlaced_frame = mKind.interlaced ? 1 : 0;
        mFrame->top_field_first = mKind.upperFieldFirst ? 1 : 0;
        error = mLibrary.av_frame_get_buffer(mFrame.get(), 0);
    }
    return error < 0 ? Fail(error) : kPB_Success;
}

PB_Result Coder::Encode(std::uint8_t* bytes) noexcept {
    mFrame->pts = 0;
    // Every frame is the first of its own recording; 720p numbers the channels of every second frame otherwise.
    mContext->frame_number = 0;
    int error = mLibrary.avcodec_send_frame(mContext.get(), mFrame.get());
    if (error >= 0) {
        error = mLibrary.avcodec_receive_packet(mContext.get(), mPacket.get());
    }
    if (error < 0) {
        return Fail(error);
    }
    const bool whole = mPacket->size == static_cast<int>(mKind.bytes);
    if (whole) {
        std::memcpy(bytes, mPacket->data, mKind.bytes);
    }
    mLibrary.av_packet_unref(mPacket.get());
    return whole ? kPB_Success : Fail(AVERROR_INVALIDDATA);
}

DestinationPicture Coder::Planes(const Format& format) const noexcept {
    DestinationPicture picture;
    picture.format = format;
    picture.format.packing = Packing::DvPlanes;
    picture.format.dvChroma = mFrame->format == AV_PIX_FMT_YUV411P ? zynmediatypes::Chroma::C411 : mKind.chroma;
    picture.base = mFrame->data[0];
    picture.width = mKind.width;
    picture.height = mKind.height;
    for (std::size_t plane = 0; plane < picture.planes.size(); ++plane) {
        picture.planes[plane] = mFrame->data[plane];
        picture.planeStrides[plane] = mFrame->linesize[plane];
    }
    return picture;
}

void Coder::ReleasePlanes() noexcept {
    if (mTask == Task::Decode) {
        mLibrary.av_frame_unref(mFrame.get());
    }
}

} // namespace PixelBlitter::dv
