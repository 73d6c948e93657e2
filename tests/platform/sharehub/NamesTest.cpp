// What putting, getting, aliases and generation errors do to a Guid, in every state it can be in.

#include "BrokerFixture.h"

namespace framebroker {

using NamesTest = ClientTest;

constexpr std::uint64_t kSize = 100'001; // no multiple of a page

/// Leaves a block under id whose only holder was killed.
void LeaveDeadBlock(const Guid& id, const std::vector<Guid>& aliases = {}) {
    ASSERT_NE(Wait(Spawn([&] {
                  Readable reference;
                  bool done = InitializeClient() && PutBlock(id, kSize, 9) == 0 && Get(id, reference) == 0;
                  for (const Guid& alias : aliases) {
                      done = done && MakeBinaryDataAlias(id, reference, alias) == 0;
                  }
                  ::raise(done ? SIGKILL : SIGABRT);
                  return true;
              })),
              SIGABRT);
}

TEST_F(NamesTest, PutMakesTheBytesReadableWhileThePointerIsAcquired) {
    const Writable block = MakeBlock(kSize, 5);
    ASSERT_TRUE(block);
    EXPECT_EQ(block->GetSize(), kSize);
    void* const data = block->AcquireDataPointer();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 4096, 0U);
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), block), kResult_Success);
    Readable reference;
    ASSERT_EQ(Get(Id(1), reference), kResult_Success);
    EXPECT_TRUE(Holds(reference, kSize, 5));
    EXPECT_EQ(block->GetSize(), kSize);
    block->ReleaseDataPointer(data);
    // A second put of one block is a second name.
    EXPECT_EQ(PutCompletedBinaryData(Id(1), block), kResult_NameInUse);
    EXPECT_EQ(PutCompletedBinaryData(Id(2), block), kResult_Success);
    EXPECT_EQ(Get(Id(2), reference), kResult_Success);
    EXPECT_TRUE(Holds(reference, kSize, 5));
}

TEST_F(NamesTest, BadArgumentsAreRefusedAndEmptyTheReference) {
    Writable writable = MakeBlock(1, 1);
    EXPECT_EQ(GetWritableBinaryData(0, writable), kResult_BadArgument);
    EXPECT_FALSE(writable);
    EXPECT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_BadArgument);
    writable = MakeBlock(1, 1);
    EXPECT_EQ(PutCompletedBinaryData(Guid(), writable), kResult_BadArgument);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_Success);
    Readable reference;
    ASSERT_EQ(Get(Id(1), reference), kResult_Success);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), Readable(), Id(2)), kResult_BadArgument);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Guid()), kResult_BadArgument);
    EXPECT_EQ(MakeBinaryDataAlias(Id(3), reference, Id(2)), kResult_NotFound);
    EXPECT_EQ(Get(Guid(), reference), kResult_BadArgument);
    EXPECT_FALSE(reference);
    EXPECT_EQ(PutBinaryDataGenerationError(Guid(), 1), kResult_BadArgument);
}

TEST_F(NamesTest, ANameThatIsAliveIsNeverReplaced) {
    ASSERT_EQ(PutBlock(Id(1), kSize, 1), kResult_Success);
    ASSERT_EQ(PutBlock(Id(2), kSize, 2), kResult_Success);
    Readable first;
    ASSERT_EQ(Get(Id(1), first), kResult_Success);
    EXPECT_EQ(PutBlock(Id(1), kSize, 3), kResult_NameInUse);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), first, Id(2)), kResult_NameInUse);
    EXPECT_EQ(PutBinaryDataGenerationError(Id(1), -1), kResult_Success);
    std::int32_t code = 77;
    EXPECT_EQ(GetGenerationError(Id(1), code), kResult_NotFound);
    EXPECT_EQ(code, 77);
    Readable again;
    ASSERT_EQ(Get(Id(1), again), kResult_Success);
    EXPECT_TRUE(Holds(again, kSize, 1));
    ASSERT_EQ(Get(Id(2), again), kResult_Success);
    EXPECT_TRUE(Holds(again, kSize, 2));
}

