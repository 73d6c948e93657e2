// The table of offscreen worlds.

#include "BRTFoundation.h"
#include "TPix.h"
#include "zyncore/Immortal.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

struct World {
    bool hasTPix = false;
    bool inUse = false;
    void* tpix = nullptr; ///< the handle; of kind 1 the caller's pointer
    void* extra = nullptr;
    bool disposeWithWorld = false;
    bool isKind1 = false;
    bool isKind2 = false;
};

/// Records are made before and disposed of after the lock is held, because frames and handles have locks of their own.
class WorldTable {
public:
    BRT::CriticalSection& Lock() noexcept { return mLock; }

    /// Takes the lowest free number for the world; 0 without one. Under the lock.
    std::int16_t Enter(const World& world) noexcept {
        const auto free = std::find_if(mWorlds.begin(), mWorlds.end(), [](const World& entry) { return !entry.inUse; });
        if (free == mWorlds.end()) {
            return 0;
        }
        *free = world;
        free->inUse = true;
        return static_cast<std::int16_t>(free - mWorlds.begin() + 1);
    }

    /// The world under a number in use, else null. Under the lock.
    World* Find(std::int16_t id) noexcept {
        if (id < 1 || static_cast<std::size_t>(id) > mWorlds.size()) {
            return nullptr;
        }
        World& world = mWorlds[static_cast<std::size_t>(id) - 1];
        return world.inUse ? &world : nullptr;
    }

private:
    BRT::CriticalSection mLock;
    std::array<World, 200> mWorlds{};
};

/// Never destroyed: worlds may be disposed of while the process's static objects go.
WorldTable& Worlds() noexcept {
    static zyncore::detail::Immortal<WorldTable> table;
    return table.Get();
}

std::int16_t NewRecordWorld(std::int16_t* outId, const RECT* bounds, void* const* record) {
    auto* const hand = record ? static_cast<TPixHand>(*record) : tpixNew(bounds);
    if (!hand) {
        return kKxMemoryFull;
    }
    const std::int16_t id = RegTWorldBits(hand, 1);
    if (outId) {
        *outId = id;
    }
    if (id == 0 && !record) {
        tpixDispose(hand);
    }
    return id == 0 ? 1 : 0;
}

} // namespace

std::int16_t RegTWorldBits(TPixHand inHand, std::uint8_t inDisposeWithWorld) {
    World world;
    world.hasTPix = true;
    world.tpix = inHand;
    world.disposeWithWorld = inDisposeWithWorld != 0;
    const BRT::CriticalSectionLock lock(Worlds().Lock(), "RegTWorldBits");
    return Worlds().Enter(world);
}

std::int16_t twNew(std::int16_t* outId, const RECT* inBounds, void** ioWhat, std::int32_t inKind) {
    if (inKind == 0) {
        return NewRecordWorld(outId, inBounds, ioWhat);
    }
    World world;
    world.isKind1 = inKind != 2;
    world.isKind2 = inKind == 2;
    (world.isKind2 ? world.extra : world.tpix) = ioWhat ? *ioWhat : nullptr;
    const BRT::CriticalSectionLock lock(Worlds().Lock(), "twNew");
    const std::int16_t id = Worlds().Enter(world);
    if (id == 0) {
        return kKxMemoryFull;
    }
    if (outId) {
        *outId = id;
    }
    return 0;
}

void twDispose(std::int16_t inId, std::int32_t inKeep) {
    TPixHand owned = nullptr;
    {
        const BRT::CriticalSectionLock lock(Worlds().Lock(), "twDispose");
        World* const world = Worlds().Find(inId);
        if (!world) {
            return;
        }
        if (inKeep == 0 && world->hasTPix && world->disposeWithWorld) {
            owned = static_cast<TPixHand>(world->tpix);
        }
        *world = World{};
    }
    if (owned) {
        tpixDispose(owned);
    }
}

TPixHand twGetTPix(std::int16_t inId) {
    const BRT::CriticalSectionLock lock(Worlds().Lock(), "twGetTPix");
    const World* const world = Worlds().Find(inId);
    return world && world->hasTPix ? static_cast<TPixHand>(world->tpix) : nullptr;
}
