#pragma once

#include "BRTFoundation.h"

#include <cstdint>
#include <utility>

namespace VF::Details {

/// A buffer of the memory recycler that goes back when its owner goes.
class RecycledBuffer {
public:
    RecycledBuffer() noexcept = default;

    /// Throws std::bad_alloc when memory is exhausted.
    explicit RecycledBuffer(std::uint64_t sizeInBytes)
        : mBuffer(BRT::MemoryRecycler::Instance().AllocateBuffer(sizeInBytes)) {}
    RecycledBuffer(RecycledBuffer&& other) noexcept : mBuffer(std::exchange(other.mBuffer, {})) {}
    RecycledBuffer& operator=(RecycledBuffer&& other) noexcept {
        std::swap(mBuffer, other.mBuffer);
        return *this;
    }
    RecycledBuffer(const RecycledBuffer&) = delete;
    RecycledBuffer& operator=(const RecycledBuffer&) = delete;
    ~RecycledBuffer() { BRT::MemoryRecycler::Instance().RecycleBuffer(mBuffer); }

    void* Data() const noexcept { return mBuffer.data; }
    std::uint64_t SizeInBytes() const noexcept { return mBuffer.sizeInBytes; }

private:
    BRT::MemoryRecycler::MemoryBuffer mBuffer;
};

} // namespace VF::Details
