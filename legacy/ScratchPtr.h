#pragma once

#include "HandleMemory.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace VF::Pixmaps {

struct DisposePtr {
    void operator()(std::uint8_t* block) const noexcept { KxDisposePtr(reinterpret_cast<KxPtr>(block)); }
};

/// A work buffer of the host's memory; null when that is exhausted.
using ScratchPtr = std::unique_ptr<std::uint8_t, DisposePtr>;

inline ScratchPtr NewScratch(std::size_t sizeInBytes) noexcept {
    return ScratchPtr(reinterpret_cast<std::uint8_t*>(KxNewPtr(sizeInBytes)));
}

} // namespace VF::Pixmaps
