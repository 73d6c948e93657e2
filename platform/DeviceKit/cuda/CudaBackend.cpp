#include "CudaBackend.h"

#include "CudaEvent.h"
#include "FillOnCuda.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <array>
#include <new>

namespace DK::Details {
namespace {

/// Some 120 frames of 1080p BGRA, but never most of a small device.
constexpr std::uint64_t kMostIdleCUDAMemory = std::uint64_t{1} << 30;
constexpr std::uint64_t kIdlePartOfDevice = 8;

/// Some 30 frames: page-locked memory is missing to everybody else.
constexpr std::uint64_t kMostIdlePinnedMemory = std::uint64_t{256} << 20;

CUdeviceptr DeviceAddress(const void* data) noexcept {
    return reinterpret_cast<CUdeviceptr>(data);
}

CUresult EnqueueRun(const CudaContext& context, Direction direction, void* destination, const void* source,
                    std::uint64_t bytes) noexcept {
    const DriverLibrary& driver = context.Driver();
    switch (direction) {
    case Direction::ToDevice:
        return driver.cuMemcpyHtoDAsync(DeviceAddress(destination), source, bytes, context.Stream());
    case Direction::ToHost:
        return driver.cuMemcpyDtoHAsync(destination, DeviceAddress(source), bytes, context.Stream());
    case Direction::OnDevice:
        return driver.cuMemcpyDtoDAsync(DeviceAddress(destination), DeviceAddress(source), bytes, context.Stream());
    }
    return kResult_InvalidValue;
}

// Rows that lie in ascending order on both sides.
CUresult EnqueueRows(const CudaContext& context, const CopyJob& job) noexcept {
    CUDA_MEMCPY2D copy;
    if (job.direction == Direction::ToDevice) {
        copy.srcHost = job.source.data;
    } else {
        copy.srcMemoryType = CU_MEMORYTYPE_DEVICE;
        copy.srcDevice = DeviceAddress(job.source.data);
    }
    if (job.direction == Direction::ToHost) {
        copy.dstHost = job.destination.data;
    } else {
        copy.dstMemoryType = CU_MEMORYTYPE_DEVICE;
        copy.dstDevice = DeviceAddress(job.destination.data);
    }
    copy.srcPitch = static_cast<std::size_t>(job.source.rowBytes);
    copy.dstPitch = static_cast<std::size_t>(job.destination.rowBytes);
    copy.WidthInBytes = job.usedRowBytes;
    copy.Height = static_cast<std::size_t>(job.height);
    if (job.direction != Direction::OnDevice) {
        return context.Driver().cuMemcpy2DAsync(&copy, context.Stream());
    }
    // Within a device only this form takes every stride; it knows no queue, so it has its turn when that is empty.
    const CUresult result = context.Driver().cuStreamSynchronize(context.Stream());
    return result == 0 ? context.Driver().cuMemcpy2DUnaligned(&copy) : result;
}

CUresult EnqueueCopy(const CudaContext& context, const CopyJob& job) noexcept {
    if (job.height == 1) {
        return EnqueueRun(context, job.direction, job.destination.data, job.source.data, job.usedRowBytes);
    }
    if (job.destination.rowBytes > 0 && job.source.rowBytes > 0) {
        return EnqueueRows(context, job);
    }
    for (int row = 0; row < job.height; ++row) { // upside down
        if (const CUresult result = EnqueueRun(
                context, job.direction,
                static_cast<std::uint8_t*>(job.destination.data) + row * job.destination.rowBytes,
                static_cast<const std::uint8_t*>(job.source.data) + row * job.source.rowBytes, job.usedRowBytes);
            result != 0) {
            return result;
        }
    }
    return 0;
}

} // namespace

CudaBackend::CudaBackend(const DriverLibrary& driver, std::uint32_t ordinal) noexcept
    : mDriver(driver), mDeviceResult(driver.cuDeviceGet(&mDevice, static_cast<int>(ordinal))) {}

boost::shared_ptr<CudaContext> CudaBackend::Context(CUresult& outResult) noexcept {
    outResult = mDeviceResult;
    if (mDeviceResult != 0) {
        return {};
    }
    const std::lock_guard lock(mMutex);
    if (!mContext) {
        try {
            mContext = CudaContext::Make(mDriver, mDevice, outResult);
        } catch (const std::bad_alloc&) {
            outResult = kResult_OutOfMemory;
        }
    }
    return mContext;
}

template <class Work>
int CudaBackend::InContext(const Work& work) noexcept {
    CUresult result = 0;
    const boost::shared_ptr<CudaContext> context = Context(result);
    if (!context) {
        return result;
    }
    const CudaContext::Current current(*context);
    return current.Result() == 0 ? work(*context) : current.Result();
}

std::string CudaBackend::GetName() const {
    std::array<char, 256> name{};
    if (mDeviceResult != 0 || mDriver.cuDeviceGetName(name.data(), static_cast<int>(name.size()), mDevice) != 0) {
        return "unknown GPU";
    }
    return name.data();
}

int CudaBackend::GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept {
    return InContext([&](const CudaContext& context) {
        std::size_t total = 0;
        std::size_t free = 0;
        const CUresult result = context.Driver().cuMemGetInfo(&free, &total);
        outTotal = total;
        outFree = free;
        return result;
    });
}

std::uint64_t CudaBackend::DefaultIdleLimit(MemoryKind kind) const noexcept {
    if (kind == MemoryKind::Pinned) {
        return kMostIdlePinnedMemory;
    }
    std::size_t total = 0;
    if (mDeviceResult != 0 || mDriver.cuDeviceTotalMem(&total, mDevice) != 0) {
        return 0;
    }
    return std::min(kMostIdleCUDAMemory, std::uint64_t{total} / kIdlePartOfDevice);
}

void* CudaBackend::Allocate(MemoryKind kind, std::uint64_t bytes) noexcept {
    void* data = nullptr;
    const int result = InContext([&](const CudaContext& context) {
        if (kind == MemoryKind::Pinned) {
            return context.Driver().cuMemHostAlloc(&data, bytes, CU_MEMHOSTALLOC_PORTABLE);
        }
        CUdeviceptr address = 0;
        const CUresult allocated = context.Driver().cuMemAlloc(&address, bytes);
        data = reinterpret_cast<void*>(address); // NOLINT(performance-no-int-to-ptr)
        return allocated;
    });
    return result == 0 ? data : nullptr;
}

// What a lost device refuses to free went with it.
void CudaBackend::Free(MemoryKind kind, void* data, std::uint64_t /*bytes*/) noexcept {
    static_cast<void>(InContext([&](const CudaContext& context) {
        return kind == MemoryKind::Pinned ? context.Driver().cuMemFreeHost(data)
                                          : context.Driver().cuMemFree(DeviceAddress(data));
    }));
}

int CudaBackend::Fill(const FillJob& job) noexcept {
    return InContext([&](CudaContext& context) {
        const CUresult result = EnqueueFill(context, job);
        return result == 0 ? context.Driver().cuStreamSynchronize(context.Stream()) : result;
    });
}

int CudaBackend::Copy(const CopyJob& job, Event* event) noexcept {
    return InContext([&](const CudaContext& context) {
        auto* const recorded = dynamic_cast<CudaEvent*>(event);
        if (event != nullptr && (recorded == nullptr || !recorded->IsOf(context))) {
            return kResult_InvalidValue;
        }
        const CUresult result = EnqueueCopy(context, job);
        if (result != 0) {
            // Rows that are under way already must not go on after a refusal.
            static_cast<void>(context.Driver().cuStreamSynchronize(context.Stream()));
            return result;
        }
        return recorded != nullptr ? recorded->Record() : context.Driver().cuStreamSynchronize(context.Stream());
    });
}

boost::shared_ptr<Event> CudaBackend::CreateEvent() {
    CUresult result = 0;
    const boost::shared_ptr<CudaContext> context = Context(result);
    if (!context) {
        return {};
    }
    auto event = boost::make_shared<CudaEvent>(context);
    return event->IsValid() ? event : boost::shared_ptr<CudaEvent>();
}

int CudaBackend::Synchronize() noexcept {
    {
        const std::lock_guard lock(mMutex);
        if (!mContext) {
            return kResult_Success; // nothing was ever asked of it
        }
    }
    return InContext([](const CudaContext& context) { return context.Driver().cuStreamSynchronize(context.Stream()); });
}

} // namespace DK::Details
