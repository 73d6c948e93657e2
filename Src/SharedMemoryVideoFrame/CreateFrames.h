#pragma once

/// Makes the three kinds of frames that live on a block. Each returns an empty reference when it has no block to offer
/// and throws std::bad_alloc when memory is exhausted.

#include "BRTFoundation.h"
#include "RenderKit.h"
#include "sharehub.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace VF::Details {

/// What the factory was asked for.
struct FrameRequest {
    zynmediatypes::PixelFormat format;
    std::int32_t width = 0;
    std::int32_t height = 0;
    zynmediatypes::PixelAspectRatio aspectRatio;
    std::int32_t alignment = 0;
    std::int32_t blockSize = 0;
    std::int32_t prefixBytes = 0;
};

BRT::InterfaceRef<RK::IVideoFrame> CreateWritableBinaryReferenceFrame(const FrameRequest& request);
BRT::InterfaceRef<RK::IVideoFrame> CreateMemoryRecyclerFrame(const FrameRequest& request);

/// The same with dataSize bytes of pixels whatever the format says, and no placement.
BRT::InterfaceRef<RK::IVideoFrame> CreateCustomWritableBinaryReferenceFrame(const FrameRequest& request,
                                                                            std::int32_t dataSize);
BRT::InterfaceRef<RK::IVideoFrame> CreateCustomMemoryRecyclerFrame(const FrameRequest& request, std::int32_t dataSize);

/// A frame over a block received from the broker under id. Empty for an empty reference, a block that cannot be mapped
/// and a block too short for a header.
BRT::InterfaceRef<RK::IVideoFrame> WrapBinaryReference(const boost::shared_ptr<framebroker::BinaryReference>& reference,
                                                       const zyncore::utility::Guid& id);

} // namespace VF::Details
