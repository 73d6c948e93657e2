#pragma once

/// Frames between processes: copying a frame into a block, publishing it under an identifier, and wrapping a block that
/// some process published. Every function may be called from any thread and holds its own references for the call.
///
/// A producer calls PublishVideoFrame. A consumer gets a framebroker::BinaryReference for the same identifier
/// (sharehub.h; WaitForBinaryData waits for it) and calls WrapVideoFrameAroundBinaryReference. A frame made while
/// SetCreatePublishableVideoFrames was on, and a wrapped one, is published without copying and read-only from then on;
/// every other frame is copied once.
///
/// Whatever a frame of another module throws passes to the caller; nothing is leaked then.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "SharedMemoryFormat.h"
#include "VFExport.h"
#include "sharehub.h"
#include "zyncore.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace VF {

/// Bytes of a block for a copy of the frame: 128 of header and the image, packed; for custom formats the frame's
/// GetDataSize. kResult_Failed, and outSize is left alone, for an empty frame and one without IVideoFrameMemoryAccess.
VF_API int GetRequiredSharedMemorySizeForVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inFrame, std::uint64_t& outSize);

/// Copies a frame into memory of inBufferSize bytes at any address: a header, then the pixels with rows packed.
/// The copy carries the frame's properties, but its alpha type is straight and its render time 0.
///
/// kResult_NoPixelAccess for an empty frame and one without IVideoFrameMemoryAccess; kResult_BufferTooSmall for a
/// buffer that is null or smaller than the frame requires. The buffer is untouched then. kResult_NoPixelAccess also
/// when the pixels cannot be copied: a format that the converter does not know, rows (or an image without rows) above
/// 2^31 - 1 bytes, a block from another process that promises more than it holds. The header has been written then.
VF_API int CopyVideoFrameIntoSharedMemoryBuffer(BRT::InterfaceRef<RK::IVideoFrame> inFrame, void* outBuffer,
                                                std::uint64_t inBufferSize);

/// Publishes a frame under an identifier. A frame that lives on a broker block puts that block, or, once published,
/// gives it a further name, which keeps nothing alive by itself, and ioReference is left as it was. Every other frame
/// is copied into a new block, which is put; ioReference then refers to it, and the block lives at least as long as the
/// caller keeps that.
///
/// 0, or a negative result (kResult_Failed, or what the frame's own Publish answered) with ioReference as it was. Each
/// failure, an exception too, is told to processes that wait for the identifier as generation error -1, which never
/// replaces data: an identifier that is in use keeps naming what it names.
VF_API int PublishVideoFrameProvidingReference(BRT::InterfaceRef<RK::IVideoFrame> inFrame,
                                               const zyncore::utility::Guid& inId,
                                               boost::shared_ptr<framebroker::WritableBinaryReference>& ioReference);

/// The same without a reference: the block lives as long as the broker's client keeps it (SetPutBudget), a reader holds
/// it, or the frame that lives on it does.
VF_API int PublishVideoFrame(BRT::InterfaceRef<RK::IVideoFrame> inFrame, const zyncore::utility::Guid& inId);

/// Makes a read-only frame over a block received under inId, which the frame keeps alive. outFrame is always replaced:
/// by an empty reference, with kResult_Failed, when the reference is empty or its block cannot be mapped, is shorter
/// than a header, or memory is exhausted. What outFrame held before is released last.
///
/// The header is not checked. The frame's properties are what the header says at the moment of asking; operations on
/// its pixels refuse what does not lie in the block.
VF_API int WrapVideoFrameAroundBinaryReference(const boost::shared_ptr<framebroker::BinaryReference>& inReference,
                                               const zyncore::utility::Guid& inId,
                                               BRT::InterfaceRef<RK::IVideoFrame>& outFrame);

} // namespace VF
