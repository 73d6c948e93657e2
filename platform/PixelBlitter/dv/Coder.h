#pragma once

/// One open DV decoder or encoder, with the packet and the planes that it works on.

#include "Picture.h"
#include "dv/CodecLibrary.h"
#include "dv/Kind.h"

#include <memory>

namespace PixelBlitter::dv {

enum class Task { Decode, Encode };

/// Used by one thread at a time. The work inside a frame is spread over the processors; results do not depend on their
/// number. Messages of the codec carry a level beyond all that a log shows; the process's own settings of libavutil's
/// log stay as they are.
class Coder {
public:
    /// Null, with the reason in outResult, when memory is exhausted or there is no codec.
    static std::unique_ptr<Coder> Open(const Kind& kind, Task task, PB_Result& outResult) noexcept;

    bool Does(const Kind& kind, Task task) const noexcept { return &mKind == &kind && mTask == task; }
    /// False after a failure: what the codec holds then is unknown.
    bool IsReusable() const noexcept { return mReusable; }

    /// Decodes a frame of the kind's bytes into planes. kPB_BadData for bytes that are no such frame.
    PB_Result Decode(const std::uint8_t* bytes) noexcept;
    /// Makes planes to write a picture to, every sample of which is to be written.
    PB_Result MakePlanes() noexcept;
    /// Encodes the planes and stores the frame, the kind's bytes. Nothing is stored on failure.
    PB_Result Encode(std::uint8_t* bytes) noexcept;

    /// The planes of the last Decode or MakePlanes, valid until ReleasePlanes. format is that of the DV value.
    DestinationPicture Planes(const Format& format) const noexcept;
    /// Lets go of decoded planes, which belong to the decoder; an encoder keeps its own for the next picture.
    void ReleasePlanes() noexcept;

private:
    struct FreeContext {
        void operator()(AVCodecContext* context) const noexcept;
    };
    struct FreePacket {
        void operator()(AVPacket* packet) const noexcept;
    };
    struct FreeFrame {
        void operator()(AVFrame* frame) const noexcept;
    };

    Coder(const CodecLibrary& library, const Kind& kind, Task task) noexcept
        : mLibrary(library), mKind(kind), mTask(task) {}
    PB_Result OpenContext() noexcept;
    PB_Result StorePacket(const std::uint8_t* bytes) noexcept;
    PB_Result Fail(int error) noexcept;
    bool IsExpectedFrame() const noexcept;

    const CodecLibrary& mLibrary;
    const Kind& mKind;
    Task mTask;
    bool mReusable = true;
    std::unique_ptr<AVCodecContext, FreeContext> mContext;
    std::unique_ptr<AVPacket, FreePacket> mPacket;
    std::unique_ptr<AVFrame, FreeFrame> mFrame;
};

} // namespace PixelBlitter::dv
