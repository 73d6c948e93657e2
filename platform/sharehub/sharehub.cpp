#include "sharehub.h"

#include "Client.h"
#include "Deadline.h"
#include "GenerationErrors.h"
#include "KeptMappings.h"
#include "Listing.h"
#include "References.h"
#include "Sweep.h"

#include <boost/make_shared.hpp>

#include <new>
#include <utility>

namespace framebroker {

namespace {

/// Runs an operation that may throw, and answers what the border knows instead.
template <class Operation>
std::int32_t AsResult(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return kResult_OutOfSpace;
    } catch (...) {
        return kResult_SystemError;
    }
}

/// Runs an operation on a name within an OperationScope.
template <class Operation>
std::int32_t OnName(const Guid& id, Operation operation) noexcept {
    return AsResult([&]() -> std::int32_t {
        const OperationScope scope;
        const auto directory = Client::Instance().CurrentDirectory();
        if (!directory) {
            return kResult_NotInitialized;
        }
        return id == Guid() ? kResult_BadArgument : operation(*directory);
    });
}

/// Runs an operation that opens a block within an OperationScope, and hands out a reference to it, or an empty one.
/// What the caller's reference held before dies last: it may be the only thing that keeps the very block alive.
template <class Reference, class Base, class Operation>
std::int32_t HandOut(boost::shared_ptr<Base>& outReference, Operation open) noexcept {
    boost::shared_ptr<Base> reference;
    const std::int32_t result = AsResult([&]() -> std::int32_t {
        std::shared_ptr<Block> block;
        Result opened = kResult_NotInitialized;
        {
            const OperationScope scope;
            if (const auto directory = Client::Instance().CurrentDirectory()) {
                opened = open(directory, block);
            }
        }
        if (opened == kResult_Success) {
            reference = boost::make_shared<Reference>(std::move(block));
        }
        return opened;
    });
    outReference.swap(reference);
    return result;
}

/// Does the next thing that may make room for a block; false when nothing is left to do.
bool MakeRoom(std::uint64_t sizeInBytes, bool& ioIdleOfAllTaken) noexcept {
    return AsResult([&]() -> std::int32_t {
               Client::Dropped dropped;
               const OperationScope scope;
               const auto directory = Client::Instance().CurrentDirectory();
               if (!directory) {
                   return kResult_NotInitialized;
               }
               if (KeptMappings& kept = KeptMappings::Instance(); !kept.IsEmpty()) {
                   KeptMappings::GivenUp idle;
                   kept.GiveUpAll(idle);
                   GiveUp(idle);
                   return kResult_Success;
               }
               if (!std::exchange(ioIdleOfAllTaken, true)) {
                   Sweep(*directory);
                   ReclaimIdle(*directory);
                   return kResult_Success;
               }
               // Kept puts are not given up for a block that does not fit even so, or fails for another reason.
               const std::uint64_t free = directory->FreeBytes();
               const std::uint64_t needed = PagesOf(sizeInBytes) * kPageBytes;
               const bool helps = needed > free && needed - free <= Client::Instance().KeptBytes();
               return helps && Client::Instance().DropOldest(dropped) ? kResult_Success : kResult_OutOfSpace;
           }) == kResult_Success;
}

} // namespace

bool InitializeClient() noexcept {
    try {
        return Client::Instance().Initialize();
    } catch (...) {
        return false;
    }
}

void UninitializeClient() noexcept {
    try {
        Client::Instance().Uninitialize();
    } catch (...) {
        // Out of memory while listing the directory; the next client sweeps it.
    }
}

std::int32_t GetWritableBinaryData(std::uint64_t sizeInBytes,
                                   boost::shared_ptr<WritableBinaryReference>& outReference) noexcept {
    const auto make = [&] {
        return HandOut<WritableReference>(outReference, [&](const auto& directory, auto& outBlock) {
            if (sizeInBytes == 0) {
                return kResult_BadArgument;
            }
            if (directory->TakeSweepRequest()) {
                Sweep(*directory);
            }
            bool recycled = false;
            const Result result = Block::Create(directory, sizeInBytes, outBlock, recycled);
            if (result == kResult_Success) {
                Client::Instance().CountMade(recycled);
            }
            return result;
        });
    };
    std::int32_t result = make();
    for (bool idleOfAllTaken = false; result == kResult_OutOfSpace && MakeRoom(sizeInBytes, idleOfAllTaken);) {
        result = make();
    }
    return result;
}

