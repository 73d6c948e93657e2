#pragma once

#include "Mapping.h"

namespace framebroker {

/// A lock on a block that lasts as long as this object, without a descriptor: the description that has the lock is kept
/// by a mapping of one page that is never touched. The block's bytes are mapped through another description, so that
/// the mapping can be kept for the next use of the file when the lock is gone.
class Hold {
public:
    Hold() noexcept = default;

    /// Keeps the lock that the description behind this descriptor has. Empty when there is no room for a mapping.
    explicit Hold(int descriptor) noexcept : mAnchor(descriptor, 1, Mapping::Access::None) {}

    explicit operator bool() const noexcept { return static_cast<bool>(mAnchor); }

    /// Drops the lock. The holder then owes a LetGo.
    void Drop() noexcept { mAnchor.Unmap(); }

private:
    Mapping mAnchor;
};

} // namespace framebroker
