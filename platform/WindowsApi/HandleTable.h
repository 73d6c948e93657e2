#pragma once

/// Objects by handle. A handle is no address, and none is handed out twice, so one that was taken back, and anything
/// that only looks like a handle, is told from those in use.

#include "WindowsApi_Types.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace WindowsApi {

/// The low four bits of a handle: its table. Addresses of memory blocks have none of them.
enum class HandleKind : std::uintptr_t { Memory = 2, Graphics = 6, Module = 10, Resource = 14 };

/// Owns the objects; the caller guards the table. Value is default constructible and moves without throwing.
template <class Value, HandleKind kKind>
class HandleTable {
public:
    /// A new handle. Throws std::bad_alloc, and takes nothing then.
    HANDLE Add(Value&& inValue) {
        if (mFree.empty()) {
            if (mSlots.size() == kMostSlots) {
                throw std::bad_alloc();
            }
            if (mSlots.size() == mSlots.capacity()) {
                // Room to take every handle back is made now, because taking back must not fail.
                mFree.reserve(2 * mSlots.size() + kFirstSlots);
                mSlots.reserve(2 * mSlots.size() + kFirstSlots);
            }
            mSlots.emplace_back();
            mFree.push_back(mSlots.size() - 1);
        }
        const std::size_t index = mFree.back();
        mFree.pop_back();
        mSlots[index].value.emplace(std::move(inValue));
        return HandleOf(index);
    }

    /// The object; null when the handle is not one in use.
    Value* Find(HANDLE inHandle) noexcept {
        const auto bits = reinterpret_cast<std::uintptr_t>(inHandle);
        const std::size_t index = (bits & 0xFFFFFFFFU) >> kIndexShift;
        const bool isInUse = index < mSlots.size() && mSlots[index].value && HandleOf(index) == inHandle;
        return isInUse ? &*mSlots[index].value : nullptr;
    }

    /// Takes the object out; the handle is void.
    std::optional<Value> Take(HANDLE inHandle) noexcept {
        Value* const found = Find(inHandle);
        if (found == nullptr) {
            return std::nullopt;
        }
        std::optional<Value> taken(std::move(*found));
        const std::size_t index = (reinterpret_cast<std::uintptr_t>(inHandle) & 0xFFFFFFFFU) >> kIndexShift;
        mSlots[index].value.reset();
        ++mSlots[index].generation;
        mFree.push_back(index);
        return taken;
    }

private:
    static constexpr unsigned kIndexShift = 4;
    static constexpr std::size_t kMostSlots = std::size_t{1} << (32 - kIndexShift);
    static constexpr std::size_t kFirstSlots = 16;
    static_assert(sizeof(HANDLE) == 8, "a handle holds a generation of 32 bits above an index of 28");

    struct Slot {
        std::optional<Value> value;
        std::uint32_t generation = 1;
    };

    HANDLE HandleOf(std::size_t inIndex) const noexcept {
        const auto generation = static_cast<std::uintptr_t>(mSlots[inIndex].generation);
        // A number that is never followed: the table alone knows what it stands for.
        return reinterpret_cast<HANDLE>( // NOLINT(performance-no-int-to-ptr)
            generation << 32 | inIndex << kIndexShift | static_cast<std::uintptr_t>(kKind));
    }

    std::vector<Slot> mSlots;
    std::vector<std::size_t> mFree;
};

} // namespace WindowsApi
