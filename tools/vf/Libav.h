#pragma once

/// Ownership of the media libraries' objects, and their error texts.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <memory>
#include <string>

namespace tool {

struct LibavDeleter {
    void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
    void operator()(AVCodecContext* codec) const noexcept { avcodec_free_context(&codec); }
};
using AVFramePtr = std::unique_ptr<AVFrame, LibavDeleter>;
using AVPacketPtr = std::unique_ptr<AVPacket, LibavDeleter>;
using AVCodecContextPtr = std::unique_ptr<AVCodecContext, LibavDeleter>;

/// New empty objects; std::bad_alloc when memory is exhausted.
AVFramePtr NewFrame();
AVPacketPtr NewPacket();
AVCodecContextPtr NewCodecContext(const AVCodec* codec);

/// The text of a negative result.
std::string ErrorText(int result);

/// A file name as the media libraries take it: never read as the address of a network protocol, whatever colons it has.
std::string FileUrl(const std::string& path);

} // namespace tool
