#include "RenderKit.h"
#include "TestHelpers.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <stdexcept>
#include <utility>

namespace {

using zyncore::utility::Guid;

/// A cache of keys alone: notes what is flushed from it.
class KeyCache final : public RK::Details::MediaMapTemplateCache {
public:
    KeyCache() = default;
    KeyCache(const KeyCache&) = delete;
    KeyCache& operator=(const KeyCache&) = delete;
    ~KeyCache() { RK::GetMediaManager()->ForgetMediaMap(id); }
    void Flush(std::uint64_t key) override {
        const BRT::CriticalSectionLock lock(section);
        flushed.push_back(key);
        if (onFlush) {
            onFlush(key);
        }
    }
    void* DeletingDestructor(unsigned) override { return this; }
    std::vector<std::uint64_t> Flushed() { return std::exchange(flushed, {}); }

    std::vector<std::uint64_t> flushed;
    std::function<void(std::uint64_t)> onFlush;
    BRT::CriticalSection section;
    BRT::InterfaceRef<RK::IMediaMap> map{new RK::Details::MediaMapTemplateHelper(*this)};
    const Guid id = map->GetMapID();
};

class MediaManagerTest : public ::testing::Test {
protected:
    ~MediaManagerTest() override { manager->SetBudget(budget); }

    void Add(std::uint64_t key, std::int64_t bytes, std::uint32_t value = 1) {
        manager->AddEntry(key, bytes, value, key % 2 == 0, cache.map);
    }
    RK::MediaFigures Figures() {
        RK::MediaFigures figures;
        EXPECT_TRUE(manager->GetMapFigures(cache.id, figures));
        return figures;
    }

    BRT::InterfaceRef<RK::IMediaManager> manager = RK::GetMediaManager();
    const std::uint64_t budget = manager->GetBudget();
    KeyCache cache;
};

using Keys = std::vector<std::uint64_t>;

TEST_F(MediaManagerTest, FlushesTheLowestValueThenTheLongestUnused) {
    manager->SetBudget(100);
    Add(1, 25, 7);
    Add(2, 25, 3);
    Add(3, 25, 3);
    Add(4, 25, 3);
    EXPECT_EQ(cache.Flushed(), Keys{});
    EXPECT_EQ(Figures(), (RK::MediaFigures{.entries = 4, .entryBytes = 100, .publishableBytes = 50}));
    manager->TouchEntry(2, cache.map);
    Add(5, 30, 9);
    EXPECT_EQ(cache.Flushed(), (Keys{3, 4}));
    Add(6, 25, 2); // a newcomer of the lowest value goes first
    EXPECT_EQ(cache.Flushed(), Keys{6});
    Add(1, 10, 1); // known: registered anew
    EXPECT_EQ(Figures().entryBytes, 65U);
    manager->RemoveEntry(2, cache.map);
    manager->SetBudget(30);
    EXPECT_EQ(cache.Flushed(), Keys{1});
    EXPECT_EQ(Figures(),
              (RK::MediaFigures{.entries = 1, .entryBytes = 30, .touches = 1, .flushes = 4, .flushedBytes = 85}));
    Add(7, -1);
    EXPECT_EQ(Figures().entryBytes, 30U);
}

TEST_F(MediaManagerTest, CountsHeldBytesUntilTheMapIsGone) {
    manager->SetBudget(100);
    Add(1, 60);
    Add(2, 20);
    manager->ReportHeldBytes(cache.id, 30);
    EXPECT_EQ(cache.Flushed(), Keys{1});
    Add(3, 71); // does not fit beside what is held
    EXPECT_EQ(cache.Flushed(), Keys{3});
    manager->ReportHeldBytes(cache.id, ~0ULL);
    EXPECT_EQ(cache.Flushed(), Keys{2});
    const Guid id = cache.id;
    cache.map.Reset();
    manager->ReportHeldBytes(id, 50); // may come late, from the main thread
    RK::MediaFigures figures;
    EXPECT_FALSE(manager->GetMapFigures(id, figures));
    EXPECT_EQ(manager->GetTotals().heldBytes, 0U);
    EXPECT_THROW(Add(1, 1), BRT::NullInterfaceException);
}

TEST_F(MediaManagerTest, TakesCallsFromInsideAFlushAndSurvivesOneThatThrows) {
    manager->SetBudget(100);
    cache.onFlush = [&](std::uint64_t key) {
        if (key == 3) {
            throw std::runtime_error("refused");
        } else if (key < 3) {
            Add(key + 10, 60); // too much again: the flushing that is under way goes on
        }
    };
    Add(1, 50);
    Add(2, 50);
    EXPECT_THROW(Add(3, 50), std::runtime_error);
    EXPECT_EQ(cache.Flushed(), (Keys{1, 2, 3}));
    Add(4, 10);
    EXPECT_EQ(cache.Flushed(), (Keys{11}));
    EXPECT_EQ(Figures().entryBytes, 70U);
}

TEST_F(MediaManagerTest, FlushesAcrossMapsThatCallUnderTheirOwnLocks) {
    manager->SetBudget(1000);
    std::array<KeyCache, 3> caches;
    OnThreads(6, [&](unsigned n) {
        std::minstd_rand random(n + 1);
        for (std::uint64_t round = 0; round < 3000; ++round) {
            KeyCache& own = caches.at(n % 3);
            const BRT::CriticalSectionLock lock(own.section);
            manager->AddEntry(round * 6 + n, random() % 300, random() % 3, false, own.map);
            manager->TouchEntry(random() % (round * 6 + 1), own.map);
            manager->RemoveEntry(random() % (round * 6 + 1), own.map);
        }
    });
    EXPECT_LE(manager->GetTotals().entryBytes, 1000U);
    manager->SetBudget(0);
    EXPECT_EQ(manager->GetTotals().entryBytes, 0U);
}

} // namespace
