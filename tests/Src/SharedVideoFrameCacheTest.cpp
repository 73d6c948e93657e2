#include "SharedVideoFrameCache.h"
#include "ContractLog.h"
#include "FrameKinds.h"
#include "TestFrames.h"
#include "TestHelpers.h"
#include "VectorFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <set>
#include <stdexcept>

namespace {

using namespace VF::SharedVideoFrameCache;
using vftest::FrameRef;
using zyncore::utility::Guid;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;

/// What the cache and the media manager behind it should do. Frames are numbers.
struct Model {
    static constexpr int kNone = -1;
    using Use = std::pair<std::uint32_t, std::uint64_t>; ///< value, time of the last use
    struct Dependencies {
        int frame = kNone;
        std::uint64_t count = 0;
    };
    struct Holding {
        std::uint64_t count = 0;
        bool reinsert = true;
    };
    std::vector<std::uint64_t> sizes;
    std::map<int, Use> cached;
    std::map<Guid, int> names; ///< of cached frames
    std::map<Guid, Dependencies> dependencies;
    std::map<int, Holding> held;
    std::vector<std::uint64_t> posted; ///< reports that the main thread has not made yet
    std::uint64_t budget = 0, heldBytes = 0, reported = 0, uses = 0, flushes = 0;

    int Retrieve(const Guid& id) {
        if (names.contains(id)) {
            cached[names[id]].second = ++uses;
            return names[id];
        }
        const int frame = dependencies.contains(id) ? dependencies[id].frame : kNone;
        if (frame != kNone && (!held.contains(frame) || held[frame].reinsert)) {
            Insert(frame, id, 5);
        }
        return frame;
    }
    void Insert(int frame, const Guid& id, std::uint32_t value) {
        if (cached.contains(frame)) {
            cached[frame].second = ++uses;
        } else if (reported + sizes.at(frame) > budget) {
            ++flushes; // at once
        } else {
            cached[frame] = {value, ++uses};
            MakeRoom();
        }
        if (cached.contains(frame)) {
            names[id] = frame;
        }
        if (dependencies.contains(id)) {
            dependencies[id].frame = frame;
        }
        StopHolding(frame);
    }
    bool TakeOut(int frame, bool reinsert) {
        std::uint64_t count = 0;
        std::erase_if(names, [&](auto& name) {
            count += name.second == frame ? dependencies.count(name.first) : 0;
            return name.second == frame;
        });
        if (count > 0) {
            held[frame] = {count, reinsert};
            posted.push_back(heldBytes += sizes.at(frame));
        }
        return cached.erase(frame) > 0;
    }
    void Expire(const Guid& id) {
        if (names.contains(id)) {
            TakeOut(names[id], false);
        }
    }
    void ExpireAll() {
        while (!names.empty()) {
            TakeOut(names.begin()->second, false);
        }
        std::ranges::for_each(held, [](auto& each) { each.second.reinsert = false; });
    }
    void Register(const Guid& id) {
        const int frame = dependencies.contains(id) ? dependencies[id].frame : Retrieve(id);
        dependencies[id] = {frame, dependencies[id].count + 1};
    }
    void Unregister(const Guid& id) {
        if (dependencies.contains(id) && --dependencies[id].count == 0) {
            const int frame = dependencies[id].frame;
            dependencies.erase(id);
            if (held.contains(frame) && --held[frame].count == 0) {
                StopHolding(frame);
            }
        }
    }
    void StopHolding(int frame) {
        if (held.erase(frame) > 0) {
            posted.push_back(heldBytes -= sizes.at(frame));
        }
    }
    std::uint64_t Bytes() const {
        std::uint64_t bytes = 0;
        std::ranges::for_each(cached, [&](auto& each) { bytes += sizes.at(each.first); });
        return bytes;
    }
    void MakeRoom() {
        while (!cached.empty() && Bytes() + reported > budget) {
            const auto use = [](auto& each) { return each.second; };
            flushes += TakeOut(std::ranges::min_element(cached, {}, use)->first, true);
        }
    }
    std::size_t MakeReports() {
        const auto reports = std::exchange(posted, {});
        for (const std::uint64_t bytes : reports) {
            reported = bytes;
            MakeRoom();
        }
        return reports.size();
    }
    std::size_t References(int frame) const {
        const auto refers = [&](auto& each) { return each.second.frame == frame; };
        return cached.count(frame) + static_cast<std::size_t>(std::ranges::count_if(dependencies, refers));
    }
};

Guid NameOf(std::size_t number) {
    return Guid::FromBytes({static_cast<std::uint8_t>(number * 37)});
}

std::uint32_t References(const FrameRef& frame) {
    frame->AddRef();
    return frame->Release();
}

class SharedVideoFrameCacheTest : public vftest::LibraryTest {
protected:
    void SetUp() override {
        LibraryTest::SetUp();
        for (std::uint32_t width = 10; const vftest::FrameKind& kind : vftest::kBlockKinds) {
            frames.push_back(kind.make({kPixelFormat_BGRA_4444_8u, width += 5, 20}, [](const FrameRef&) {}));
        }
        SetNotificationFunction([](const Guid& id) {
            ++sNotifications;
            static_cast<void>(RetrieveFromCache(id)); // the cache may be called from here
        });
    }
    void TearDown() override {
        SetNotificationFunction(nullptr);
        for (const FrameRef& frame : frames) {
            EXPECT_EQ(References(frame), 1U);
        }
        frames.clear();
        manager->SetBudget(budget);
        LibraryTest::TearDown();
    }
    RK::MediaFigures Figures() {
        RK::MediaFigures figures;
        EXPECT_TRUE(manager->GetMapFigures(manager->GetMediaMaps().at(0), figures));
        return figures;
    }
    inline static thread_local int sNotifications = 0;
    static constexpr std::size_t kNames = 6;
    vftest::VectorFrame foreign{kPixelFormat_BGRA_4444_8u, 20, 10}; ///< has no identity of its own
    std::vector<FrameRef> frames;
    const BRT::InterfaceRef<RK::IMediaManager> manager = RK::GetMediaManager();
    const std::uint64_t budget = manager->GetBudget();
};

TEST_F(SharedVideoFrameCacheTest, DoesWhatTheModelDoes) {
    std::vector<std::uint64_t> sizes;
    for (const FrameRef& frame : frames) {
        sizes.push_back(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetBufferSize());
    }
    foreign.memory = false;
    frames.push_back(foreign.Ref());
    sizes.push_back(20 * 10 * 4);
    const std::uint64_t typical = sizes[1];
    for (unsigned sequence = 0; sequence < 3000 && !HasFailure(); ++sequence) {
        SCOPED_TRACE(sequence);
        std::minstd_rand random(sequence + 1);
        const auto below = [&](std::size_t end) { return static_cast<std::size_t>(random() % end); };
        Model model;
        model.sizes = sizes;
        manager->SetBudget(model.budget = 4 * typical);
        for (unsigned step = 0; step < 60 && !HasFailure(); ++step) {
            SCOPED_TRACE(step);
            const Guid id = NameOf(below(kNames));
            const std::size_t choice = below(50);
            if (choice < 1) {
                ExpireAllFramesFromCache();
                model.ExpireAll();
            } else if (choice < 5) {
                ExpireFromCache(id);
                model.Expire(id);
            } else if (choice < 10) {
                RegisterDependencyOnFrame(id);
                model.Register(id);
            } else if (choice < 16) {
                UnregisterDependencyOnFrame(id);
                model.Unregister(id);
            } else if (choice < 20) {
                model.budget = below(6) * typical;
                manager->SetBudget(model.budget);
                model.MakeRoom();
            } else if (choice < 26) {
                EXPECT_EQ(zyncore::threads::RunMainThreadCalls(), model.MakeReports());
            } else if (choice < 36) {
                const int expected = model.Retrieve(id);
                EXPECT_EQ(RetrieveFromCache(id), expected == Model::kNone ? FrameRef() : frames.at(expected));
            } else {
                const std::size_t frame = below(frames.size());
                const auto value = static_cast<unsigned>(4 + below(3));
                const int notifications = sNotifications;
                InsertIntoCache(frames[frame], id, value);
                EXPECT_EQ(sNotifications, notifications + 1);
                if (model.Retrieve(id) == Model::kNone) {
                    model.Insert(static_cast<int>(frame), id, value);
                }
                model.Retrieve(id); // from the notification
            }
            const RK::MediaFigures figures = Figures();
            EXPECT_EQ(figures.entries, model.cached.size());
            EXPECT_EQ(figures.entryBytes, model.Bytes());
            EXPECT_EQ(figures.heldBytes, model.reported);
            EXPECT_EQ(figures.flushes, model.flushes);
            for (std::size_t frame = 0; frame < frames.size(); ++frame) {
                EXPECT_EQ(References(frames[frame]), 1 + model.References(static_cast<int>(frame))) << frame;
            }
        }
        VF::Shutdown(); // with entries, dependencies and reports under way
        VF::Initialize();
        EXPECT_EQ(zyncore::threads::RunMainThreadCalls(), model.posted.size());
        EXPECT_EQ(Figures(), RK::MediaFigures());
        EXPECT_EQ(manager->GetTotals().heldBytes, 0U);
    }
    EXPECT_TRUE(frames[0]->GetReadOnly());
}

TEST_F(SharedVideoFrameCacheTest, IsUsedByManyThreadsWhileFramesAreFlushed) {
    std::atomic<bool> running{true};
    std::jthread others([&] {
        OnThreads(4, [&](unsigned n) {
            std::minstd_rand random(n + 1);
            for (int round = 0; round < 4000; ++round) {
                const Guid id = NameOf(random() % kNames);
                const unsigned choice = random() % 64;
                if (choice < 1) {
                    ExpireAllFramesFromCache();
                } else if (choice < 8) {
                    ExpireFromCache(id);
                } else if (choice < 16) {
                    manager->SetBudget(random() % 8 * 1000);
                } else if (choice < 28) {
                    RegisterDependencyOnFrame(id);
                    static_cast<void>(RetrieveFromCache(id));
                    UnregisterDependencyOnFrame(id);
                } else if (choice < 44) {
                    InsertIntoCache(frames[random() % frames.size()], id, random() % 3);
                } else if (const FrameRef frame = RetrieveFromCache(id)) {
                    EXPECT_GT(References(frame), 1U);
                }
            }
        });
        running = false;
    });
    while (running) {
        zyncore::threads::RunMainThreadCalls();
    }
    others.join();
    zyncore::threads::RunMainThreadCalls();
    EXPECT_EQ(Figures().heldBytes, 0U) << "every dependency has ended";
    ExpireAllFramesFromCache();
    EXPECT_EQ(Figures().entries, 0U);
}

TEST_F(SharedVideoFrameCacheTest, LabelsItsLockAndReleasesFramesAfterIt) {
    void (*const removals[])() = {
        [] { ExpireFromCache(NameOf(1)); },
        [] { ExpireAllFramesFromCache(); },
        [] { RK::GetMediaManager()->SetBudget(0); },
        [] { // flushed from inside the insertion of another frame
            RK::GetMediaManager()->SetBudget(2000);
            InsertIntoCache(vftest::MakeFrame(kPixelFormat_BGRA_4444_8u, 20, 20), NameOf(2), 9);
        },
        [] {
            RegisterDependencyOnFrame(NameOf(1));
            ExpireFromCache(NameOf(1));
            UnregisterDependencyOnFrame(NameOf(1));
        },
    };
    std::set<std::string> labels;
    std::string lastLabel;
    foreign.onCounted = [&](std::uint32_t) {
        const char* label = BRT::CriticalSectionLock::CurrentLabel();
        labels.insert(lastLabel = label ? label : "");
    };
    for (const auto remove : removals) {
        manager->SetBudget(budget);
        InsertIntoCache(foreign.Ref(), NameOf(1), 1);
        lastLabel = "not released";
        remove();
        EXPECT_EQ(lastLabel, "");
        EXPECT_EQ(foreign.References(), 0U);
    }
    EXPECT_TRUE(labels.contains("VideoFrame Cache::Insert"));
}

TEST_F(SharedVideoFrameCacheTest, RefusesWhatItCannotKeep) {
    sNotifications = 0;
    FrameRef view;
    EXPECT_EQ(VF::CreateVideoSubFrame(view, frames[0], {0, 0, 2, 2}), 0);
    EXPECT_THROW(InsertIntoCache(view, NameOf(1), 1), BRT::Exception);
    InsertIntoCache(FrameRef(), NameOf(1), 1);
    EXPECT_FALSE(RetrieveFromCache(NameOf(1)));
    EXPECT_EQ(Figures(), RK::MediaFigures());

    VF::Shutdown();
    vftest::ContractLog log;
    InsertIntoCache(frames[0], NameOf(1), 1);
    EXPECT_FALSE(RetrieveFromCache(NameOf(1)));
    RegisterDependencyOnFrame(NameOf(1));
    UnregisterDependencyOnFrame(NameOf(1));
    ExpireFromCache(NameOf(1));
    ExpireAllFramesFromCache();
    EXPECT_EQ(log.TakeConditions(), std::vector<std::string>(6, "sCache"));
    EXPECT_EQ(sNotifications, 0);
    VF::Initialize();
}

} // namespace