TEST_F(NamesTest, ADeadNameIsFreeForEveryOperation) {
    const auto check = [](const char* what, auto operation) {
        SCOPED_TRACE(what);
        LeaveDeadBlock(Id(1), {Id(2), Id(3)});
        operation();
    };
    check("get", [&] {
        EXPECT_EQ(ResultOfGet(Id(2)), kResult_NotFound);
        EXPECT_EQ(Entries().size(), 0U) << "the other names and their list go with it";
    });
    check("put", [&] {
        ASSERT_EQ(PutBlock(Id(3), kSize, 4), kResult_Success);
        Readable reference;
        ASSERT_EQ(Get(Id(3), reference), kResult_Success);
        EXPECT_TRUE(Holds(reference, kSize, 4));
        EXPECT_EQ(Entries().size(), 1U);
        SetPutBudget(0);
        SetPutBudget(kDefaultPutBudget);
    });
    check("generation error", [&] {
        std::int32_t code = 0;
        EXPECT_EQ(PutBinaryDataGenerationError(Id(2), -5), kResult_Success);
        EXPECT_EQ(GetGenerationError(Id(2), code), kResult_Success);
        EXPECT_EQ(code, -5);
    });
    check("alias", [&] {
        ASSERT_EQ(PutBlock(Id(4), kSize, 6), kResult_Success);
        Readable reference;
        ASSERT_EQ(Get(Id(4), reference), kResult_Success);
        EXPECT_EQ(MakeBinaryDataAlias(Id(4), reference, Id(1)), kResult_Success);
        ASSERT_EQ(Get(Id(1), reference), kResult_Success);
        EXPECT_TRUE(Holds(reference, kSize, 6));
    });
    LeaveDeadBlock(Id(7), {Id(8)});
    EXPECT_EQ(SweepDeadBlocks(), 2U);
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
    ASSERT_EQ(PutBlock(Id(1), kSize, 1), kResult_Success);
    Readable reference;
    ASSERT_EQ(Get(Id(1), reference), kResult_Success);
    ASSERT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_Success);
    EXPECT_EQ(GetGenerationError(Id(1), code), kResult_NotFound);
    EXPECT_EQ(GetGenerationError(Id(2), code), kResult_NotFound);
    reference.reset();
    SetPutBudget(0);
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_NotFound) << "an error does not come back when the data goes";
    ASSERT_EQ(PutBinaryDataGenerationError(Id(1), -3), kResult_Success);
    // Another client sees it, and its end does not take it away while this one is left.
    EXPECT_EQ(Wait(Spawn([] {
                  std::int32_t seen = 0;
                  const bool same = InitializeClient() && GetGenerationError(Id(1), seen) == 0 && seen == -3;
                  UninitializeClient();
                  return same;
              })),
              0);
    EXPECT_EQ(ResultOfGet(Id(1)), kResult_GenerationError);
}

TEST_F(NamesTest, AliasesLiveAsLongAsTheBlock) {
    SetPutBudget(0);
    Writable writable = MakeBlock(kSize, 8);
    ASSERT_EQ(PutCompletedBinaryData(Id(0), writable), kResult_Success);
    Readable reference;
    ASSERT_EQ(Get(Id(0), reference), kResult_Success);
    writable.reset();
    constexpr std::uint32_t kAliases = 300; // more than one read of the list
    for (std::uint32_t n = 1; n < kAliases; ++n) {
        ASSERT_EQ(MakeBinaryDataAlias(Id(n - 1), reference, Id(n)), kResult_Success);
        // From now on held under its newest name only.
        ASSERT_EQ(Get(Id(n), reference), kResult_Success);
    }
    EXPECT_TRUE(Holds(reference, kSize, 8));
    EXPECT_EQ(Entries().size(), kAliases + 1);
    reference.reset();
    EXPECT_EQ(Entries().size(), 0U);
    EXPECT_EQ(ResultOfGet(Id(5)), kResult_NotFound);
}

} // namespace framebroker
