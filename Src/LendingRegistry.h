#pragma once

#include "BRTFoundation.h"
#include "zyncore.h"

#include <array>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace VF::Details {

/// Objects that are lent out under an address: pixmap handles and the worlds of effect plug-ins. It holds a reference
/// on each object for as long as its address is registered. Any thread may call everything; each call holds the
/// lock of one share of the addresses, so that two threads rarely wait for each other, and references that leave the
/// registry die after the lock.
class LendingRegistry {
public:
    using Object = BRT::InterfaceRef<BRT::BRTUnknown>;

    LendingRegistry() = default;
    LendingRegistry(const LendingRegistry&) = delete;
    LendingRegistry& operator=(const LendingRegistry&) = delete;

    /// Registers the object, in place of an earlier one under the address. A null object is reported and registered
    /// all the same. False when memory is exhausted: nothing has changed then.
    template <class T>
    bool Register(const void* address, const BRT::InterfaceRef<T>& object) {
        return Insert(AddressOf(address), BRT::QueryInterface<BRT::BRTUnknown>(object));
    }

    /// The object under an address. One that nobody knows is kept with an empty object, as far as memory allows, and
    /// counts as lent from then on.
    Object FindOrInsert(const void* address) noexcept;

    /// The object under an address, which the registry does not learn by this. Empty for one that nobody knows.
    Object Find(const void* address) noexcept;

    /// Forgets an address. Returns what was under it.
    Object Take(const void* address) noexcept;

    using Entry = std::pair<std::uintptr_t, Object>;

    /// Forgets everything. Returns what there was, in the order of addresses.
    std::vector<Entry> TakeAll();

private:
    static std::uintptr_t AddressOf(const void* address) noexcept { return reinterpret_cast<std::uintptr_t>(address); }
    bool Insert(std::uintptr_t address, Object object);

    /// Neighbouring addresses differ in few of their lower bits: the golden ratio spreads them over all buckets.
    struct Hash {
        std::size_t operator()(std::uintptr_t address) const noexcept { return (address * 0x9E3779B97F4A7C15U) >> 20U; }
    };

    /// On cache lines of its own.
    struct alignas(64) Share {
        // The order counts when everything is taken, and look-ups are what happens often.
        std::unordered_map<std::uintptr_t, Object, Hash, std::equal_to<>,
                           zyncore::utility::SmallBlockStdAllocator<std::pair<const std::uintptr_t, Object>>>
            entries;
        BRT::CriticalSection lock;
    };

    /// By the hash's highest bits, which choose no bucket.
    Share& ShareOf(std::uintptr_t address) noexcept { return mShares[(Hash()(address) >> 38U) % mShares.size()]; }

    std::array<Share, 64> mShares;
};

/// The handles of pixmaps with their frames or raw blocks. Never destroyed.
LendingRegistry& LentPixmaps() noexcept;

/// The worlds of effect plug-ins, by the address of their pixels, with their frames. Never destroyed.
LendingRegistry& LentWorlds() noexcept;

} // namespace VF::Details
