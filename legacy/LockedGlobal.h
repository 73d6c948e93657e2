#pragma once

#include "WindowsApi_Memory.h"

#include <cstddef>
#include <cstdint>

namespace VF::Pixmaps {

/// Global memory, locked while this lives.
class LockedGlobal {
public:
    LockedGlobal() = default;
    explicit LockedGlobal(HGLOBAL memory) noexcept { Lock(memory); }
    ~LockedGlobal() {
        if (mBytes != nullptr) {
            GlobalUnlock(mMemory);
        }
    }
    LockedGlobal(const LockedGlobal&) = delete;
    LockedGlobal& operator=(const LockedGlobal&) = delete;

    /// Once, and only of an object made without memory.
    void Lock(HGLOBAL memory) noexcept {
        mMemory = memory;
        mBytes = static_cast<std::uint8_t*>(GlobalLock(memory));
    }

    /// Null when there is no such memory.
    std::uint8_t* Bytes() const noexcept { return mBytes; }
    std::size_t Size() const noexcept { return mBytes != nullptr ? GlobalSize(mMemory) : 0; }

private:
    HGLOBAL mMemory = nullptr;
    std::uint8_t* mBytes = nullptr;
};

} // namespace VF::Pixmaps
