#pragma once

#include "Libav.h"
#include "PictureWriter.h"

namespace tool {

/// A compressed clip: H.264 where the container takes it and an encoder for the picture's size is there, else MPEG-4,
/// else what the container was made for.
class VideoWriter final : public PictureWriter {
public:
    /// Throws Failure(Usage) when no container has the name's extension.
    VideoWriter(const std::string& path, const OutputSettings& settings);

    void Write(const Frame& frame, std::int64_t frameTime, std::int64_t pictureNumber, Matrix matrix) override;
    void Finish() override;
    std::string Description() const override;

private:
    void Open(const Frame& frame, Matrix matrix);
    void OpenEncoder(const Frame& frame, Matrix matrix);
    bool TryEncoder(const AVCodec* codec, const Frame& frame, Matrix matrix);
    void Send(const AVFrame* picture);
    void Check(int result) const;

    struct CloseOutput {
        void operator()(AVFormatContext* format) const noexcept;
    };

    std::string mPath;
    OutputSettings mSettings;
    std::unique_ptr<AVFormatContext, CloseOutput> mFormat;
    AVStream* mStream = nullptr;
    AVCodecContextPtr mEncoder;
    AVPacketPtr mPacket;
    zynmediatypes::PixelFormat mPlanarFormat;
    std::int64_t mFirstTime = 0;
    std::int64_t mLastTime = -1;
};

} // namespace tool
