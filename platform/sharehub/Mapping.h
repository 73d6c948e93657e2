#pragma once

#include "Fork.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace framebroker {

/// Owns a shared mapping of a file from its first byte. The mapping keeps the open file, and so its locks, after the
/// descriptor is closed: what a process can have mapped is not bounded by its descriptors. It is not inherited by a
/// fork; in the child it counts as empty and nothing is unmapped.
class Mapping {
public:
    enum class Access : int { None = PROT_NONE, Read = PROT_READ, Write = PROT_READ | PROT_WRITE };

    Mapping() noexcept = default;
    Mapping(int descriptor, std::size_t sizeInBytes, Access access) noexcept {
        void* const address = ::mmap(nullptr, sizeInBytes, static_cast<int>(access), MAP_SHARED, descriptor, 0);
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
    Mapping(Mapping&& other) noexcept
        : mAddress(std::exchange(other.mAddress, nullptr)), mSizeInBytes(std::exchange(other.mSizeInBytes, 0)),
          mGeneration(other.mGeneration) {}
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
    explicit operator bool() const noexcept { return Address() != nullptr; }
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

/// The smallest page that a system has. Where pages are larger some blocks that would fit are not found alike.
inline constexpr std::uint64_t kPageBytes = 4096;

/// Pages that so many bytes take.
inline std::uint64_t PagesOf(std::uint64_t sizeInBytes) noexcept {
    return sizeInBytes / kPageBytes + (sizeInBytes % kPageBytes != 0 ? 1 : 0);
}

} // namespace framebroker
