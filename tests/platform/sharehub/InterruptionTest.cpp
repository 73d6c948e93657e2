// Processes that are killed or stopped at each single system call of each operation.

#include "BrokerFixture.h"

#include <sys/ptrace.h>

#include <functional>

namespace framebroker {

namespace {

constexpr std::uint64_t kSize = 10'000;

/// A process that runs prepare, and operate one system call after the other.
class SteppedProcess {
public:
    template <class Prepare, class Operate>
    SteppedProcess(Prepare prepare, Operate operate) {
        mChild = Spawn([&] {
            const bool good = InitializeClient() && prepare() && ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
            ::raise(good ? SIGSTOP : SIGABRT);
            const bool right = operate();
            UninitializeClient();
            return right;
        });
        WaitUntilStopped(mChild);
    }
    SteppedProcess(const SteppedProcess&) = delete;
    ~SteppedProcess() { EXPECT_EQ(mChild, -1); }

    /// Goes on to the end of the given number of system calls. False when the process has ended before.
    bool Advance(unsigned calls) {
        for (unsigned stops = 0; stops < 2 * calls; ++stops) {
            int status = 0;
            ::ptrace(PTRACE_SYSCALL, mChild, nullptr, nullptr);
            EXPECT_EQ(::waitpid(mChild, &status, 0), mChild);
            if (!WIFSTOPPED(status)) {
                EXPECT_EQ(status, 0);
                mChild = -1;
                return false;
            }
        }
        return true;
    }

    void Kill() {
        ::kill(mChild, SIGKILL);
        EXPECT_EQ(Wait(std::exchange(mChild, -1)), SIGKILL);
    }

    void Finish() {
        if (mChild == -1) {
            return;
        }
        ::ptrace(PTRACE_DETACH, mChild, nullptr, nullptr);
        EXPECT_EQ(Wait(std::exchange(mChild, -1)), 0);
    }

private:
    pid_t mChild = -1;
};

bool PutAndRead(const Guid& id, std::uint64_t sizeInBytes) {
    return PutBlock(id, sizeInBytes, 4) == kResult_Success && Holds(Open(id), sizeInBytes, 4);
}

/// What a process does while somebody else holds, and may let go of, a block under Id(1). Some begin with a reference
/// of their own to it. False when a result is wrong. A listing, which changes nothing, is left out.
const struct {
    const char* name;
    bool holds;
    std::function<bool(Readable&)> operate;
} kOperations[] = {
    {"look", false,
     [](Readable& held) {
         const std::int32_t result = GetBinaryDataIfAvailable(Id(1), held);
         return result == kResult_NotFound || (result == kResult_Success && Holds(held, kSize, 1));
     }},
    {"let go", true, [](Readable& held) { return held.reset(), true; }},
    {"alias", true,
     [](Readable& held) {
         return MakeBinaryDataAlias(Id(1), held, Id(2)) == 0 && MakeBinaryDataAlias(Id(2), held, Id(3)) == 0 &&
                Holds(Open(Id(3)), kSize, 1);
     }},
    {"put", false, [](Readable&) { return PutAndRead(Id(4), kSize); }},
    {"put over an error", false, [](Readable&) { return PutAndRead(Id(5), kSize); }},
    {"put over data", false, [](Readable&) { return PutBlock(Id(1), kSize, 1), true; }},
    {"put twice", false, [](Readable&) { return PutAndRead(Id(7), kSize) && PutAndRead(Id(8), 2 * kSize); }},
    {"make", false,
     [](Readable&) {
         const Writable block = MakeBlock(kSize, 1);
         return block && block->GetSize() == kSize;
     }},
    {"error", false,
     [](Readable&) {
         return PutBinaryDataGenerationError(Id(1), -1) == 0 && PutBinaryDataGenerationError(Id(6), -6) == 0;
     }},
    {"sweep", false, [](Readable&) { return SweepDeadBlocks(), true; }},
    {"wait", false,
     [](Readable& held) { return WaitForBinaryData(Id(13), std::chrono::milliseconds(1), held) == kResult_TimedOut; }},
};

} // namespace

/// Runs with each of the operations.
class InterruptionTest : public ClientTest, public ::testing::WithParamInterface<int> {
protected:
    /// Calls body with a process that has done more and more of the operation, until it has done all.
    void AtEachSystemCall(const std::function<void(SteppedProcess&, Readable& held)>& body) {
        const auto& operation = kOperations[GetParam()];
        for (unsigned calls = 0, more = 1; more != 0 && !HasFailure(); ++calls) {
            SCOPED_TRACE("after " + std::to_string(calls) + " system calls");
            ASSERT_EQ(PutBinaryDataGenerationError(Id(5), -5), kResult_Success);
            Readable held = PutAndOpen(Id(1), kSize, 1);
            MakeBlock(5 * kSize, 0); // idle from now on
            DropPuts();
            Readable childs;
            SteppedProcess child(
                [&] {
                    SetPutBudget(2 * kSize);
                    childs = Open(Id(1));
                    const bool good = Holds(childs, kSize, 1);
                    operation.holds ? void() : childs.reset(); // the mapping stays
                    return good;
                },
                [&] {
                    const bool right = operation.operate(childs);
                    childs.reset();
                    return right;
                });
            more = child.Advance(calls) ? 1 : 0;
            if (more != 0) {
                body(child, held);
            }
        }
    }

