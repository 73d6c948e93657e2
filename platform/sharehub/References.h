#pragma once

#include "Block.h"
#include "sharehub.h"

#include <memory>

namespace framebroker {

class ReadableReference final : public BinaryReference {
public:
    explicit ReadableReference(std::shared_ptr<Block> block) noexcept : mBlock(std::move(block)) {}

    const void* AcquireDataPointer() override { return mBlock->ReadableData(); }
    // The mapping lasts as long as the hold.
    void ReleaseDataPointer(const void*) override {}
    std::uint64_t GetSize() const override { return mBlock->SizeNow(); }

    const Block& GetBlock() const noexcept { return *mBlock; }

private:
    std::shared_ptr<Block> mBlock;
};

class WritableReference final : public WritableBinaryReference {
public:
    explicit WritableReference(std::shared_ptr<Block> block) noexcept : mBlock(std::move(block)) {}

    void* AcquireDataPointer() override { return mBlock->WritableData(); }
    void ReleaseDataPointer(const void*) override {}
    std::uint64_t GetSize() const override { return mBlock->SizeNow(); }

    const std::shared_ptr<Block>& GetBlock() const noexcept { return mBlock; }

private:
    std::shared_ptr<Block> mBlock;
};

} // namespace framebroker
