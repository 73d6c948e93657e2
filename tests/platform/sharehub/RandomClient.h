#pragma once

#include "BrokerFixture.h"

#include <signal.h>
#include <time.h>

#include <array>
#include <cstdio>
#include <optional>
#include <random>

namespace framebroker {

/// What a client tells the process that watches it, through memory that they share.
struct Report {
    std::atomic<std::uint64_t> steps{0};
    std::atomic<unsigned> action{0};     ///< what it is doing
    std::atomic<unsigned> checkpoint{0}; ///< the last one that it has reported at
    std::atomic<unsigned> descriptors{0}, mappings{0};
    std::atomic<std::uint64_t> idleBlocks{0};
    std::atomic<bool> failed{false};
    std::array<char, 200> fault{};

    void Fail(const char* what, std::int64_t detail) {
        if (!failed.load()) {
            std::snprintf(fault.data(), fault.size(), "process %d, action %u: %s (%lld)", ::getpid(), action.load(),
                          what, static_cast<long long>(detail));
            failed.store(true);
        }
    }
};

/// Does at random what clients do, over few Guids, and checks every byte that it sees: a block tells in its first
/// words what the others must be, how large it is and to which group of Guids it belongs.
class RandomClient {
public:
    /// Blind: for files that anything may happen to. Looks at no byte and takes every result that there is.
    enum class Kind { Mixed, Reader, Blind };

    RandomClient(unsigned seed, Report& report, Kind kind = Kind::Mixed) : mRandom(seed), mReport(report), mKind(kind) {
        if (!InitializeClient()) {
            mReport.Fail("no client", 0);
        }
        SetPutBudget(kBudget);
    }
    RandomClient(const RandomClient&) = delete;
    ~RandomClient() {
        LetGoOfAll();
        UninitializeClient();
    }

    void Step() {
        const unsigned action = mRandom() % 16;
        mReport.action.store(action);
        if (mStepsToLive && (*mStepsToLive)-- == 0) {
            DieWithin(mRandom() % 150);
        }
        Held& held = mHeld[mRandom() % mHeld.size()];
        const unsigned group = mRandom() % kGroups;
        const Guid id = AnyId(group);
        if (action < 3 && mKind != Kind::Reader) {
            Put(group);
        } else if (action == 3) {
            mPrepared = Make(mRandom() % kGroups);
        } else if (action < 8) {
            Get(
                held, group, id, [&](Readable& out) { return GetBinaryDataIfAvailable(id, out); }, kResult_NotFound);
        } else if (action == 8) {
            const std::chrono::milliseconds timeout(mRandom() % 3);
            Get(
                held, group, id, [&](Readable& out) { return WaitForBinaryData(id, timeout, out); }, kResult_TimedOut);
        } else if (action < 11 && held.reference) {
            Expect(MakeBinaryDataAlias(held.id, held.reference, AnyId(held.group)), {kResult_NameInUse}, "alias");
        } else if (action == 11) {
            Expect(PutBinaryDataGenerationError(id, static_cast<std::int32_t>(mRandom())), {}, "put error");
            std::int32_t code = 0;
            Expect(GetGenerationError(id, code), {kResult_NotFound}, "get error");
        } else if (action == 12) {
            LetGo(held);
        } else if (action == 13) {
            SweepDeadBlocks();
        } else if (action == 14 && mRandom() % 4 == 0) {
            ListAndCompare();
        } else if (action == 15 && mRandom() % 8 == 0) {
            SetPutBudget(mRandom() % 2 * kBudget);
        }
        mReport.steps.fetch_add(1);
    }

    /// Makes the kernel kill this process shortly after it has begun a step or, half of the time, a put.
    void DieAfter(unsigned steps) { mStepsToLive = steps; }

    void CheckHeld() {
        for (const Held& held : mHeld) {
            Check(held);
        }
    }

    void LetGoOfAll() {
        for (Held& held : mHeld) {
            LetGo(held);
        }
        mPrepared.reset();
        SetPutBudget(0);
        SetPutBudget(kBudget);
    }

private:
    static constexpr unsigned kGroups = 4;
    static constexpr unsigned kIdsOfGroup = 3;
    static constexpr std::uint64_t kBudget = 400'000;
    static constexpr std::uint64_t kLargest = 25 * 4096;
    enum Word { Seed, Size, Group, First };

    struct Held {
        Readable reference;
        std::uint64_t seed = 0;
        unsigned group = 0;
        Guid id;
    };

    Guid AnyId(unsigned group) { return Id(group * kIdsOfGroup + mRandom() % kIdsOfGroup); }

    /// The step of SplitMix64.
    static std::uint64_t WordOf(std::uint64_t seed, std::uint64_t index) {
        std::uint64_t z = seed + index * 0x9e3779b97f4a7c15;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }

    void Expect(std::int32_t result, std::initializer_list<std::int32_t> alsoAllowed, const char* what) {
        const bool blindly = mKind == Kind::Blind && result >= kResult_Gone;
        if (result > 0 || (result < 0 && !blindly && std::ranges::count(alsoAllowed, result) == 0)) {
            mReport.Fail(what, result);
        }
    }

