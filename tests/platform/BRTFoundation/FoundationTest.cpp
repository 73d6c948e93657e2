#include "BRTFoundation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace {

using namespace BRT;

TEST(FoundationTest, CallsAreCountedAndTheLastTerminateGivesIdleMemoryBack) {
    MemoryRecycler& recycler = MemoryRecycler::Instance();
    ASSERT_EQ(Foundation::InitializationCount(), 0u);
    Foundation::Initialize();
    Foundation::Initialize();
    const auto outlives = recycler.AllocateBuffer(100'000);
    recycler.RecycleBuffer(recycler.AllocateBuffer(300'000));
    Foundation::Terminate();
    EXPECT_GE(recycler.GetStatistics().bytesIdle, 300'000u);
    Foundation::Terminate();
    EXPECT_EQ(recycler.GetStatistics().bytesIdle, 0u);
    Foundation::Terminate(); // without a matching Initialize
    EXPECT_EQ(Foundation::InitializationCount(), 0u);

    // A buffer that outlives the last Terminate is still its holder's, and is given back when it is returned.
    std::memset(outlives.data, 1, outlives.sizeInBytes);
    recycler.RecycleBuffer(outlives);
    EXPECT_EQ(recycler.GetStatistics().bytesIdle, 0u);

    // Use starts again without a call.
    const auto before = recycler.GetStatistics();
    recycler.RecycleBuffer(recycler.AllocateBuffer(100'000));
    recycler.RecycleBuffer(recycler.AllocateBuffer(100'000));
    EXPECT_EQ(recycler.GetStatistics().hits, before.hits + 1);
}

TEST(FoundationTest, LocksAreRecursiveAndCarryTheInnermostLabel) {
    CriticalSection section;
    {
        const CriticalSectionLock outer(section, "outer");
        {
            const CriticalSectionLock inner(section, "inner");
            const CriticalSectionLock unlabelled(section);
            EXPECT_STREQ(CriticalSectionLock::CurrentLabel(), "inner");
        }
        EXPECT_STREQ(CriticalSectionLock::CurrentLabel(), "outer");
        std::jthread([&] { EXPECT_FALSE(CriticalSectionLock::CurrentLabel() || section.TryEnter()); });
    }
    EXPECT_EQ(CriticalSectionLock::CurrentLabel(), nullptr);
    std::jthread([&] { section.TryEnter() ? section.Leave() : ADD_FAILURE(); });
}

} // namespace
