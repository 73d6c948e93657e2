#include "DeviceInternals.h"

#include <new>

namespace DK {

using Details::MemoryKind;
using Details::MemoryPool;

Device::Device(std::uint32_t inIndex, const boost::shared_ptr<Details::Backend>& inBackend)
    : mIndex(inIndex), mBackend(inBackend), mCUDAMemory(std::make_unique<MemoryPool>(inBackend, MemoryKind::CUDA)),
      mPinnedMemory(std::make_unique<MemoryPool>(inBackend, MemoryKind::Pinned)) {}

Device::~Device() {
    static_cast<void>(Synchronize());
}

std::string Device::GetName() const {
    return mBackend->GetName();
}

bool Device::IsHost() const noexcept {
    return mBackend->IsHost();
}

int Device::GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept {
    return mBackend->GetMemorySize(outTotal, outFree);
}

void* Device::AllocateCUDAMemory(std::uint64_t inBytes) noexcept {
    return mCUDAMemory->Allocate(inBytes);
}

void Device::FreeCUDAMemory(void* inData, const boost::shared_ptr<Event>& inEvent) noexcept {
    mCUDAMemory->Free(inData, inEvent);
}

void* Device::AllocatePinnedMemory(std::uint64_t inBytes) noexcept {
    return mPinnedMemory->Allocate(inBytes);
}

void Device::FreePinnedMemory(void* inData, const boost::shared_ptr<Event>& inEvent) noexcept {
    mPinnedMemory->Free(inData, inEvent);
}

boost::shared_ptr<Event> Device::CreateEvent() noexcept {
    try {
        return mBackend->CreateEvent();
    } catch (const std::bad_alloc&) {
        return {};
    }
}

int Device::Synchronize() noexcept {
    return mBackend->Synchronize();
}

PoolStatistics Device::GetCUDAMemoryStatistics() const noexcept {
    return mCUDAMemory->GetStatistics();
}

PoolStatistics Device::GetPinnedMemoryStatistics() const noexcept {
    return mPinnedMemory->GetStatistics();
}

void Device::SetIdleLimits(std::uint64_t inCUDAMemory, std::uint64_t inPinnedMemory) noexcept {
    mCUDAMemory->SetIdleLimit(inCUDAMemory);
    mPinnedMemory->SetIdleLimit(inPinnedMemory);
}

void Device::ReleaseIdleMemory() noexcept {
    mCUDAMemory->ReleaseIdle();
    mPinnedMemory->ReleaseIdle();
}

} // namespace DK
