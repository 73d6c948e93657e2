#include "VideoWriter.h"

#include "ExitCodes.h"
#include "FrameConverter.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <array>
#include <cstdio>

namespace tool {
namespace {

// MPEG-4 counts time in at most this many ticks a second, and keeps the rate of every real camera exactly.
constexpr std::int64_t kMaxTicksPerSecond = 65535;

// Constant quality, close to the source, on the scales of the two kinds of encoders.
constexpr const char* kRateFactor = "18";
constexpr int kQuantizer = 2;

bool TakesPlanar420(const AVCodec* codec) {
    for (const AVPixelFormat* layout = codec->pix_fmts; layout && *layout != AV_PIX_FMT_NONE; ++layout) {
        if (*layout == AV_PIX_FMT_YUV420P) {
            return true;
        }
    }
    return codec->pix_fmts == nullptr;
}

bool IsInterlaced(const Frame& frame) {
    const auto fields = frame->GetFieldType();
    return fields == zynmediatypes::kFieldType_UpperFirst || fields == zynmediatypes::kFieldType_LowerFirst;
}

// H.264 crops 4:2:0 pictures in pairs of samples, fields one by one (ITU-T H.264, 7.4.2.1.1), and its encoders refuse
// every other size.
bool TakesSize(const AVCodec* codec, const Frame& frame) {
    return codec->id != AV_CODEC_ID_H264 ||
           (WidthOf(frame) % 2 == 0 && HeightOf(frame) % (IsInterlaced(frame) ? 4 : 2) == 0);
}

} // namespace

void VideoWriter::CloseOutput::operator()(AVFormatContext* format) const noexcept {
    avio_closep(&format->pb);
    avformat_free_context(format);
}

VideoWriter::VideoWriter(const std::string& path, const OutputSettings& settings)
    : mPath(path), mSettings(settings), mPacket(NewPacket()) {
    AVFormatContext* format = nullptr;
    const int result = avformat_alloc_output_context2(&format, nullptr, nullptr, FileUrl(path).c_str());
    if (result < 0) {
        throw Failure(ExitCode::Usage, path + ": no kind of output has this extension (png, y4m, mp4, mkv, mov ...)");
    }
    mFormat.reset(format);
    if ((format->oformat->flags & AVFMT_NOFILE) != 0 || format->oformat->video_codec == AV_CODEC_ID_NONE) {
        throw Failure(ExitCode::Usage, path + ": this kind of output holds no video (png, y4m, mp4, mkv, mov ...)");
    }
    av_reduce(&mSettings.frameRate.num, &mSettings.frameRate.den, settings.frameRate.num, settings.frameRate.den,
              kMaxTicksPerSecond);
}

void VideoWriter::Check(int result) const {
    if (result < 0) {
        throw Failure(ExitCode::WriteFailed, mPath + ": " + ErrorText(result));
    }
}

bool VideoWriter::TryEncoder(const AVCodec* codec, const Frame& frame, Matrix matrix) {
    // A container that cannot say what it takes (a negative answer) takes at least what it was made for.
    if (!codec || !TakesPlanar420(codec) || !TakesSize(codec, frame) ||
        (codec->id != mFormat->oformat->video_codec &&
         avformat_query_codec(mFormat->oformat, codec->id, FF_COMPLIANCE_NORMAL) != 1)) {
        return false;
    }
    // MPEG-4 clips do not name their matrix: theirs is the one that readers assume.
    const bool named = codec->id != AV_CODEC_ID_MPEG4 && codec->id != AV_CODEC_ID_MPEG1VIDEO;
    const bool centred = codec->id == AV_CODEC_ID_MPEG1VIDEO; // ISO/IEC 11172-2, 2.4.1
    mPlanarFormat = PlanarFormatFor(frame, named ? matrix : DefaultMatrix(HeightOf(frame)),
                                    centred ? ChromaSiting::Centre : ChromaSiting::Left);
    mEncoder = NewCodecContext(codec);
    AVCodecContext& encoder = *mEncoder;
    const auto ratio = frame->GetPixelAspectRatio();
    const bool bt709 = (mPlanarFormat.properties & zynmediatypes::kProperty_BT709) != 0;
    encoder.width = WidthOf(frame);
    encoder.height = HeightOf(frame);
    encoder.pix_fmt = AV_PIX_FMT_YUV420P;
    encoder.time_base = av_inv_q(mSettings.frameRate);
    encoder.framerate = mSettings.frameRate;
    encoder.sample_aspect_ratio = {static_cast<int>(ratio.numerator), static_cast<int>(ratio.denominator)};
    encoder.colorspace = bt709 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    encoder.color_range = AVCOL_RANGE_MPEG;
    encoder.chroma_sample_location = centred ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
    encoder.thread_count = 0;
    if (IsInterlaced(frame)) {
        encoder.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
        encoder.field_order = frame->GetFieldType() == zynmediatypes::kFieldType_UpperFirst ? AV_FIELD_TT : AV_FIELD_BB;
    }
    if ((mFormat->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        encoder.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    if (av_opt_set(encoder.priv_data, "crf", kRateFactor, 0) >= 0) {
        encoder.bit_rate = 0; // or it would win
    } else {
        encoder.flags |= AV_CODEC_FLAG_QSCALE;
        encoder.global_quality = kQuantizer * FF_QP2LAMBDA;
    }
    av_opt_set(encoder.priv_data, "preset", "veryfast", 0);
    return avcodec_open2(&encoder, codec, nullptr) >= 0;
}

void VideoWriter::OpenEncoder(const Frame& frame, Matrix matrix) {
    const std::array candidates{avcodec_find_encoder(AV_CODEC_ID_H264), avcodec_find_encoder(AV_CODEC_ID_MPEG4),
                                avcodec_find_encoder(mFormat->oformat->video_codec)};
    if (std::none_of(candidates.begin(), candidates.end(),
                     [&](const AVCodec* codec) { return TryEncoder(codec, frame, matrix); })) {
        std::array<char, 64> pictures{};
        std::snprintf(pictures.data(), pictures.size(), "%dx%d pictures of 4:2:0 at %g a second", WidthOf(frame),
                      HeightOf(frame), av_q2d(mSettings.frameRate));
        throw Failure(ExitCode::WriteFailed, mPath + ": no encoder for this kind of output takes " + pictures.data());
    }
}

void VideoWriter::Open(const Frame& frame, Matrix matrix) {
    OpenEncoder(frame, matrix);
    mStream = avformat_new_stream(mFormat.get(), nullptr);
    if (!mStream) {
        throw std::bad_alloc();
    }
    mStream->time_base = mEncoder->time_base;
    mStream->avg_frame_rate = mSettings.frameRate;
    mStream->sample_aspect_ratio = mEncoder->sample_aspect_ratio;
    Check(avcodec_parameters_from_context(mStream->codecpar, mEncoder.get()));
    Check(avio_open(&mFormat->pb, FileUrl(mPath).c_str(), AVIO_FLAG_WRITE));
    Check(avformat_write_header(mFormat.get(), nullptr));
}

void VideoWriter::Write(const Frame& frame, std::int64_t frameTime, std::int64_t, Matrix matrix) {
    if (!mEncoder) {
        Open(frame, matrix);
        mFirstTime = frameTime;
    }
    const Frame planar = ConvertFrame(frame, mPlanarFormat, WidthOf(frame), HeightOf(frame), mSettings.quality);
    const FramePlanes planes(planar);

    const AVFramePtr picture = NewFrame();
    picture->format = mEncoder->pix_fmt;
    picture->width = mEncoder->width;
    picture->height = mEncoder->height;
    Check(av_frame_get_buffer(picture.get(), 0));
    for (int plane = 0; plane < 3; ++plane) {
        av_image_copy_plane(picture->data[plane], picture->linesize[plane], planes.Data(plane), planes.RowBytes(plane),
                            planes.RowBytes(plane), planes.Rows(plane));
    }
    picture->sample_aspect_ratio = mEncoder->sample_aspect_ratio;
    picture->colorspace = mEncoder->colorspace;
    picture->color_range = mEncoder->color_range;
    picture->chroma_location = mEncoder->chroma_sample_location;
    picture->interlaced_frame = IsInterlaced(frame) ? 1 : 0;
    picture->top_field_first = frame->GetFieldType() == zynmediatypes::kFieldType_UpperFirst ? 1 : 0;
    // Encoders want times that rise; a damaged source may stand still or step back.
    mLastTime = std::max(frameTime - mFirstTime, mLastTime + 1);
    picture->pts = mLastTime;
    Send(picture.get());
}

void VideoWriter::Send(const AVFrame* picture) {
    Check(avcodec_send_frame(mEncoder.get(), picture));
    for (;;) {
        const int result = avcodec_receive_packet(mEncoder.get(), mPacket.get());
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
            return;
        }
        Check(result);
        mPacket->stream_index = mStream->index;
        if (mPacket->duration == 0) {
            mPacket->duration = 1;
        }
        av_packet_rescale_ts(mPacket.get(), mEncoder->time_base, mStream->time_base);
        Check(av_interleaved_write_frame(mFormat.get(), mPacket.get()));
    }
}

void VideoWriter::Finish() {
    if (!mEncoder) {
        return;
    }
    Send(nullptr);
    Check(av_write_trailer(mFormat.get()));
    avio_flush(mFormat->pb);
    Check(mFormat->pb->error);
    Check(avio_closep(&mFormat->pb));
}

std::string VideoWriter::Description() const {
    return mEncoder ? mPath + " (" + mEncoder->codec->name + ')' : mPath;
}

} // namespace tool
