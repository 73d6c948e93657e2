// Several processes and threads at once: hand-over, simultaneous ends, kills, stops and forks.

#include "BrokerFixture.h"

#include <sched.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

namespace framebroker {

using ProcessesTest = ClientTest;

/// Memory that processes forked later share.
template <class T>
class Shared {
public:
    Shared()
        : mValue(std::construct_at(
              static_cast<T*>(::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))) {
    }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() { ::munmap(mValue, sizeof(T)); }
    T& operator*() const { return *mValue; }

private:
    T* mValue;
};

using Counter = Shared<std::atomic<unsigned>>;

void WaitUntil(const Counter& counter, unsigned value) {
    while ((*counter).load() < value) {
        ::sched_yield();
    }
}

TEST_F(ProcessesTest, BlocksCrossProcessesAndOutliveTheirMaker) {
    const Counter steps;
    const pid_t maker = Spawn([&] {
        const bool put = InitializeClient() && PutBlock(Id(1), 70'000, 42) == kResult_Success;
        ++*steps;
        WaitUntil(steps, 2);
        UninitializeClient();
        return put;
    });
    WaitUntil(steps, 1);
    Readable reference;
    ASSERT_EQ(Get(Id(1), reference), kResult_Success);
    ++*steps;
    EXPECT_EQ(Wait(maker), 0);
    EXPECT_TRUE(Holds(reference, 70'000, 42));
    EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_Success);
    EXPECT_EQ(Wait(Spawn([] {
                  Readable alias;
                  const bool same = InitializeClient() && Get(Id(2), alias) == 0 && Holds(alias, 70'000, 42);
                  alias.reset();
                  UninitializeClient();
                  return same;
              })),
              0);
    // The page tables say that nobody can write what was put.
    const void* const data = reference->AcquireDataPointer();
    EXPECT_TRUE(WIFSIGNALED(Wait(Spawn([&] {
        const bool opened = InitializeClient() && Get(Id(2), reference) == 0;
        if (opened) {
            ::signal(SIGSEGV, SIG_DFL); // a sanitizer would answer it in its own way
            *static_cast<volatile char*>(const_cast<void*>(reference->AcquireDataPointer())) = 1;
        }
        return true;
    }))));
    reference->ReleaseDataPointer(data);
    EXPECT_TRUE(Holds(reference, 70'000, 42));
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
    for (const pid_t child : children) {
        EXPECT_EQ(Wait(child), 0);
    }
}

TEST_F(ProcessesTest, OfSeveralLastHoldersExactlyOneRemovesTheBlock) {
    RunTogether(4, [&](unsigned self, auto meet) {
        bool good = true;
        std::mt19937 random(self);
        SetPutBudget(0);
        for (unsigned round = 0; round < 300; ++round) {
            const Guid id = Id(round);
            const auto seed = static_cast<unsigned char>(round);
            Writable writable;
            Readable reference;
            if (self == 0) {
                writable = MakeBlock(5000, seed);
                good = good && PutCompletedBinaryData(id, writable) == kResult_Success;
            }
            meet();
            // Half of the processes hold, the others only look at the name while the holders let go.
            const bool holds = self < 2;
            if (holds) {
                good = good && Get(id, reference) == kResult_Success && Holds(reference, 5000, seed);
                good = good &&
                       (round % 2 == 0 || MakeBinaryDataAlias(id, reference, Id(10'000 * (self + 1) + round)) == 0);
            }
            meet();
            writable.reset();
            reference.reset();
            // A later look would remove what an earlier one left behind, so there is only one, at a moment of its own.
            for (unsigned pause = random() % 3000; !holds && pause > 0; --pause) {
                std::atomic_signal_fence(std::memory_order_seq_cst);
            }
            if (!holds) {
                self == 2 ? ResultOfGet(id) : PutBinaryDataGenerationError(id, -1);
            }
            meet();
            for (const std::string& entry : Entries()) {
                good = good && entry.starts_with("error-");
            }
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
    constexpr std::uint64_t kSize = 40'000;
    std::mt19937 random(seed);
    std::array<Readable, 4> held;
    bool good = InitializeClient();
    SetPutBudget(6 * kSize);
    while (good && (*stop).load() == 0) {
        const Guid id = Id(random() % 8);
        Readable& reference = held[random() % held.size()];
        std::int32_t result = 0;
        switch (random() % 7) {
        case 0:
            result = PutBlock(id, kSize, static_cast<unsigned char>(random()));
            good = result == kResult_Success || result == kResult_NameInUse;
            break;
        case 1:
        case 2:
            result = Get(id, reference);
            good = result == kResult_NotFound || result == kResult_GenerationError ||
                   (result == kResult_Success &&
                    Holds(reference, kSize, *static_cast<const unsigned char*>(reference->AcquireDataPointer())));
            break;
        case 3:
            result = reference ? MakeBinaryDataAlias(id, reference, Id(random() % 8)) : 0;
            good = result == kResult_Success || result == kResult_NotFound || result == kResult_NameInUse;
            break;
        case 4:
            good = PutBinaryDataGenerationError(id, static_cast<std::int32_t>(random())) == kResult_Success;
            break;
        case 5:
            reference.reset();
            break;
        case 6:
            SweepDeadBlocks();
            break;
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
        for (const std::string& entry : Entries()) {
            EXPECT_TRUE(entry.starts_with("error-")) << entry;
        }
    }
}

TEST_F(ProcessesTest, AStoppedHolderBlocksNobody) {
    const Counter steps;
    const pid_t holder = Spawn([&] {
        Readable reference;
        InitializeClient() && PutBlock(Id(1), 100, 1) == 0 && Get(Id(1), reference) == 0;
        ++*steps;
        ::raise(SIGSTOP);
        return true;
    });
    WaitUntil(steps, 1);
    int status = 0;
    ASSERT_EQ(::waitpid(holder, &status, WUNTRACED), holder);
    ASSERT_TRUE(WIFSTOPPED(status));
    for (std::uint32_t n = 0; n < 50; ++n) {
        Readable reference;
        ASSERT_EQ(Get(Id(1), reference), kResult_Success);
        EXPECT_TRUE(Holds(reference, 100, 1));
        EXPECT_EQ(PutBlock(Id(1), 100, 2), kResult_NameInUse);
        EXPECT_EQ(PutBlock(Id(2 + n), 100, 2), kResult_Success);
        EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(100 + n)), kResult_Success);
    }
    EXPECT_EQ(SweepDeadBlocks(), 0U);
    ::kill(holder, SIGKILL);
    Wait(holder);
    EXPECT_EQ(SweepDeadBlocks(), 51U);
}

TEST_F(ProcessesTest, AForkedChildHoldsNothingOfItsParents) {
    ASSERT_EQ(PutBinaryDataGenerationError(Id(9), -9), kResult_Success);
    Writable writable = MakeBlock(100, 1);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), writable), kResult_Success);
    Readable reference;
    ASSERT_EQ(Get(Id(1), reference), kResult_Success);
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
        children.push_back(Spawn([&] {
            WaitUntil(stop, 2);
            return true;
        }));
    }
    ++*stop;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(good);
    UninitializeClient();
    EXPECT_EQ(Entries(), std::vector<std::string>());
    ++*stop;
    for (const pid_t child : children) {
        EXPECT_EQ(Wait(child), 0);
    }
}

} // namespace framebroker
