// Several processes and threads at once: hand-over, simultaneous ends, kills, stops and forks.

#include "RandomClient.h"

#include <thread>

namespace framebroker {

using ProcessesTest = ClientTest;

TEST_F(ProcessesTest, AStoppedMakerBlocksNobodyAndBlocksOutliveIt) {
    const pid_t maker = Spawn([] {
        const bool put = InitializeClient() && PutBlock(Id(1), 70'000, 42) == kResult_Success;
        ::raise(SIGSTOP);
        UninitializeClient();
        return put;
    });
    WaitUntilStopped(maker);
    const Readable reference = Open(Id(1));
    EXPECT_EQ(PutBlock(Id(1), 100, 2), kResult_NameInUse);
    EXPECT_EQ(PutBlock(Id(3), 100, 2), kResult_Success);
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_Success);
    EXPECT_EQ(SweepDeadBlocks(), 0U);
    ::kill(maker, SIGCONT);
    EXPECT_EQ(Wait(maker), 0);
    EXPECT_TRUE(TrueInClientProcess([] { return Holds(Open(Id(2)), 70'000, 42); }));
    // The page tables say that nobody can write what was put.
    EXPECT_EQ(Wait(Spawn([] {
                  const Readable block = InitializeClient() ? Open(Id(2)) : nullptr;
                  const void* const data = block ? block->AcquireDataPointer() : nullptr;
                  if (data) {
                      ::signal(SIGSEGV, SIG_DFL); // a sanitizer would answer it in its own way
                      *static_cast<volatile char*>(const_cast<void*>(data)) = 1;
                  }
                  return true;
              })) &
                  0x7f,
              SIGSEGV);
    EXPECT_TRUE(Holds(reference, 70'000, 42));
}

TEST_F(ProcessesTest, AForkedChildHoldsNothingOfItsParents) {
    ASSERT_EQ(PutBinaryDataGenerationError(Id(9), -9), kResult_Success);
    Writable writable = MakeBlock(100, 1);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_Success);
    Readable reference = Open(Id(1));
    const Counter steps;
    const pid_t child = Spawn([&] {
        bool good = ResultOfGet(Id(1)) == kResult_NotInitialized && GetClientStatistics().keptPuts == 0;
        good = good && reference->AcquireDataPointer() == nullptr && reference->GetSize() == 0;
        good = good && InitializeClient() && ResultOfGet(Id(1)) == kResult_Success;
        good = good && PutCompletedBinaryData(Id(2), writable) == kResult_BadArgument;
        good = good && MakeBinaryDataAlias(Id(1), reference, Id(2)) == kResult_BadArgument;
        // Where the parent's mapping was there may be something else by now.
        void* const page = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        writable.reset();
        reference.reset();
        std::memset(page, 1, 4096);
        UninitializeClient();
        ++*steps;
        WaitUntil(steps, 2);
        return good;
    });
    WaitUntil(steps, 1);
    EXPECT_TRUE(Holds(reference, 100, 1));
    EXPECT_EQ(Entries().size(), 2U) << "the child has removed nothing";
    writable.reset();
    reference.reset();
    UninitializeClient();
    EXPECT_EQ(Entries(), std::vector<std::string>()) << "while the child still lives";
    ++*steps;
    EXPECT_EQ(Wait(child), 0);
}

TEST_F(ProcessesTest, ThreadsShareOneClientAndMayFork) {
    const Counter stop;
    std::vector<std::thread> threads;
    for (unsigned n = 0; n < 4; ++n) {
        threads.emplace_back([&, n] {
            for (RandomClient client(n); stop->load() == 0;) {
                ASSERT_TRUE(client.Step());
            }
        });
    }
    // A child that lives on must not have caught a thread with a locked file open.
    std::vector<pid_t> children;
    for (unsigned n = 0; n < 20; ++n) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        children.push_back(Spawn([&] { return WaitUntil(stop, 2), true; }));
    }
    ++*stop;
    for (std::thread& thread : threads) {
        thread.join();
    }
    UninitializeClient();
    EXPECT_EQ(AllEntries(), std::vector<std::string>());
    ++*stop;
    for (const pid_t child : children) {
        EXPECT_EQ(Wait(child), 0);
    }
}

} // namespace framebroker
