#pragma once

/// Reads the pictures of a clip or a still.

#include "Libav.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tool {

/// The pictures of a file's best video stream, in display order. Only local files are opened, also when the file is a
/// list that names others.
class ClipReader {
public:
    /// Receives a line about each damaged packet or picture; reading goes on after it.
    using DamageReport = std::function<void(const std::string&)>;

    /// Throws Failure: InputMissing when the file does not exist or may not be opened, InputBroken when it is no media
    /// file, holds no picture stream or needs a decoder that is not there.
    ClipReader(const std::string& path, DamageReport report);
    ~ClipReader();
    ClipReader(const ClipReader&) = delete;
    ClipReader& operator=(const ClipReader&) = delete;

    /// The next picture, valid until the next call; null at the end. Throws Failure(InputBroken) when the file ends
    /// without a picture that decodes.
    const AVFrame* Next();

    /// Frames per second; 25 when the file does not say.
    AVRational FrameRate() const;

    /// Width of a pixel of this picture divided by its height; 1/1 when the file does not say.
    AVRational SampleAspectRatio(const AVFrame& picture) const;

    /// When the picture is shown, counted in frames of FrameRate from the file's start; the picture's index without
    /// time stamps.
    std::int64_t FrameTime(const AVFrame& picture) const;

    /// Number of pictures as far as the file tells, 0 when it does not.
    std::int64_t EstimatedCount() const;

private:
    void Open();
    void OpenDecoder();
    bool Feed();
    void Report(const std::string& what);

    struct CloseInput {
        void operator()(AVFormatContext* format) const noexcept { avformat_close_input(&format); }
    };

    std::string mPath;
    DamageReport mReport;
    std::unique_ptr<AVFormatContext, CloseInput> mFormat;
    AVStream* mStream = nullptr;
    AVCodecContextPtr mDecoder;
    AVPacketPtr mPacket;
    AVFramePtr mPicture;
    std::int64_t mPackets = 0;
    std::int64_t mPictures = 0;
    int mErrorsInARow = 0;
    bool mDraining = false;
};

} // namespace tool
