#include "RenderKit.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <stdexcept>
#include <utility>

namespace {

using Keys = std::vector<std::uint64_t>;

/// A cache of keys alone: notes what is flushed from it.
class KeyCache final : public RK::Details::MediaMapTemplateCache {
public:
    ~KeyCache() { manager->ForgetMediaMap(id); }
    void Flush(std::uint64_t key) override {
        const BRT::CriticalSectionLock lock(section);
        flushed.push_back(key);
        onFlush(key);
    }
    void* DeletingDestructor(unsigned) override { return this; }
    Keys Flushed() { return std::exchange(flushed, {}); }
    void Add(std::uint64_t key, std::int64_t bytes, std::uint32_t value = 1) {
        manager->AddEntry(key, bytes, value, key % 2 == 0, map);
    }
    Keys flushed;
    std::function<void(std::uint64_t)> onFlush = [](std::uint64_t) {};
    BRT::CriticalSection section;
    BRT::InterfaceRef<RK::IMediaManager> manager = RK::GetMediaManager();
    BRT::InterfaceRef<RK::IMediaMap> map{new RK::Details::MediaMapTemplateHelper(*this)};
    const zyncore::utility::Guid id = map->GetMapID();
};

class MediaManagerTest : public ::testing::Test {
protected:
    ~MediaManagerTest() override { manager->SetBudget(budget); }

    BRT::InterfaceRef<RK::IMediaManager> manager = RK::GetMediaManager();
    const std::uint64_t budget = manager->GetBudget();
    KeyCache cache;
    RK::MediaFigures figures;
};

// (The order of flushing is in the model that the frame cache is compared with.)
TEST_F(MediaManagerTest, CountsHeldBytesUntilTheMapIsGone) {
    manager->SetBudget(~0ULL);
    EXPECT_EQ(manager->GetBudget() / 4, budget) << "never more than there is";
    manager->SetBudget(100);
    cache.Add(5, 30, 9);
    manager->ReportHeldBytes(cache.id, 30);
    cache.Add(6, 71, 9); // would not fit beside what is held
    EXPECT_EQ(cache.Flushed(), Keys{6});
    manager->RemoveEntry(5, cache.map);
    cache.map.Reset();
    manager->ReportHeldBytes(cache.id, 50); // may come late, from the main thread
    EXPECT_FALSE(manager->GetMapFigures(cache.id, figures));
    EXPECT_EQ(manager->GetTotals().heldBytes, 0U);
    EXPECT_THROW(cache.Add(1, 1), BRT::NullInterfaceException);
}

TEST_F(MediaManagerTest, TakesCallsFromInsideAFlushAndSurvivesOneThatThrows) {
    manager->SetBudget(100);
    cache.onFlush = [&](std::uint64_t key) {
        if (key == 3) {
            throw std::runtime_error("refused");
        } else if (key < 3) {
            cache.Add(key + 10, 60); // too much again: the flushing that is under way goes on
        }
    };
    cache.Add(1, 50);
    cache.Add(2, 50);
    EXPECT_THROW(cache.Add(3, 50), std::runtime_error);
    EXPECT_EQ(cache.Flushed(), (Keys{1, 2, 3}));
    cache.Add(4, 10);
    EXPECT_EQ(cache.Flushed(), Keys{11});
}

TEST_F(MediaManagerTest, FlushesAcrossMapsThatCallUnderTheirOwnLocks) {
    manager->SetBudget(1000);
    std::array<KeyCache, 3> caches;
    OnThreads(6, [&](unsigned n) {
        std::minstd_rand random(n + 1);
        for (std::uint64_t round = 0; round < 3000; ++round) {
            KeyCache& own = caches.at(n % 3);
            const BRT::CriticalSectionLock lock(own.section);
            own.Add(round * 6 + n, random() % 300, random() % 3);
            manager->TouchEntry(random() % (round * 6 + 1), own.map);
            manager->RemoveEntry(random() % (round * 6 + 1), own.map);
        }
    });
    EXPECT_LE(manager->GetTotals().entryBytes, 1000U);
    manager->SetBudget(0);
    EXPECT_EQ(manager->GetTotals().entryBytes, 0U);
}

} // namespace
