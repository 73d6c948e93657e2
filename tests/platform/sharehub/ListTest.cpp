// What a listing tells of blocks, names, holders and generation errors.

#include "BrokerFixture.h"

namespace framebroker {

using ListTest = ClientTest;

TEST_F(ListTest, TellsNamesSizesErrorsAndWhoHoldsWhat) {
    const std::int32_t self = ::getpid();
    const auto before = std::chrono::system_clock::now() - std::chrono::seconds(1);
    Writable unput = MakeBlock(300, 3);
    Readable reference = PutAndOpen(Id(5), 70'001, 1);
    ASSERT_EQ(MakeBinaryDataAlias(Id(5), reference, Id(3)), kResult_Success);
    ASSERT_EQ(PutBlock(Id(4), 1, 2), kResult_Success);
    ASSERT_EQ(PutBinaryDataGenerationError(Id(9), INT32_MIN), kResult_Success);
    ASSERT_EQ(PutBinaryDataGenerationError(Id(8), 0), kResult_Success);

    DirectoryContents contents = List();
    ASSERT_EQ(contents.blocks.size(), 3U);
    const struct {
        std::vector<Guid> ids;
        std::uint64_t sizeInBytes;
    } expected[] = {{{Id(3), Id(5)}, 70'001}, {{Id(4)}, 1}, {{}, 300}};
    for (std::size_t n = 0; n < 3; ++n) {
        EXPECT_EQ(contents.blocks[n].ids, expected[n].ids) << n;
        EXPECT_EQ(contents.blocks[n].sizeInBytes, expected[n].sizeInBytes) << n;
        EXPECT_EQ(contents.blocks[n].holders, std::vector<std::int32_t>({self})) << n;
        EXPECT_GT(contents.blocks[n].namedAt, before) << n;
        EXPECT_LE(contents.blocks[n].namedAt, std::chrono::system_clock::now()) << n;
    }
    const std::vector<std::pair<Guid, std::int32_t>> errors = {{Id(8), 0}, {Id(9), INT32_MIN}};
    EXPECT_EQ(contents.generationErrors, errors);
    EXPECT_GE(contents.bytesOfBlocks, 70'001U + 1 + 300);
    EXPECT_GT(contents.bytesFree, 0U);

    // A listing holds nothing: what is let go after it goes.
    reference.reset();
    DropPuts();
    unput.reset();
    EXPECT_EQ(Entries().size(), 2U);
    for (const BlockDescription& block : List().blocks) {
        EXPECT_TRUE(block.ids.empty() && block.holders.empty()) << "idle at most";
    }
    UninitializeClient();
    EXPECT_EQ(ListBlocks(contents), kResult_NotInitialized);
}

TEST_F(ListTest, HoldersAreTheProcessesThatLive) {
    const std::int32_t self = ::getpid();
    const Readable reference = PutAndOpen(Id(1), 5000, 1);
    std::vector<pid_t> holders;
    for (unsigned n = 0; n < 3; ++n) {
        holders.push_back(Spawn([] {
            const Readable own = InitializeClient() ? Open(Id(1)) : nullptr;
            const Readable second = Open(Id(1));
            ::raise(SIGSTOP);
            return Holds(own, 5000, 1);
        }));
        WaitUntilStopped(holders.back());
    }
    // One that has only looked, and lives on with what it may keep mapped.
    const Counter steps;
    const pid_t former = Spawn([&] {
        const bool good = InitializeClient() && Holds(Open(Id(1)), 5000, 1);
        ++*steps;
        WaitUntil(steps, 2);
        UninitializeClient();
        return good;
    });
    WaitUntil(steps, 1);
    const auto listed = [] { return Find(List(), Id(1)) ? Find(List(), Id(1))->holders : std::vector<std::int32_t>(); };
    std::vector<std::int32_t> expected = {self, holders[0], holders[1], holders[2]};
    std::ranges::sort(expected);
    EXPECT_EQ(listed(), expected) << "the stopped count, once each";
    ::kill(holders[1], SIGKILL);
    EXPECT_EQ(Wait(holders[1]), SIGKILL);
    ::kill(holders[0], SIGCONT);
    EXPECT_EQ(Wait(holders[0]), 0);
    std::erase_if(expected, [&](std::int32_t holder) { return holder == holders[0] || holder == holders[1]; });
    EXPECT_EQ(listed(), expected);
    ::kill(holders[2], SIGCONT);
    EXPECT_EQ(Wait(holders[2]), 0);
    ++*steps;
    EXPECT_EQ(Wait(former), 0);
    EXPECT_EQ(listed(), std::vector<std::int32_t>({self}));
}

} // namespace framebroker
