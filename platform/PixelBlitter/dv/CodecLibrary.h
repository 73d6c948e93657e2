#pragma once

/// libavcodec, loaded when the first DV picture is met. Its hundred dependencies would otherwise cost every process
/// that handles frames some twenty milliseconds at its start.

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace PixelBlitter::dv {

// One line per function that is used.
#define PIXELBLITTER_AV_FUNCTIONS(X)                                                                                   \
    X(avcodec_find_decoder)                                                                                            \
    X(avcodec_find_encoder)                                                                                            \
    X(avcodec_alloc_context3)                                                                                          \
    X(avcodec_free_context)                                                                                            \
    X(avcodec_open2)                                                                                                   \
    X(avcodec_send_packet)                                                                                             \
    X(avcodec_receive_frame)                                                                                           \
    X(avcodec_send_frame)                                                                                              \
    X(avcodec_receive_packet)                                                                                          \
    X(av_packet_alloc)                                                                                                 \
    X(av_packet_free)                                                                                                  \
    X(av_packet_unref)                                                                                                 \
    X(av_new_packet)                                                                                                   \
    X(av_buffer_is_writable)                                                                                           \
    X(av_frame_alloc)                                                                                                  \
    X(av_frame_free)                                                                                                   \
    X(av_frame_unref)                                                                                                  \
    X(av_frame_get_buffer)                                                                                             \
    X(av_frame_make_writable)

struct CodecLibrary {
#define PIXELBLITTER_AV_MEMBER(function) decltype(&::function) function = nullptr;
    PIXELBLITTER_AV_FUNCTIONS(PIXELBLITTER_AV_MEMBER)
#undef PIXELBLITTER_AV_MEMBER
};

/// The library, loaded by the first call and kept for the life of the process; null where it is not installed.
const CodecLibrary* LoadedCodecLibrary() noexcept;

} // namespace PixelBlitter::dv
