// What blocks cost: memory, descriptors, budget.

#include "BrokerFixture.h"

#include <sys/mount.h>
#include <sys/resource.h>

#include <cstdint>
#include <fstream>
#include <iterator>

namespace framebroker {

using ResourcesTest = ClientTest;

TEST_F(ResourcesTest, ThousandsOfBlocksNeedNoDescriptors) {
    constexpr std::uint32_t kBlocks = 2000;
    const unsigned before = OpenDescriptors();
    std::vector<Readable> held;
    for (std::uint32_t n = 0; n < kBlocks; ++n) {
        held.push_back(PutAndOpen(Id(n), 1 + n % 7 * 4096, static_cast<unsigned char>(n)));
    }
    EXPECT_EQ(OpenDescriptors(), before);
    for (std::uint32_t n = 0; n < kBlocks; ++n) {
        ASSERT_TRUE(Holds(held[n], 1 + n % 7 * 4096, static_cast<unsigned char>(n)));
    }
    EXPECT_EQ(SweepDeadBlocks(), 0U);
    held.clear();
    UninitializeClient();
    EXPECT_EQ(MappedBlocks(), 0U);
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

TEST_F(ResourcesTest, AFullFileSystemIsAnErrorAndNeverAFault) {
    const auto small = mDirectory / "small";
    std::filesystem::create_directory(small);
    if (::mount("none", small.c_str(), "tmpfs", 0, "size=1m,mode=0700") != 0) {
        std::filesystem::remove(small);
        GTEST_SKIP() << "needs the right to mount a file system";
    }
    UninitializeClient();
    ::setenv("VF_SHAREHUB_DIR", small.c_str(), 1);
    ASSERT_TRUE(InitializeClient());
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
    Readable reference = Open(Id(1));
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_OutOfSpace);
    EXPECT_TRUE(Holds(reference, 100'000, 7));
    EXPECT_EQ(ResultOfGet(Id(2)), kResult_NotFound);
    blocks.clear();
    reference.reset();
    UninitializeClient();
    EXPECT_TRUE(std::filesystem::is_empty(small));
    ::umount(small.c_str());
    std::filesystem::remove(small);
}

} // namespace framebroker
