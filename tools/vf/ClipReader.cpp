#include "ClipReader.h"

#include "ExitCodes.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace tool {
namespace {

// A damaged file may give error after error without ever ending; a real one recovers within a group of pictures, which
// is rarely longer than this.
constexpr int kMaxErrorsInARow = 300;

constexpr AVRational kDefaultFrameRate{25, 1};

void CheckInputExists(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        throw Failure(ExitCode::InputMissing, path + ": " + (error ? error.message() : std::strerror(ENOENT)));
    }
    if (std::filesystem::is_directory(status)) {
        throw Failure(ExitCode::InputMissing, path + ": is a directory");
    }
}

} // namespace

ClipReader::ClipReader(const std::string& path, DamageReport report)
    : mPath(path), mReport(std::move(report)), mPacket(NewPacket()), mPicture(NewFrame()) {
    CheckInputExists(path);
    Open();
    OpenDecoder();
}

ClipReader::~ClipReader() = default;

void ClipReader::Open() {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* format = nullptr;
    int result = avformat_open_input(&format, FileUrl(mPath).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (result == AVERROR(ENOENT) || result == AVERROR(EACCES) || result == AVERROR(EPERM)) {
        throw Failure(ExitCode::InputMissing, mPath + ": " + ErrorText(result));
    }
    if (result < 0) {
        throw Failure(ExitCode::InputBroken, mPath + ": not a media file (" + ErrorText(result) + ")");
    }
    mFormat.reset(format);
    // This demultiplexer draws any text as a picture of a terminal.
    if (std::strcmp(mFormat->iformat->name, "tty") == 0) {
        throw Failure(ExitCode::InputBroken, mPath + ": not a media file (text)");
    }
    result = avformat_find_stream_info(mFormat.get(), nullptr);
    if (result < 0) {
        throw Failure(ExitCode::InputBroken, mPath + ": not a readable media file (" + ErrorText(result) + ")");
    }
}

void ClipReader::OpenDecoder() {
    const AVCodec* codec = nullptr;
    const int index = av_find_best_stream(mFormat.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (index < 0 || !codec) {
        throw Failure(ExitCode::InputBroken,
                      mPath + (index == AVERROR_DECODER_NOT_FOUND ? ": no decoder for its pictures" : ": no pictures"));
    }
    mStream = mFormat->streams[index];
    for (unsigned other = 0; other < mFormat->nb_streams; ++other) {
        mFormat->streams[other]->discard = static_cast<int>(other) == index ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    mDecoder = NewCodecContext(codec);
    mDecoder->thread_count = 0; // as many as there are processors
    mDecoder->pkt_timebase = mStream->time_base;
    int result = avcodec_parameters_to_context(mDecoder.get(), mStream->codecpar);
    if (result >= 0) {
        result = avcodec_open2(mDecoder.get(), codec, nullptr);
    }
    if (result < 0) {
        throw Failure(ExitCode::InputBroken, mPath + ": its pictures cannot be decoded (" + ErrorText(result) + ")");
    }
}

const AVFrame* ClipReader::Next() {
    for (;;) {
        if (mErrorsInARow > kMaxErrorsInARow) {
            Report("given up after " + std::to_string(mErrorsInARow) + " errors in a row");
            break;
        }
        const int result = avcodec_receive_frame(mDecoder.get(), mPicture.get());
        if (result >= 0 && mPicture->width > 0 && mPicture->height > 0) {
            if (mPicture->decode_error_flags != 0 || (mPicture->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
                Report("picture " + std::to_string(mPictures) + " is damaged");
            }
            mErrorsInARow = 0;
            ++mPictures;
            return mPicture.get();
        }
        if (result == AVERROR_EOF) {
            break;
        }
        if (result < 0 && result != AVERROR(EAGAIN)) {
            Report("a picture after picture " + std::to_string(mPictures) + " does not decode (" + ErrorText(result) +
                   ")");
            ++mErrorsInARow;
        } else if (result == AVERROR(EAGAIN) && !Feed()) {
            break;
        }
    }
    if (mPictures == 0) {
        throw Failure(ExitCode::InputBroken, mPath + ": none of its pictures decodes");
    }
    return nullptr;
}

// Hands the next packet of the stream to the decoder; false when there is no more to hand over.
bool ClipReader::Feed() {
    if (mDraining) {
        return false;
    }
    int result = 0;
    do {
        av_packet_unref(mPacket.get());
        result = av_read_frame(mFormat.get(), mPacket.get());
    } while (result >= 0 && mPacket->stream_index != mStream->index);
    if (result < 0) {
        if (result != AVERROR_EOF) {
            Report("reading stopped after packet " + std::to_string(mPackets) + " (" + ErrorText(result) + ")");
        }
        mDraining = true;
        return avcodec_send_packet(mDecoder.get(), nullptr) >= 0;
    }
    result = avcodec_send_packet(mDecoder.get(), mPacket.get());
    av_packet_unref(mPacket.get());
    if (result < 0) {
        Report("packet " + std::to_string(mPackets) + " is broken and left out (" + ErrorText(result) + ")");
        ++mErrorsInARow;
    }
    ++mPackets;
    return true;
}

void ClipReader::Report(const std::string& what) {
    if (mReport) {
        mReport(mPath + ": " + what);
    }
}

AVRational ClipReader::FrameRate() const {
    const AVRational rate = av_guess_frame_rate(mFormat.get(), mStream, nullptr);
    return rate.num > 0 && rate.den > 0 && av_q2d(rate) <= 1000 ? rate : kDefaultFrameRate;
}

AVRational ClipReader::SampleAspectRatio(const AVFrame& picture) const {
    // The library wants a picture that it may change, and does not change it.
    const AVRational ratio =
        av_guess_sample_aspect_ratio(mFormat.get(), mStream, const_cast<AVFrame*>(&picture)); // NOLINT
    if (ratio.num <= 0 || ratio.den <= 0) {
        return {1, 1};
    }
    // A PNG says how many pixels fit into a unit across and down (ISO/IEC 15948, 11.3.5.3), which its decoder hands on
    // as if it were the ratio: the wider a pixel, the fewer fit.
    const bool ofThePicture = mStream->sample_aspect_ratio.num == 0;
    const AVCodecID codec = mDecoder->codec_id;
    return ofThePicture && (codec == AV_CODEC_ID_PNG || codec == AV_CODEC_ID_APNG) ? av_inv_q(ratio) : ratio;
}

std::int64_t ClipReader::FrameTime(const AVFrame& picture) const {
    if (picture.best_effort_timestamp == AV_NOPTS_VALUE) {
        return mPictures - 1;
    }
    const std::int64_t start = mStream->start_time == AV_NOPTS_VALUE ? 0 : mStream->start_time;
    return av_rescale_q(picture.best_effort_timestamp - start, mStream->time_base, av_inv_q(FrameRate()));
}

std::int64_t ClipReader::EstimatedCount() const {
    if (mStream->nb_frames > 0) {
        return mStream->nb_frames;
    }
    if (mStream->duration > 0) {
        return av_rescale_q(mStream->duration, mStream->time_base, av_inv_q(FrameRate()));
    }
    return mFormat->duration > 0 ? av_rescale_q(mFormat->duration, {1, AV_TIME_BASE}, av_inv_q(FrameRate())) : 0;
}

} // namespace tool
