// Waiting for a Guid and for changes of the directory.

#include "BrokerFixture.h"

#include <sys/resource.h>

#include <thread>

namespace framebroker {

using WaitTest = ClientTest;
using namespace std::chrono_literals;

namespace {

/// Long enough that only a wait that nobody wakes reaches it.
constexpr auto kLong = 100s;

std::int32_t ResultOfWait(const Guid& id, std::chrono::milliseconds timeout) {
    Readable reference;
    const std::int32_t result = WaitForBinaryData(id, timeout, reference);
    EXPECT_EQ(result == kResult_Success, reference != nullptr);
    return result;
}

/// Waits until the main thread of a process, which has announced that it is about to wait, sleeps.
void WaitUntilAsleep(pid_t child) {
    for (int asleep = 0; asleep < 20;) {
        std::ifstream file("/proc/" + std::to_string(child) + "/task/" + std::to_string(child) + "/stat");
        const std::string text(std::istreambuf_iterator<char>(file), {});
        asleep = text.find(") S ") != std::string::npos ? asleep + 1 : 0;
        std::this_thread::sleep_for(1ms);
    }
}

/// A process that waits for a Guid on three threads and expects the given result on each.
pid_t SpawnWaiter(const Guid& id, std::int32_t expected) {
    const pid_t child = Spawn([&] {
        std::atomic<bool> good{InitializeClient()};
        const auto wait = [&] { ResultOfWait(id, kLong) == expected ? void() : good.store(false); };
        std::jthread second(wait), third(wait);
        wait();
        second.join(), third.join();
        UninitializeClient();
        return good.load();
    });
    WaitUntilAsleep(child);
    return child;
}

} // namespace

TEST_F(WaitTest, EndsWithWhateverComesUnderTheGuid) {
    EXPECT_EQ(ResultOfWait(Guid(), kLong), kResult_BadArgument);
    for (const auto timeout : {-5ms, 0ms, 1ms, 30ms}) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(ResultOfWait(Id(1), timeout), kResult_TimedOut);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, timeout);
    }
    const pid_t forData = SpawnWaiter(Id(1), kResult_Success);
    const pid_t alsoForData = SpawnWaiter(Id(1), kResult_Success);
    const pid_t killed = SpawnWaiter(Id(1), kResult_Success);
    ::kill(killed, SIGKILL);
    EXPECT_EQ(Wait(killed), SIGKILL);
    const pid_t forAlias = SpawnWaiter(Id(2), kResult_Success);
    const pid_t forSecondPut = SpawnWaiter(Id(3), kResult_Success);
    const pid_t forError = SpawnWaiter(Id(4), kResult_GenerationError);
    const Writable block = MakeBlock(5000, 1);
    ASSERT_EQ(PutCompletedBinaryData(Id(1), block), kResult_Success);
    ASSERT_EQ(MakeBinaryDataAlias(Id(1), Open(Id(1)), Id(2)), kResult_Success);
    ASSERT_EQ(PutCompletedBinaryData(Id(3), block), kResult_Success);
    ASSERT_EQ(PutBinaryDataGenerationError(Id(4), -4), kResult_Success);
    for (const pid_t waiter : {forData, alsoForData, forAlias, forSecondPut, forError}) {
        EXPECT_EQ(Wait(waiter), 0);
    }
    // What is there already is had at once.
    for (const auto timeout : {0ms, 1ms, kNoTimeLimit}) {
        EXPECT_EQ(ResultOfWait(Id(2), timeout), kResult_Success);
        EXPECT_EQ(ResultOfWait(Id(4), timeout), kResult_GenerationError);
    }
}

TEST_F(WaitTest, TellsThatDataHasComeAndGone) {
    for (const bool byAlias : {false, true}) {
        const Readable other = PutAndOpen(Id(9), 10, 1);
        const pid_t waiter = SpawnWaiter(Id(1), kResult_Gone);
        WaitUntilStopped(waiter, true);
        if (byAlias) {
            Readable block = PutAndOpen(Id(2), 5000, 1);
            ASSERT_EQ(MakeBinaryDataAlias(Id(2), block, Id(1)), kResult_Success);
        } else {
            ASSERT_EQ(PutBlock(Id(1), 5000, 1), kResult_Success);
        }
        DropPuts();
        ASSERT_EQ(ResultOfGet(Id(1)), kResult_NotFound);
        ::kill(waiter, SIGCONT);
        EXPECT_EQ(Wait(waiter), 0);
    }
}

TEST_F(WaitTest, SleepsUntilTheEndOfTheClient) {
    EXPECT_TRUE(TrueInClientProcess([] {
        struct rusage before {
        }, after{};
        ::getrusage(RUSAGE_THREAD, &before);
        const bool timedOut = ResultOfWait(Id(1), 1s) == kResult_TimedOut;
        ::getrusage(RUSAGE_THREAD, &after);
        return timedOut && after.ru_nvcsw - before.ru_nvcsw < 10;
    })) << "polls";
    EXPECT_TRUE(TrueInClientProcess([] {
        std::vector<std::thread> threads;
        std::atomic<unsigned> ready{0}, ended{0};
        for (unsigned n = 0; n < 8; ++n) {
            threads.emplace_back([&, n] {
                ++ready;
                ended += ResultOfWait(Id(n), n % 2 == 0 ? kNoTimeLimit : kLong) == kResult_NotInitialized;
            });
        }
        while (ready < threads.size()) {
            std::this_thread::sleep_for(1ms);
        }
        std::this_thread::sleep_for(5ms);
        UninitializeClient();
        for (std::thread& thread : threads) {
            thread.join();
        }
        return ended == threads.size() && ResultOfWait(Id(1), kNoTimeLimit) == kResult_NotInitialized &&
               InitializeClient() && ResultOfWait(Id(1), 1ms) == kResult_TimedOut;
    }));
}

TEST_F(WaitTest, AChangeWatchWakesForEveryKindOfChange) {
    const boost::shared_ptr<ChangeWatch> watch = ChangeWatch::Create();
    ASSERT_TRUE(watch);
    EXPECT_FALSE(watch->Wait(0ms));
    Readable reference;
    const std::function<void()> changes[] = {
        [&] { reference = PutAndOpen(Id(1), 10, 1); },
        [&] { EXPECT_EQ(MakeBinaryDataAlias(Id(1), reference, Id(2)), kResult_Success); },
        [&] { DropPuts(), reference.reset(); },
        [&] { EXPECT_EQ(PutBinaryDataGenerationError(Id(3), -1), kResult_Success); },
        [&] { EXPECT_EQ(PutBinaryDataGenerationError(Id(3), -2), kResult_Success); },
        [&] { EXPECT_TRUE(TrueInClientProcess([] { return PutBlock(Id(4), 10, 1) == kResult_Success; })); },
    };
    for (const auto& change : changes) {
        change();
        EXPECT_TRUE(watch->Wait(kLong)) << &change - changes;
        while (watch->Wait(1ms)) {
        }
    }
    const Counter go;
    const pid_t later = Spawn([&] {
        WaitUntil(go, 1);
        std::this_thread::sleep_for(5ms);
        const bool good = InitializeClient() && PutBinaryDataGenerationError(Id(5), -1) == kResult_Success;
        UninitializeClient();
        return good;
    });
    ++*go;
    EXPECT_TRUE(watch->Wait(kNoTimeLimit)) << "asleep when it comes";
    EXPECT_EQ(Wait(later), 0);
}

} // namespace framebroker
