#pragma once

#include "BrokerFixture.h"

#include <array>
#include <cstdio>
#include <random>

namespace framebroker {

/// Does at random what clients do, over few Guids, and checks every byte that it sees: a block is full of one value,
/// from which its size and the group of its Guids follow.
class RandomClient {
public:
    explicit RandomClient(unsigned seed) : mRandom(seed) {
        Check(InitializeClient(), "has no client", 0);
        SetPutBudget(kBudget);
    }
    RandomClient(const RandomClient&) = delete;
    ~RandomClient() {
        mHeld = {};
        SetPutBudget(0);
        UninitializeClient();
    }

    /// False when something has been wrong, which was written to the error output.
    bool Step() {
        const unsigned action = mRandom() % 16;
        Held& held = mHeld[mRandom() % mHeld.size()];
        CheckBytes(held);
        const unsigned group = mRandom() % kGroups;
        const Guid id = AnyId(group);
        if (action < 3) {
            const auto value = static_cast<unsigned char>(group * kValuesOfGroup + mRandom() % kValuesOfGroup);
            const Writable block = MakeBlock(SizeOf(value), value);
            Expect(PutCompletedBinaryData(id, block), kResult_NameInUse, "put");
            Expect(PutCompletedBinaryData(AnyId(group), block), kResult_NameInUse, "put again");
        } else if (action < 9) {
            const bool waits = action == 8;
            held = {nullptr, group, id};
            const std::int32_t result =
                waits ? WaitForBinaryData(id, std::chrono::milliseconds(mRandom() % 3), held.reference)
                      : GetBinaryDataIfAvailable(id, held.reference);
            if (result != kResult_GenerationError && result != kResult_Gone) {
                Expect(result, waits ? kResult_TimedOut : kResult_NotFound, "get");
            }
            Check((result == kResult_Success) == (held.reference != nullptr), "has a reference against", result);
            CheckBytes(held);
        } else if (action < 11 && held.reference) {
            Expect(MakeBinaryDataAlias(held.id, held.reference, AnyId(held.group)), kResult_NameInUse, "alias");
        } else if (action == 11) {
            std::int32_t code = 0;
            Expect(PutBinaryDataGenerationError(id, static_cast<std::int32_t>(mRandom())), kResult_Success, "error");
            Expect(GetGenerationError(id, code), kResult_NotFound, "get error");
        } else if (action == 12) {
            held = {};
        } else if (action == 13) {
            SweepDeadBlocks();
        } else if (action == 14 && mRandom() % 4 == 0) {
            LookForHeld();
        } else if (action == 15 && mRandom() % 8 == 0) {
            SetPutBudget(mRandom() % 2 * kBudget);
        }
        return mGood;
    }

private:
    static constexpr unsigned kGroups = 4;
    static constexpr unsigned kIdsOfGroup = 3;
    static constexpr unsigned kValuesOfGroup = 64;
    static constexpr std::uint64_t kBudget = 400'000;

    struct Held {
        Readable reference;
        unsigned group = 0;
        Guid id;
    };

    Guid AnyId(unsigned group) { return Id(group * kIdsOfGroup + mRandom() % kIdsOfGroup); }

    static std::uint64_t SizeOf(unsigned char value) {
        static constexpr std::array<std::uint64_t, 4> kPages = {1, 2, 5, 25};
        return kPages[value % 4U] * 4096 - value * 15U;
    }

    void Check(bool right, const char* what, std::int64_t detail) {
        if (!right) {
            std::fprintf(stderr, "process %d %s (%lld)\n", ::getpid(), what, static_cast<long long>(detail));
            mGood = false;
        }
    }

    void Expect(std::int32_t result, std::int32_t alsoAllowed, const char* what) {
        Check(result == kResult_Success || result == alsoAllowed, what, result);
    }

    void CheckBytes(const Held& held) {
        if (held.reference) {
            const auto* data = static_cast<const unsigned char*>(held.reference->AcquireDataPointer());
            const unsigned char value = data != nullptr ? *data : 0;
            held.reference->ReleaseDataPointer(data);
            Check(value / kValuesOfGroup == held.group, "sees another block than that under the Guid", value);
            Check(Holds(held.reference, SizeOf(value), value), "sees wrong bytes in a block of", value);
        }
    }

    void LookForHeld() {
        const DirectoryContents contents = List();
        for (const Held& held : mHeld) {
            const BlockDescription* const block = held.reference ? Find(contents, held.id) : nullptr;
            Check(!held.reference || (block != nullptr && block->sizeInBytes == held.reference->GetSize() &&
                                      std::ranges::count(block->holders, ::getpid()) == 1),
                  "holds what is listed otherwise", block != nullptr);
        }
    }

    std::mt19937 mRandom;
    std::array<Held, 5> mHeld;
    bool mGood = true;
};

} // namespace framebroker
