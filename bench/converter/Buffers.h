#pragma once

#include "Job.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

namespace converterbench {

/// Memory for pictures, each on pages of its own: a block that is walked over picture by picture, round and round.
class Buffers {
public:
    explicit Buffers(std::size_t bytes)
        : mBytes((bytes + kHugePage - 1) / kHugePage * kHugePage),
          mBlock(static_cast<std::uint8_t*>(std::aligned_alloc(kHugePage, mBytes))) {
        if (!mBlock) {
            throw std::bad_alloc();
        }
        ::madvise(mBlock.get(), mBytes, MADV_HUGEPAGE); // as the frames of the library
        Fill(Content::Codes);
    }

    void Fill(Content content) {
        if (mContent == content) {
            return;
        }
        mContent = content;
        const std::size_t random = std::min(mBytes, kRandomBytes);
        std::uint32_t seed = 1;
        for (std::size_t i = 0; i < random; i += 4) {
            seed = seed * 1664525U + 1013904223U;
            const float value = static_cast<float>(seed >> 8) / 0x1p24F;
            const std::uint32_t codes = (seed ^ seed >> 16) | (content == Content::Opaque ? 0xFF000000 : 0);
            std::memcpy(mBlock.get() + i, content == Content::Floats ? static_cast<const void*>(&value) : &codes, 4);
        }
        for (std::size_t i = random; i < mBytes; i += random) {
            std::memcpy(mBlock.get() + i, mBlock.get(), std::min(random, mBytes - i));
        }
    }

    std::uint8_t* First() const { return mBlock.get(); }
    std::uint8_t* Next(std::size_t pictureBytes) {
        const std::size_t size = WholePages(pictureBytes);
        if (mNext + size > mBytes) {
            mNext = 0;
        }
        mNext += size;
        return mBlock.get() + mNext - size;
    }
    /// Leaves out some of the block, so that nobody who takes turns gets the same picture every time.
    void Skip() { mNext += WholePages(std::size_t{mSkips++ % 3} * kSkippedBytes); }

private:
    static constexpr std::size_t kPage = 4096;
    static constexpr std::size_t kHugePage = std::size_t{2} << 20;
    static constexpr std::size_t kSkippedBytes = std::size_t{9} << 20;
    static constexpr std::size_t kRandomBytes = std::size_t{16} << 20;
    static std::size_t WholePages(std::size_t bytes) { return (bytes + kPage - 1) / kPage * kPage; }
    struct Free {
        void operator()(std::uint8_t* block) const { std::free(block); }
    };

    std::size_t mBytes;
    std::unique_ptr<std::uint8_t, Free> mBlock;
    std::size_t mNext = 0;
    unsigned mSkips = 0;
    std::optional<Content> mContent;
};

} // namespace converterbench
