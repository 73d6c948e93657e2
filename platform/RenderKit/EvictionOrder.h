#pragma once

#include "zyncore.h"

#include <cstdint>
#include <map>

namespace RK::Details {

struct MapRecord;

/// What the manager knows of one entry. Entries of one value are linked, the longest unused first.
struct Entry {
    std::uint64_t key = 0;
    std::uint64_t bytes = 0;
    std::uint32_t value = 0;
    bool publishable = false;
    MapRecord* map = nullptr;
    struct EntryList* list = nullptr;
    Entry* previous = nullptr;
    Entry* next = nullptr;
};

/// Entries of one value.
struct EntryList {
    Entry* first = nullptr;
    Entry* last = nullptr;

    void Append(Entry& entry) noexcept {
        entry.list = this;
        entry.previous = last;
        entry.next = nullptr;
        (last ? last->next : first) = &entry;
        last = &entry;
    }
    void Take(Entry& entry) noexcept {
        (entry.previous ? entry.previous->next : first) = entry.next;
        (entry.next ? entry.next->previous : last) = entry.previous;
    }
};

/// The order in which entries are given up: the lowest value first, among equal values the longest unused. An entry
/// must not move while it is in the order.
class EvictionOrder {
public:
    /// Adds an entry as the one used last of its value. Throws std::bad_alloc when memory is exhausted.
    void Add(Entry& entry) { mLists[entry.value].Append(entry); }

    void MarkUsed(Entry& entry) noexcept {
        EntryList& list = *entry.list;
        if (list.last != &entry) {
            list.Take(entry);
            list.Append(entry);
        }
    }

    void Remove(Entry& entry) noexcept {
        entry.list->Take(entry);
        if (!entry.list->first) {
            mLists.erase(entry.value);
        }
    }

    /// The entry to give up next, null without entries.
    Entry* First() const noexcept { return mLists.empty() ? nullptr : mLists.begin()->second.first; }

private:
    using Node = std::pair<const std::uint32_t, EntryList>;
    std::map<std::uint32_t, EntryList, std::less<>, zyncore::utility::SmallBlockStdAllocator<Node>> mLists;
};

} // namespace RK::Details
