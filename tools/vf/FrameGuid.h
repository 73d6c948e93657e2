#pragma once

/// The Guids of shared clips and their frames, which every process computes for itself from the clip's name.
///
/// They are name-based identifiers (RFC 9562, version 5, SHA-1) in a name space of the tool's own. The text that is
/// named is "NAME:INDEX" for a frame, the index in decimal digits, and "NAME:" for the clip's announcement, so that no
/// clip's name can make one be taken for the other. In Python, for frame 40 of the clip cockatoo:
///
///   uuid.uuid5(uuid.UUID("507809fb-4dc2-40c4-a85f-64ccfe769667"), "cockatoo:40")

#include "zyncore.h"

#include <cstdint>
#include <string>

namespace tool {

using zyncore::utility::Guid;

/// The Guid under which a clip is announced while somebody publishes it.
Guid ClipGuid(const std::string& clip);

/// The Guid of a frame: its place in the clip, from 0.
Guid FrameGuid(const std::string& clip, std::int64_t index);

/// The name a file gets as a clip: without its folder and its last extension.
std::string ClipNameOf(const std::string& path);

/// What a user may write for a frame: a Guid in registry form, or "NAME:INDEX". Throws Failure(Usage) for other texts.
Guid ParseFrame(const std::string& text);

} // namespace tool
