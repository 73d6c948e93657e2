#pragma once

/// The way through a device that `vf convert --via-device` sends its frames.

#include "DeviceKit.h"
#include "Frames.h"

#include <string>

namespace tool {

/// The device with this index, or the host device for "host". Throws Failure(Usage) for everything else.
boost::shared_ptr<DK::Device> ParseDevice(const std::string& option, const std::string& text);

/// Copies the frame's pixels into a pinned frame, from there into a GPU frame, back into another pinned frame, and puts
/// what arrives there into the frame, whose rows must follow each other without gaps, as those of MakeFrame do. Throws
/// Failure(Unexpected) when the device fails or has no memory for it.
void TakeThroughDevice(const boost::shared_ptr<DK::Device>& device, const Frame& frame);

} // namespace tool
