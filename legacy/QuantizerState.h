#pragma once

/// What quantizations share in a process.

#include "PaletteQuantizer.h"

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace VF::Pixmaps {

/// Held by the counting functions and the palette builders while they run.
std::mutex& QuantizerLock() noexcept;

std::uint32_t* CurrentHistogram() noexcept;

/// The map of HistogramPalette, while that runs.
void UseMap(std::uint8_t* map) noexcept;

/// The box that is to be cut next; null without boxes.
ColourBox* FirstUsedBox() noexcept;
bool AnyFreeBox() noexcept;

} // namespace VF::Pixmaps
