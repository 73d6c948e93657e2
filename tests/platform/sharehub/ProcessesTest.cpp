// Several processes and threads at once: hand-over, simultaneous ends, kills, stops and forks.

#include "BrokerFixture.h"

#include <sched.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace framebroker {

using ProcessesTest = ClientTest;

/// A count that processes forked later share.
class Counter {
public:
    Counter()
        : mPage(::mmap(nullptr, sizeof(std::atomic<unsigned>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                       0)) {}
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;
    ~Counter() { ::munmap(mPage, sizeof(std::atomic<unsigned>)); }
    std::atomic<unsigned>& operator*() const { return *static_cast<std::atomic<unsigned>*>(mPage); }

private:
    void* mPage;
};

void WaitUntil(const Counter& counter, unsigned value) {
    while ((*counter).load() < value) {
        ::sched_yield();
    }
}

TEST_F(ProcessesTest, AStoppedMakerBlocksNobodyAndBlocksOutliveIt) {
    const pid_t maker = Spawn([] {
        const bool put = InitializeClient() && PutBlock(Id(1), 70'000, 42) == kResult_Success;
        ::raise(SIGSTOP);
        UninitializeClient();
        return put;
    });
    int status = 0;
    ASSERT_EQ(::waitpid(maker, &status, WUNTRACED), maker);
    ASSERT_TRUE(WIFSTOPPED(status));
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

bool OnlyErrors(const std::vector<std::string>& entries) {
    return std::ranges::all_of(entries, [](const std::string& entry) { return entry.starts_with("error-"); });
}

/// Waits for processes that must all have ended well.
void ExpectAllWell(const std::vector<pid_t>& children) {
    for (const pid_t child : children) {
        EXPECT_EQ(Wait(child), 0);
    }
}

/// Runs the same steps in several processes, each of which waits for the others wherever it meets them.
template <class Body>
void RunTogether(unsigned processes, Body body) {
    const Counter arrivals;
    std::vector<pid_t> children;
    for (unsigned self = 0; self < processes; ++self) {
        children.push_back(Spawn([&] {
            unsigned meetings = 0;
            const auto meet = [&] {
                ++*arrivals;
                WaitUntil(arrivals, ++meetings * processes);
            };
            const bool good = InitializeClient() && body(self, meet);
            UninitializeClient();
            return good;
        }));
    }
    ExpectAllWell(children);
}

TEST_F(ProcessesTest, OfSeveralLastHoldersExactlyOneRemovesTheBlock) {
    RunTogether(4, [&](unsigned self, auto meet) {
        bool good = true;
        std::mt19937 random(self);
        SetPutBudget(0);
        for (unsigned round = 0; round < 300; ++round) {
            const Guid id = Id(round);
            const auto seed = static_cast<unsigned char>(round);
            Writable writable = self == 0 ? MakeBlock(5000, seed) : nullptr;
            Readable reference;
            good = good && (self != 0 || PutCompletedBinaryData(id, writable) == kResult_Success);
            meet();
            // Half of the processes hold, the others only look at the name while the holders let go.
            if (self < 2) {
                reference = Open(id);
                good = good && Holds(reference, 5000, seed) &&
                       (round % 2 == 0 || MakeBinaryDataAlias(id, reference, Id(10'000 * (self + 1) + round)) == 0);
            }
            meet();
            writable.reset();
            reference.reset();
            // A later look would remove what an earlier one left behind, so there is only one, at a moment of its own.
            for (unsigned pause = random() % 3000; self >= 2 && pause > 0; --pause) {
                std::atomic_signal_fence(std::memory_order_seq_cst);
            }
            self < 2 ? 0 : self == 2 ? ResultOfGet(id) : PutBinaryDataGenerationError(id, -1);
            meet();
            good = good && OnlyErrors(Entries());
            meet();
        }
        return good;
    });
}

TEST_F(ProcessesTest, AnErrorNeverStandsBesideData) {
    RunTogether(2, [&](unsigned self, auto meet) {
        bool good = true;
        for (unsigned round = 0; round < 1000; ++round) {
            const Guid id = Id(round);
            meet();
            good = good && (self == 0 ? PutBlock(id, 10, 1) : PutBinaryDataGenerationError(id, -1)) == kResult_Success;
            meet();
            good = good && !std::filesystem::is_symlink(mDirectory / ("error-" + id.ToString()));
        }
        return good;
    });
}

/// Does what clients do, at random over few Guids, until told to stop. False when something is not as it must be: bytes
/// of two blocks mixed, a name that leads to a block half made, an error that the interface does not foresee.
bool ActAtRandom(unsigned seed, const Counter& stop) {
    constexpr std::uint64_t kBytes = 40'000;
    const auto oneOf = [](std::int32_t result, std::initializer_list<std::int32_t> allowed) {
        return std::ranges::count(allowed, result) == 1;
    };
    std::mt19937 random(seed);
    std::array<Readable, 4> held;
    bool good = InitializeClient();
    SetPutBudget(6 * kBytes);
    while (good && (*stop).load() == 0) {
        const Guid id = Id(random() % 8);
        Readable& reference = held[random() % held.size()];
        const unsigned action = random() % 7;
        if (action == 0) {
            good = oneOf(PutBlock(id, kBytes, static_cast<unsigned char>(random())), {0, kResult_NameInUse});
        } else if (action < 3) {
            const std::int32_t result = GetBinaryDataIfAvailable(id, reference);
            good = result == 0 ? reference && Holds(reference, kBytes,
                                                    *static_cast<const unsigned char*>(reference->AcquireDataPointer()))
                               : !reference && oneOf(result, {kResult_NotFound, kResult_GenerationError});
        } else if (action == 3 && reference) {
            good =
                oneOf(MakeBinaryDataAlias(id, reference, Id(random() % 8)), {0, kResult_NotFound, kResult_NameInUse});
        } else if (action == 4) {
            good = PutBinaryDataGenerationError(id, static_cast<std::int32_t>(random())) == kResult_Success;
        } else if (action == 5) {
            reference.reset();
        } else if (action == 6) {
            SweepDeadBlocks();
        }
    }
    held = {};
    UninitializeClient();
    return good;
}

TEST_F(ProcessesTest, NothingOfTheKilledRemainsAndTheLivingAreNotDisturbed) {
    std::mt19937 random(20240229);
    for (unsigned round = 0; round < 60; ++round) {
        const Counter stop;
        std::vector<pid_t> doomed;
        for (unsigned n = 0; n < 3; ++n) {
            const unsigned seed = random();
            doomed.push_back(Spawn([&] { return ActAtRandom(seed, stop); }));
        }
        const pid_t survivor = Spawn([&] { return ActAtRandom(round, stop); });
        for (const pid_t child : doomed) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
            ::kill(child, SIGKILL);
            const int status = Wait(child);
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "found a fault: " << status;
        }
        ++*stop;
        EXPECT_EQ(Wait(survivor), 0);
        SweepDeadBlocks();
        EXPECT_TRUE(OnlyErrors(Entries())) << testing::PrintToString(Entries());
    }
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
    std::atomic<bool> good{true};
    std::vector<std::thread> threads;
    for (unsigned n = 0; n < 4; ++n) {
        threads.emplace_back([&, n] { good = ActAtRandom(n, stop) && good; });
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
    EXPECT_TRUE(good);
    UninitializeClient();
    EXPECT_TRUE(Entries().empty());
    ++*stop;
    ExpectAllWell(children);
}

} // namespace framebroker
