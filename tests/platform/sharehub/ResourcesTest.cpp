// What blocks cost: memory, descriptors, budget.

#include "BrokerFixture.h"

#include <sys/mount.h>
#include <sys/resource.h>

#include <cstdint>
#include <fstream>
#include <iterator>

namespace framebroker {

using ResourcesTest = ClientTest;

TEST_F(ResourcesTest, TenThousandBlocksNeedNoDescriptors) {
    constexpr std::uint32_t kBlocks = 10'000;
    const unsigned before = OpenDescriptors();
    std::vector<Readable> held;
    for (std::uint32_t n = 0; n < kBlocks; ++n) {
        held.push_back(PutAndOpen(Id(n), 1 + n % 7 * 4096, static_cast<unsigned char>(n)));
    }
    EXPECT_EQ(OpenDescriptors(), before);
    for (std::uint32_t n = 0; n < kBlocks; ++n) {
        ASSERT_TRUE(Holds(held[n], 1 + n % 7 * 4096, static_cast<unsigned char>(n)));
    }
    EXPECT_EQ(List().blocks.size(), kBlocks);
    EXPECT_EQ(SweepDeadBlocks(), 0U);
    held.clear();
    UninitializeClient();
    EXPECT_EQ(OpenDescriptors() + 2, before) << "the directory and the presence";
    EXPECT_EQ(MappedBlocks(), 0U);
}

TEST_F(ResourcesTest, MemoryThatNobodyHoldsBecomesTheNextBlock) {
    SetPutBudget(0);
    const std::uint64_t start = GetClientStatistics().blocksRecycled;
    const auto recycled = [&] { return GetClientStatistics().blocksRecycled - start; };
    // Each block has as many pages as the first, whose memory it takes; a reader in another process reads each.
    const Counter turn;
    constexpr std::uint64_t kSizes[] = {8192, 4097, 8191, 5000, 8192, 4097};
    const pid_t reader = Spawn([&] {
        bool good = InitializeClient();
        for (unsigned n = 0; n < std::size(kSizes); ++n) {
            WaitUntil(turn, 2 * n + 1);
            good = good && Holds(Open(Id(1)), kSizes[n], static_cast<unsigned char>(n));
            ++*turn;
        }
        good = good && GetClientStatistics().mappingsReused == std::size(kSizes) - 1;
        UninitializeClient();
        return good;
    });
    for (unsigned n = 0; n < std::size(kSizes); ++n) {
        const Writable block = MakeBlock(kSizes[n], static_cast<unsigned char>(n));
        EXPECT_EQ(block->GetSize(), kSizes[n]);
        EXPECT_EQ(PutCompletedBinaryData(Id(1), block), kResult_Success);
        EXPECT_EQ(recycled(), n);
        ++*turn;
        WaitUntil(turn, 2 * n + 2);
    }
    EXPECT_EQ(Wait(reader), 0);
    EXPECT_EQ(GetClientStatistics().idleBlocks, 1U);
    EXPECT_EQ(GetClientStatistics().idleBytes, 8192U);

    // Not while somebody holds it, nor for another number of pages, nor somebody else's.
    const std::uint64_t before = recycled();
    SetPutBudget(8000);
    Readable held = PutAndOpen(Id(1), 8000, 1);
    EXPECT_EQ(recycled(), before + 1);
    SetPutBudget(0);
    const Writable other = MakeBlock(8000, 2);
    const Writable smaller = MakeBlock(4096, 3);
    EXPECT_TRUE(Holds(held, 8000, 1));
    EXPECT_EQ(recycled(), before + 1);
    held.reset();
    EXPECT_TRUE(TrueInClientProcess([] { return MakeBlock(8000, 4) && GetClientStatistics().blocksRecycled == 0; }));
    EXPECT_EQ(GetClientStatistics().idleBlocks, 1U);
    UninitializeClient();
    EXPECT_EQ(GetClientStatistics().idleBlocks, 0U);
    EXPECT_EQ(AllEntries().size(), 2U) << "the two that are still held";
}

TEST_F(ResourcesTest, TheOldestPutsGoWhenTheBudgetIsUsedUp) {
    SetPutBudget(3 * 5000);
    Readable reader = PutAndOpen(Id(0), 5000, 0);
    for (std::uint32_t n = 1; n < 5; ++n) {
        ASSERT_EQ(PutBlock(Id(n), 5000, static_cast<unsigned char>(n)), kResult_Success);
    }
    EXPECT_EQ(GetClientStatistics().keptPuts, 3U);
    EXPECT_EQ(GetClientStatistics().keptPutBytes, 15000U);
    EXPECT_TRUE(Holds(Open(Id(0)), 5000, 0)) << "readers keep theirs";
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound);
    EXPECT_EQ(ResultOfGet(Id(2)), kResult_Success);
    reader.reset();
    EXPECT_EQ(ResultOfGet(Id(0)), kResult_NotFound);
    SetPutBudget(5000);
    EXPECT_EQ(ResultOfGet(Id(3)), kResult_NotFound);
    EXPECT_EQ(ResultOfGet(Id(4)), kResult_Success);
    EXPECT_EQ(PutBlock(Id(5), 5001, 5), kResult_Success);
    EXPECT_EQ(Entries(), std::vector<std::string>()) << "a put above the whole budget lives as long as its references";
}

