#pragma once

#include "zyncore.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace zyncore::detail {

/// Hash of an identifier for tables. Identifiers that are counted up instead of drawn by lot spread too.
struct GuidHash {
    std::size_t operator()(const utility::Guid& guid) const noexcept {
        const auto halves = std::bit_cast<std::array<std::uint64_t, 2>>(guid);
        const std::uint64_t mixed = halves[0] * 0x9E3779B97F4A7C15U + halves[1] * 0xC2B2AE3D27D4EB4FU;
        return mixed ^ (mixed >> 32);
    }
};

} // namespace zyncore::detail
