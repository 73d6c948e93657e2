#pragma once

/// Pictures as the commands of the pixmap library take and give them.

#include "Frames.h"
#include "TPixHandleUtilities.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tool {

struct GiveBack {
    void operator()(TPix** hand) const { VF::DisposeTPixFromVideoFrame(hand); }
};
using LentTPix = std::unique_ptr<TPix*, GiveBack>;

/// A picture of a clip or still, counted from 0, as pixel maps have it: 8-bit BGRA. Throws Failure.
Frame ReadPixmapFrame(const std::string& path, std::int64_t number);

/// A record over a frame, the whole picture. Throws std::bad_alloc.
LentTPix Lend(const Frame& frame);

/// What the record shows, read as a plug-in reads it: from the record alone. Throws Failure when it has no line.
Frame CopyOf(const TPix& record, zynmediatypes::PixelAspectRatio ratio);

/// Writes one picture as .png and returns the file's description. Throws Failure.
std::string WritePicture(const std::string& path, const Frame& frame);

} // namespace tool