TEST_F(ResourcesTest, SizesThatDoNotFitAreRefusedAndLeaveNothing) {
    Writable block;
    for (const std::uint64_t size : {~0ULL, 1ULL << 63, 1ULL << 62, (1ULL << 47) + 1}) {
        EXPECT_EQ(GetWritableBinaryData(size, block), kResult_OutOfSpace) << size;
        EXPECT_FALSE(block);
    }
    EXPECT_TRUE(TrueInClientProcess([&] {
        // Beyond this limit writing a file raises a signal that ends the process.
        const struct rlimit limit { 4096, 4096 };
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return GetWritableBinaryData(4097, block) == kResult_OutOfSpace && PutBlock(Id(1), 4096, 1) == kResult_Success;
    }));
}

/// On a file system of 1 MiB.
class FullFileSystemTest : public BrokerTest {
protected:
    void SetUp() override {
        BrokerTest::SetUp();
        mSmall = mDirectory / "small";
        std::filesystem::create_directory(mSmall);
        mMounted = ::mount("none", mSmall.c_str(), "tmpfs", 0, "size=1m,mode=0700") == 0;
        if (!mMounted) {
            GTEST_SKIP() << "needs the right to mount a file system";
        }
        ::setenv("VF_SHAREHUB_DIR", mSmall.c_str(), 1);
        ASSERT_TRUE(InitializeClient());
    }

    void TearDown() override {
        UninitializeClient();
        EXPECT_TRUE(std::filesystem::is_empty(mSmall));
        EXPECT_TRUE(!mMounted || ::umount(mSmall.c_str()) == 0);
        std::filesystem::remove(mSmall);
        BrokerTest::TearDown();
    }

    std::filesystem::path mSmall;
    bool mMounted = false;
};

TEST_F(FullFileSystemTest, IsAnErrorAndNeverAFault) {
    Writable refused;
    EXPECT_EQ(GetWritableBinaryData(std::uint64_t{2} << 20, refused), kResult_OutOfSpace);
    std::vector<Writable> blocks;
    while (Writable block = MakeBlock(100'000, 7)) {
        blocks.push_back(std::move(block));
    }
    EXPECT_EQ(blocks.size(), 10U);
    // Without a byte left a list of aliases cannot be written.
    while (Writable block = MakeBlock(1, 7)) {
        blocks.push_back(std::move(block));
    }
    ASSERT_EQ(PutCompletedBinaryData(Id(1), blocks[0]), kResult_Success);
    const Readable reference = Open(Id(1));
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_OutOfSpace);
    EXPECT_TRUE(Holds(reference, 100'000, 7));
    EXPECT_EQ(ResultOfGet(Id(2)), kResult_NotFound);
}

TEST_F(FullFileSystemTest, IdleMemoryOfAllProcessesGoesFirstAndThenTheOldestPuts) {
    // Another process keeps 200 kB idle; this one 100 kB, and four puts, the second of which has a reader.
    const Counter steps;
    const pid_t other = Spawn([&] {
        bool good = InitializeClient() && MakeBlock(200'000, 1);
        good = good && GetClientStatistics().idleBytes == 200'000;
        ++*steps;
        WaitUntil(steps, 2);
        good = good && MakeBlock(200'000, 1) && GetClientStatistics().blocksRecycled == 0;
        UninitializeClient();
        return good; // its memory was taken away meanwhile
    });
    WaitUntil(steps, 1);
    for (std::uint32_t n = 0; n < 4; ++n) {
        ASSERT_EQ(PutBlock(Id(n), 100'000, static_cast<unsigned char>(n)), kResult_Success);
    }
    const Readable reader = Open(Id(1));
    MakeBlock(90'000, 9);
    const auto alive = [] {
        std::string ids;
        for (const unsigned n : {0, 1, 2, 3}) {
            ids += ResultOfGet(Id(n)) == kResult_Success ? std::to_string(n) : "";
        }
        return ids;
    };
    Writable first = MakeBlock(600'000, 5);
    EXPECT_TRUE(first && alive() == "0123") << alive();
    // Neither a put nor its reader's block helps a block that does not fit at all.
    Writable refused;
    EXPECT_EQ(GetWritableBinaryData(800'000, refused), kResult_OutOfSpace);
    EXPECT_EQ(alive(), "0123");
    const Writable second = MakeBlock(100'000, 6);
    EXPECT_TRUE(second && alive() == "123") << alive();
    const Writable third = MakeBlock(100'000, 6);
    EXPECT_TRUE(third && alive() == "13") << alive() << ": that with a reader frees nothing";
    EXPECT_TRUE(Holds(reader, 100'000, 1));
    first.reset();
    ++*steps;
    EXPECT_EQ(Wait(other), 0);
}

} // namespace framebroker
