#pragma once

/// Frames on blocks that other processes made.

#include "Frames.h"
#include "PictureProperties.h"
#include "Sharing.h"
#include "zyncore.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tool {

/// What the header of a block says about its frame.
struct FrameDescription {
    int width = 0;
    int height = 0;
    zynmediatypes::PixelFormat format;
    bool isCustom = false; ///< a format that only its maker understands
    std::uint32_t index =
        0; ///< the frame's render time, where `vf publish` keeps the low word of its place in the clip
};

/// Reads the header once and checks the copy: nothing when the block is shorter than a header, when the header is none,
/// or when it promises more pixels than the block has.
std::optional<FrameDescription> DescribeFrame(const BlockBytes& block);

/// The frame on a block, copied into memory of this process, where nobody else can change it. Its own format, size,
/// shape of a pixel, fields and alpha type. Throws Failure(ConversionRefused) when the block holds no frame, or one
/// that the library does not copy; what names it in the message.
Frame CopyOfSharedFrame(const boost::shared_ptr<framebroker::BinaryReference>& block, const zyncore::utility::Guid& id,
                        const std::string& what);

/// The matrix of a frame's format; for RGB the one that its height suggests.
Matrix MatrixOf(const Frame& frame);

} // namespace tool
