#include "LendingRegistry.h"

#include "ContractReport.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <new>

namespace VF::Details {

bool LendingRegistry::Insert(std::uintptr_t address, Object object) {
    CheckContract(static_cast<bool>(object), "videoFrame != 0", "Inc/VideoFrameUtilities");
    try {
        const BRT::CriticalSectionLock lock(mLock);
        mEntries[address].Swap(object);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true; // an earlier object dies with the parameter
}

LendingRegistry::Object LendingRegistry::FindOrInsert(const void* address) noexcept {
    const BRT::CriticalSectionLock lock(mLock);
    try {
        return mEntries[AddressOf(address)];
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

LendingRegistry::Object LendingRegistry::Find(const void* address) noexcept {
    const BRT::CriticalSectionLock lock(mLock);
    const auto entry = mEntries.find(AddressOf(address));
    return entry == mEntries.end() ? Object() : entry->second;
}

LendingRegistry::Object LendingRegistry::Take(const void* address) noexcept {
    Object object;
    const BRT::CriticalSectionLock lock(mLock);
    if (const auto entry = mEntries.find(AddressOf(address)); entry != mEntries.end()) {
        object.Swap(entry->second);
        mEntries.erase(entry);
    }
    return object;
}

std::vector<LendingRegistry::Entry> LendingRegistry::TakeAll() {
    decltype(mEntries) taken;
    {
        const BRT::CriticalSectionLock lock(mLock);
        taken.swap(mEntries);
    }
    std::vector<Entry> entries(taken.begin(), taken.end());
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