std::int32_t PutCompletedBinaryData(const Guid& id, boost::shared_ptr<WritableBinaryReference> reference) noexcept {
    return AsResult([&]() -> std::int32_t {
        Client::Dropped dropped;
        const OperationScope scope;
        if (!Client::Instance().CurrentDirectory()) {
            return kResult_NotInitialized;
        }
        const auto* writable = dynamic_cast<const WritableReference*>(reference.get());
        if (writable == nullptr || id == Guid()) {
            return kResult_BadArgument;
        }
        const Result result = writable->GetBlock()->PutUnder(id);
        if (result == kResult_Success) {
            Client::Instance().Keep(writable->GetBlock(), dropped);
        }
        return result;
    });
}

std::int32_t GetBinaryDataIfAvailable(const Guid& id, boost::shared_ptr<BinaryReference>& outReference) noexcept {
    return HandOut<ReadableReference>(outReference, [&](const auto& directory, auto& outBlock) {
        if (id == Guid()) {
            return kResult_BadArgument;
        }
        const Result result = Block::Open(directory, id, outBlock);
        if (result == kResult_Success) {
            Client::Instance().CountOpened();
        } else if (result == kResult_NotFound && ReadGenerationError(*directory, id)) {
            return kResult_GenerationError;
        }
        return result;
    });
}

std::int32_t WaitForBinaryData(const Guid& id, std::chrono::milliseconds timeout,
                               boost::shared_ptr<BinaryReference>& outReference) noexcept {
    const std::int32_t atOnce = GetBinaryDataIfAvailable(id, outReference);
    if (atOnce != kResult_NotFound) {
        return atOnce;
    }
    return timeout <= timeout.zero() ? kResult_TimedOut : AsResult([&]() -> std::int32_t {
        const auto arrivals = [] {
            const OperationScope scope;
            return Client::Instance().CurrentArrivals();
        }();
        if (!arrivals) {
            return kResult_NotInitialized;
        }
        const auto deadline = DeadlineAfter(timeout);
        Arrivals::Waiter waiter(*arrivals, id);
        for (auto arrival = Arrival::Something;; arrival = waiter.Wait(deadline)) {
            if (arrival == Arrival::Ended) {
                return kResult_NotInitialized;
            }
            const std::int32_t result = GetBinaryDataIfAvailable(id, outReference);
            if (result != kResult_NotFound) {
                return result;
            }
            if (arrival == Arrival::Data) {
                return kResult_Gone;
            }
            if (arrival == Arrival::TimedOut) {
                return kResult_TimedOut;
            }
        }
    });
}

std::int32_t ListBlocks(DirectoryContents& outContents) noexcept {
    return AsResult([&]() -> std::int32_t {
        const OperationScope scope;
        const auto directory = Client::Instance().CurrentDirectory();
        if (!directory) {
            return kResult_NotInitialized;
        }
        ListDirectory(*directory, outContents);
        return kResult_Success;
    });
}

std::int32_t MakeBinaryDataAlias(const Guid& existingId, const boost::shared_ptr<BinaryReference>& reference,
                                 const Guid& newId) noexcept {
    return AsResult([&]() -> std::int32_t {
        const OperationScope scope;
        if (!Client::Instance().CurrentDirectory()) {
            return kResult_NotInitialized;
        }
        const auto* readable = dynamic_cast<const ReadableReference*>(reference.get());
        if (readable == nullptr || existingId == Guid() || newId == Guid()) {
            return kResult_BadArgument;
        }
        return readable->GetBlock().AliasUnder(existingId, newId);
    });
}

std::int32_t PutBinaryDataGenerationError(const Guid& id, std::int32_t errorCode) noexcept {
    return OnName(id, [&](const Directory& directory) {
        Client::Instance().RenewPresence();
        return PutGenerationError(directory, id, errorCode);
    });
}

std::int32_t GetGenerationError(const Guid& id, std::int32_t& outErrorCode) noexcept {
    return OnName(id, [&](const Directory& directory) {
        const auto code = ReadGenerationError(directory, id);
        if (!code || RemoveIfDead(directory, Name::OfGuid(id)) == NameState::Alive) {
            return kResult_NotFound;
        }
        outErrorCode = *code;
        return kResult_Success;
    });
}

std::uint64_t SweepDeadBlocks() noexcept {
    std::uint64_t removed = 0;
    AsResult([&]() -> std::int32_t {
        const OperationScope scope;
        if (const auto directory = Client::Instance().CurrentDirectory()) {
            removed = Sweep(*directory);
        }
        return kResult_Success;
    });
    return removed;
}

void SetPutBudget(std::uint64_t bytes) noexcept {
    AsResult([&]() -> std::int32_t {
        Client::Dropped dropped;
        const OperationScope scope;
        Client::Instance().SetBudget(bytes, dropped);
        return kResult_Success;
    });
}

ClientStatistics GetClientStatistics() noexcept {
    const OperationScope scope;
    return Client::Instance().Statistics();
}

std::string GetDirectory() {
    const OperationScope scope;
    return Client::Instance().DirectoryPath();
}

} // namespace framebroker
