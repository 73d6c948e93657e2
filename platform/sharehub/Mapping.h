#pragma once

#include "Fork.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace framebroker {

/// Owns a shared mapping of a whole file. The mapping keeps the open file, and so its lock, after the descriptor is
/// closed: what a process can hold is not bounded by its descriptors. It is not inherited by a fork; in the child it
/// counts as empty and nothing is unmapped.
class Mapping {
public:
    Mapping() noexcept = default;
    Mapping(int descriptor, std::size_t sizeInBytes, bool writable) noexcept {
        void* const address =
            ::mmap(nullptr, sizeInBytes, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, descriptor, 0);
        if (address == MAP_FAILED) {
            return;
        }
        mAddress = address;
        mSizeInBytes = sizeInBytes;
        mGeneration = ForkGeneration();
        if (::madvise(mAddress, mSizeInBytes, MADV_DONTFORK) != 0) {
            Unmap(); // a child that kept the file open would keep a dead block alive
        }
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(Mapping&& other) noexcept {
        if (this != &other) {
            Unmap();
            mAddress = std::exchange(other.mAddress, nullptr);
            mSizeInBytes = std::exchange(other.mSizeInBytes, 0);
            mGeneration = other.mGeneration;
        }
        return *this;
    }
    ~Mapping() { Unmap(); }

    /// Null when there is no mapping in this process.
    void* Address() const noexcept { return mGeneration == ForkGeneration() ? mAddress : nullptr; }
    std::size_t SizeInBytes() const noexcept { return mSizeInBytes; }

    void Unmap() noexcept {
        if (void* const address = Address()) {
            ::munmap(address, mSizeInBytes);
        }
        mAddress = nullptr;
    }

private:
    void* mAddress = nullptr;
    std::size_t mSizeInBytes = 0;
    std::uint64_t mGeneration = 0;
};

} // namespace framebroker
