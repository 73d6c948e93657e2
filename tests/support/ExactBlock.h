#pragma once

#include "sharehub.h"

#include <cstdint>
#include <new>
#include <vector>

namespace vftest {

/// A received block in memory that ends where it says, so that a sanitizer sees the first byte read behind it.
class ExactBlock final : public framebroker::BinaryReference {
public:
    explicit ExactBlock(std::size_t size) : bytes(size) {}
    const void* AcquireDataPointer() override {
        if (throws) {
            throw std::bad_alloc();
        }
        acquired += empty ? 0 : 1;
        return empty ? nullptr : bytes.data();
    }
    void ReleaseDataPointer(const void*) override { --acquired; }
    std::uint64_t GetSize() const override { return bytes.size(); }

    std::vector<std::uint8_t> bytes;
    bool empty = false;
    bool throws = false;
    int acquired = 0;
};

} // namespace vftest
