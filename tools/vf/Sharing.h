#pragma once

/// The broker as the tool uses it: its start, its errors, and the bytes of blocks.

#include "sharehub.h"

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace tool {

/// Keeps the broker's client of this process started. Throws Failure(SharingFailed) when the user's directory of blocks
/// cannot be used.
class SharingGuard {
public:
    SharingGuard();
    ~SharingGuard();
    SharingGuard(const SharingGuard&) = delete;
    SharingGuard& operator=(const SharingGuard&) = delete;
};

/// What a failed result of the broker means, for the user.
std::string ResultText(std::int32_t result);

/// Throws the Failure for a result with which the broker refused to hand over what the user calls by this name:
/// NotShared, or ConversionRefused for a damaged block, or SharingFailed.
[[noreturn]] void ThrowRefusal(const std::string& what, std::int32_t result);

/// The bytes of a block while the object lives. Another process may change them at any moment.
class BlockBytes {
public:
    explicit BlockBytes(boost::shared_ptr<framebroker::BinaryReference> block)
        : mBlock(std::move(block)), mData(mBlock->AcquireDataPointer()) {}
    ~BlockBytes() {
        if (mData) {
            mBlock->ReleaseDataPointer(mData);
        }
    }
    BlockBytes(const BlockBytes&) = delete;
    BlockBytes& operator=(const BlockBytes&) = delete;

    const void* Data() const noexcept { return mData; }
    std::uint64_t Size() const { return mData ? mBlock->GetSize() : 0; }

private:
    boost::shared_ptr<framebroker::BinaryReference> mBlock;
    const void* mData = nullptr;
};

} // namespace tool