    Writable Make(unsigned group) {
        static constexpr std::array<std::uint64_t, 4> kPages = {1, 2, 5, 25};
        const std::uint64_t size = kPages[mRandom() % kPages.size()] * 4096 - mRandom() % 4000;
        Writable block;
        Expect(GetWritableBinaryData(size, block), {}, "make");
        if (mKind == Kind::Blind) {
            return block;
        }
        auto* words = block ? static_cast<std::uint64_t*>(block->AcquireDataPointer()) : nullptr;
        if (words == nullptr || block->GetSize() != size) {
            mReport.Fail("a new block's size", block ? static_cast<std::int64_t>(block->GetSize()) : -1);
            return nullptr;
        }
        const std::uint64_t seed = std::uint64_t{mRandom()} << 32 | mRandom();
        for (std::uint64_t n = First; n < size / 8; ++n) {
            words[n] = WordOf(seed, n);
        }
        words[Seed] = seed, words[Size] = size, words[Group] = group;
        block->ReleaseDataPointer(words);
        return block;
    }

    void Put(unsigned group) {
        Writable block = Make(group);
        if (mPrepared && mKind != Kind::Blind && mRandom() % 2 == 0) {
            std::swap(block, mPrepared); // any block of the group
            const auto* words = static_cast<const std::uint64_t*>(block->AcquireDataPointer());
            group = static_cast<unsigned>(words[Group]);
            block->ReleaseDataPointer(words);
        }
        if (mStepsToLive == 0U) {
            DieWithin(mRandom() % 60);
        }
        Expect(PutCompletedBinaryData(AnyId(group), block), {kResult_NameInUse}, "put");
        if (mRandom() % 4 == 0) {
            Expect(PutCompletedBinaryData(AnyId(group), block), {kResult_NameInUse}, "put again");
        }
    }

    template <class Operation>
    void Get(Held& held, unsigned group, const Guid& id, Operation operation, std::int32_t nothing) {
        Held got{held.reference, 0, group, id};
        Check(held);
        held = {};
        const std::int32_t result = operation(got.reference);
        Expect(result, {nothing, kResult_GenerationError, kResult_Gone}, "get");
        if ((result == kResult_Success) != (got.reference != nullptr)) {
            mReport.Fail("a reference that does not go with the result", result);
        } else if (got.reference) {
            const auto* words = static_cast<const std::uint64_t*>(got.reference->AcquireDataPointer());
            got.seed = words == nullptr || mKind == Kind::Blind ? 0 : words[Seed];
            Check(got);
            held = std::move(got);
        }
    }

    void Check(const Held& held) {
        if (!held.reference) {
            return;
        }
        const std::uint64_t size = held.reference->GetSize();
        if (mKind == Kind::Blind) {
            return size > kLargest ? mReport.Fail("more than is mapped", static_cast<std::int64_t>(size)) : void();
        }
        const auto* words = static_cast<const std::uint64_t*>(held.reference->AcquireDataPointer());
        if (words == nullptr || size < 96 || words[Size] != size) {
            return mReport.Fail("a wrong size", static_cast<std::int64_t>(size));
        }
        if (words[Group] != held.group || words[Seed] != held.seed) {
            return mReport.Fail("another block than that under the Guid", static_cast<std::int64_t>(words[Group]));
        }
        for (std::uint64_t n = First; n < size / 8; ++n) {
            if (words[n] != WordOf(held.seed, n)) {
                return mReport.Fail("wrong bytes at word", static_cast<std::int64_t>(n));
            }
        }
        held.reference->ReleaseDataPointer(words);
    }

    void LetGo(Held& held) {
        Check(held);
        held = {};
    }

    void ListAndCompare() {
        DirectoryContents contents;
        Expect(ListBlocks(contents), {}, "list");
        for (const Held& held : mHeld) {
            if (!held.reference || mKind == Kind::Blind) {
                continue;
            }
            const BlockDescription* const block = Find(contents, held.id);
            if (block == nullptr || block->sizeInBytes != held.reference->GetSize()) {
                mReport.Fail("a block that is held and not listed, or with another size", block != nullptr);
            } else if (std::ranges::count(block->holders, ::getpid()) != 1) {
                mReport.Fail("a holder that is not listed among so many", std::ssize(block->holders));
            }
        }
    }

    static void DieWithin(unsigned microseconds) {
        struct sigevent event {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGKILL;
        timer_t timer{};
        const struct itimerspec when {
            {}, { 0, 1000L * microseconds + 1 }
        };
        if (::timer_create(CLOCK_MONOTONIC, &event, &timer) == 0) {
            ::timer_settime(timer, 0, &when, nullptr);
        }
    }

    std::mt19937 mRandom;
    Report& mReport;
    Kind mKind;
    std::optional<unsigned> mStepsToLive;
    std::array<Held, 5> mHeld;
    Writable mPrepared;
};

} // namespace framebroker
