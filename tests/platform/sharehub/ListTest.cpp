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

    // Of two other holders one is stopped and one was killed.
    const auto hold = [] {
        const Readable own = InitializeClient() ? Open(Id(4)) : nullptr;
        ::raise(SIGSTOP);
        return true;
    };
    const pid_t stopped = Spawn(hold), killed = Spawn(hold);
    WaitUntilStopped(stopped);
    WaitUntilStopped(killed);
    ::kill(killed, SIGKILL);
    EXPECT_EQ(Wait(killed), SIGKILL);
    std::vector<std::int32_t> both{self, stopped};
    std::ranges::sort(both);
    EXPECT_EQ(Find(List(), Id(4))->holders, both);
    ::kill(stopped, SIGKILL);
    EXPECT_EQ(Wait(stopped), SIGKILL);

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

} // namespace framebroker
