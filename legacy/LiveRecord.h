#pragma once

#include "TPix.h"

namespace VF::Details {

/// The record of a handle; null for null and for one that was disposed of.
inline TPix* LiveRecord(TPixHand hand) noexcept {
    return hand ? *hand : nullptr;
}

} // namespace VF::Details