    std::vector<std::string> EntriesButErrors() const {
        std::vector<std::string> entries = Entries();
        std::erase_if(entries, [](const std::string& entry) { return entry.starts_with("error-"); });
        return entries;
    }
};

TEST_P(InterruptionTest, TheKilledLeaveNothingThatASweepDoesNotFind) {
    AtEachSystemCall([&](SteppedProcess& child, Readable& held) {
        child.Kill();
        EXPECT_TRUE(Holds(held, kSize, 1)) << "what others hold stays";
        EXPECT_TRUE(Holds(Open(Id(1)), kSize, 1)) << "under its name";
        held.reset();
        SweepDeadBlocks();
        EXPECT_EQ(EntriesButErrors(), std::vector<std::string>());
        for (std::uint32_t id = 1; id < 9; ++id) {
            EXPECT_EQ(PutBlock(Id(id), kSize, 2), kResult_Success) << id;
        }
        DropPuts();
    });
}

TEST_P(InterruptionTest, TheStoppedHoldNobodyUpAndNothingIsLeftOnceTheyGoOn) {
    enum Meanwhile { MemoryIsUsedAgain, AndLetGo, ClientEnds };
    for (const Meanwhile meanwhile : {MemoryIsUsedAgain, AndLetGo, ClientEnds}) {
        SCOPED_TRACE(meanwhile);
        AtEachSystemCall([&](SteppedProcess& child, Readable& held) {
            EXPECT_TRUE(Holds(Open(Id(1)), kSize, 1));
            EXPECT_EQ(PutBlock(Id(10), kSize, 3), kResult_Success);
            EXPECT_EQ(MakeBinaryDataAlias(Id(10), Open(Id(10)), Id(11)), kResult_Success);
            EXPECT_EQ(PutBinaryDataGenerationError(Id(12), -1), kResult_Success);
            Readable data = PutAndOpen(Id(6), kSize, 6);
            SweepDeadBlocks();
            held.reset();
            std::vector<Readable> others;
            if (meanwhile == ClientEnds) {
                UninitializeClient();
                ASSERT_TRUE(InitializeClient());
            } else {
                DropPuts();
                for (std::uint32_t n = 20; n < 24; ++n) {
                    others.push_back(PutAndOpen(Id(n), kSize, 7));
                }
                // Another block under a name that has been looked up, unless its block is still held.
                static_cast<void>(PutBlock(Id(1), kSize, 1));
                others.push_back(Open(Id(1)));
                DropPuts();
            }
            EXPECT_EQ(ResultOfGet(Id(10)), kResult_NotFound);
            if (meanwhile == AndLetGo) {
                child.Advance(3); // from opening a name to having the lock
                others.clear();
            }
            // No sweep after this: of those that let go at the same moment the last one removes the block, wherever it
            // was stopped.
            child.Finish();
            others.clear();
            EXPECT_FALSE(std::filesystem::is_symlink(mDirectory / ("error-" + Id(6).ToString()))) << "beside data";
            data.reset();
            EXPECT_EQ(EntriesButErrors(), std::vector<std::string>());
            EXPECT_EQ(List().blocks.size(), GetClientStatistics().idleBlocks);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, InterruptionTest, ::testing::Range(0, static_cast<int>(std::size(kOperations))),
                         [](const auto& operation) {
                             std::string name = kOperations[operation.param].name;
                             std::ranges::replace(name, ' ', '_');
                             return name;
                         });

} // namespace framebroker
