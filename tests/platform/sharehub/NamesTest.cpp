// What putting, getting, aliases and generation errors do to a Guid, in every state it can be in.

#include "BrokerFixture.h"

namespace framebroker {

using NamesTest = ClientTest;

constexpr std::uint64_t kSize = 100'001; // no multiple of a page

/// Leaves a block under Id(1), Id(2) and Id(3) whose only holder was killed.
void LeaveDeadBlock() {
    const int status = Wait(Spawn([] {
        const Readable reference = InitializeClient() ? PutAndOpen(Id(1), kSize, 9) : nullptr;
        const bool done =
            MakeBinaryDataAlias(Id(1), reference, Id(2)) == 0 && MakeBinaryDataAlias(Id(2), reference, Id(3)) == 0;
        ::raise(done ? SIGKILL : SIGABRT);
        return true;
    }));
    ASSERT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(NamesTest, PutMakesTheBytesReadableUnderNamesThatNothingReplaces) {
    const Writable block = MakeBlock(kSize, 5);
    ASSERT_TRUE(block);
    void* const data = block->AcquireDataPointer();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 4096, 0U);
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), block), kResult_Success);
    EXPECT_TRUE(Holds(Open(Id(1)), kSize, 5));
    EXPECT_EQ(block->GetSize(), kSize);
    block->ReleaseDataPointer(data);
    // A second put of one block is a second name.
    EXPECT_EQ(PutCompletedBinaryData(Id(1), block), kResult_NameInUse);
    EXPECT_EQ(PutCompletedBinaryData(Id(2), block), kResult_Success);
    EXPECT_TRUE(Holds(Open(Id(2)), kSize, 5));
    // A name that is alive is never replaced.
    EXPECT_EQ(PutBlock(Id(2), kSize, 3), kResult_NameInUse);
    EXPECT_EQ(MakeBinaryDataAlias(Id(3), PutAndOpen(Id(3), kSize, 7), Id(2)), kResult_NameInUse);
    EXPECT_EQ(PutBinaryDataGenerationError(Id(2), -1), kResult_Success);
    std::int32_t code = 77;
    EXPECT_EQ(GetGenerationError(Id(2), code), kResult_NotFound);
    EXPECT_EQ(code, 77);
    EXPECT_TRUE(Holds(Open(Id(2)), kSize, 5));
}

TEST_F(NamesTest, BadArgumentsAreRefusedAndEmptyTheReference) {
    Writable writable = MakeBlock(1, 1);
    EXPECT_EQ(PutCompletedBinaryData(Guid(), writable), kResult_BadArgument);
    EXPECT_EQ(GetWritableBinaryData(0, writable), kResult_BadArgument);
    EXPECT_FALSE(writable);
    EXPECT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_BadArgument);
    Readable reference = PutAndOpen(Id(1), 1, 1);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), Readable(), Id(2)), kResult_BadArgument);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Guid()), kResult_BadArgument);
    EXPECT_EQ(MakeBinaryDataAlias(Id(3), reference, Id(2)), kResult_NotFound);
    EXPECT_EQ(GetBinaryDataIfAvailable(Guid(), reference), kResult_BadArgument);
    EXPECT_FALSE(reference);
    EXPECT_EQ(PutBinaryDataGenerationError(Guid(), 1), kResult_BadArgument);
}

TEST_F(NamesTest, ADeadNameIsFreeForEveryOperation) {
    LeaveDeadBlock();
    EXPECT_EQ(ResultOfGet(Id(2)), kResult_NotFound);
    EXPECT_EQ(Entries().size(), 0U) << "the other names and their list go with it";
    LeaveDeadBlock();
    EXPECT_TRUE(Holds(PutAndOpen(Id(3), kSize, 4), kSize, 4));
    EXPECT_EQ(Entries().size(), 1U);
    DropPuts();
    LeaveDeadBlock();
    std::int32_t code = 0;
    EXPECT_EQ(PutBinaryDataGenerationError(Id(2), -5), kResult_Success);
    EXPECT_EQ(GetGenerationError(Id(2), code), kResult_Success);
    EXPECT_EQ(code, -5);
    LeaveDeadBlock();
    EXPECT_EQ(MakeBinaryDataAlias(Id(4), PutAndOpen(Id(4), kSize, 6), Id(1)), kResult_Success);
    EXPECT_TRUE(Holds(Open(Id(1)), kSize, 6));
    DropPuts();
    LeaveDeadBlock();
    EXPECT_EQ(SweepDeadBlocks(), 1U);
    EXPECT_EQ(SweepDeadBlocks(), 0U);
}

TEST_F(NamesTest, GenerationErrorsLastUntilDataReplacesThem) {
    std::int32_t code = 0;
    EXPECT_EQ(GetGenerationError(Id(1), code), kResult_NotFound);
    for (const std::int32_t put : {-1, 0, INT32_MAX, INT32_MIN}) {
        ASSERT_EQ(PutBinaryDataGenerationError(Id(1), put), kResult_Success);
        ASSERT_EQ(GetGenerationError(Id(1), code), kResult_Success);
        EXPECT_EQ(code, put);
        EXPECT_EQ(ResultOfGet(Id(1)), kResult_GenerationError);
    }
    ASSERT_EQ(PutBinaryDataGenerationError(Id(2), -2), kResult_Success);
    ASSERT_EQ(MakeBinaryDataAlias(Id(1), PutAndOpen(Id(1), kSize, 1), Id(2)), kResult_Success);
    EXPECT_EQ(GetGenerationError(Id(1), code), kResult_NotFound);
    EXPECT_EQ(GetGenerationError(Id(2), code), kResult_NotFound);
    SetPutBudget(0);
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound) << "an error does not come back when the data goes";
    ASSERT_EQ(PutBinaryDataGenerationError(Id(1), -3), kResult_Success);
    // Another client sees it, and its end does not take it away while this one is left.
    EXPECT_TRUE(TrueInClientProcess([&] { return GetGenerationError(Id(1), code) == 0 && code == -3; }));
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_GenerationError);
}

TEST_F(NamesTest, AliasesLiveAsLongAsTheBlock) {
    Readable reference = PutAndOpen(Id(0), kSize, 8);
    SetPutBudget(0);
    constexpr std::uint32_t kAliases = 300; // more than one read of the list
    for (std::uint32_t n = 1; n < kAliases; ++n) {
        ASSERT_EQ(MakeBinaryDataAlias(Id(n - 1), reference, Id(n)), kResult_Success);
        reference = Open(Id(n)); // from now on held under its newest name only
    }
    EXPECT_TRUE(Holds(reference, kSize, 8));
    EXPECT_EQ(Entries().size(), kAliases + 1);
    reference.reset();
    EXPECT_EQ(Entries().size(), 0U);
}

} // namespace framebroker
