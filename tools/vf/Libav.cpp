#include "Libav.h"

#include <array>
#include <new>

namespace tool {
namespace {

template <class T>
T* OrBadAlloc(T* object) {
    if (!object) {
        throw std::bad_alloc();
    }
    return object;
}

} // namespace

AVFramePtr NewFrame() {
    return AVFramePtr(OrBadAlloc(av_frame_alloc()));
}

AVPacketPtr NewPacket() {
    return AVPacketPtr(OrBadAlloc(av_packet_alloc()));
}

AVCodecContextPtr NewCodecContext(const AVCodec* codec) {
    return AVCodecContextPtr(OrBadAlloc(avcodec_alloc_context3(codec)));
}

std::string ErrorText(int result) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(result, text.data(), text.size());
    return text.data();
}

std::string FileUrl(const std::string& path) {
    return "file:" + path;
}

} // namespace tool
