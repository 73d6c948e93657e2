#include "LendingRegistry.h"

#include "ContractReport.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <new>

namespace VF::Details {

bool LendingRegistry::Insert(std::uintptr_t address, Object object) {
    CheckContract(static_cast<bool>(object), "videoFrame != 0", "Inc/VideoFrameUtilities");
    try {
        Share& share = ShareOf(address);
        const BRT::CriticalSectionLock lock(share.lock);
        share.entries[address].Swap(object);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true; // an earlier object dies with the parameter
}

LendingRegistry::Object LendingRegistry::FindOrInsert(const void* address) noexcept {
    Share& share = ShareOf(AddressOf(address));
    const BRT::CriticalSectionLock lock(share.lock);
    try {
        return share.entries[AddressOf(address)];
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

LendingRegistry::Object LendingRegistry::Find(const void* address) noexcept {
    Share& share = ShareOf(AddressOf(address));
    const BRT::CriticalSectionLock lock(share.lock);
    const auto entry = share.entries.find(AddressOf(address));
    return entry == share.entries.end() ? Object() : entry->second;
}

LendingRegistry::Object LendingRegistry::Take(const void* address) noexcept {
    Object object;
    Share& share = ShareOf(AddressOf(address));
    const BRT::CriticalSectionLock lock(share.lock);
    if (const auto entry = share.entries.find(AddressOf(address)); entry != share.entries.end()) {
        object.Swap(entry->second);
        share.entries.erase(entry);
    }
    return object;
}

std::vector<LendingRegistry::Entry> LendingRegistry::TakeAll() {
    // Everything is taken out before memory is asked for, which may throw.
    std::array<decltype(Share::entries), std::tuple_size_v<decltype(mShares)>> taken;
    for (std::size_t i = 0; i < taken.size(); ++i) {
        const BRT::CriticalSectionLock lock(mShares[i].lock);
        taken[i].swap(mShares[i].entries);
    }
    std::vector<Entry> entries;
    for (const auto& share : taken) {
        entries.insert(entries.end(), share.begin(), share.end());
    }
    std::ranges::sort(entries, {}, &Entry::first);
    return entries;
}

LendingRegistry& LentPixmaps() noexcept {
    static zyncore::detail::Immortal<LendingRegistry> registry;
    return registry.Get();
}

LendingRegistry& LentWorlds() noexcept {
    static zyncore::detail::Immortal<LendingRegistry> registry;
    return registry.Get();
}

} // namespace VF::Details
