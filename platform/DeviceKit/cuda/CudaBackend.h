#pragma once

#include "../Backend.h"
#include "CudaContext.h"

namespace DK::Details {

/// A GPU. Its context is made when it is first needed, which takes the driver a moment.
class CudaBackend final : public Backend {
public:
    CudaBackend(const DriverLibrary& driver, std::uint32_t ordinal) noexcept;

    std::string GetName() const override;
    bool IsHost() const noexcept override { return false; }
    int GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept override;
    std::uint64_t DefaultIdleLimit(MemoryKind kind) const noexcept override;
    void* Allocate(MemoryKind kind, std::uint64_t bytes) noexcept override;
    void Free(MemoryKind kind, void* data, std::uint64_t bytes) noexcept override;
    int Fill(const FillJob& job) noexcept override;
    int Copy(const CopyJob& job, Event* event) noexcept override;
    boost::shared_ptr<Event> CreateEvent() override;
    int Synchronize() noexcept override;

private:
    boost::shared_ptr<CudaContext> Context(CUresult& outResult) noexcept;

    /// Calls work with the context, which is current meanwhile; the driver's error without one.
    template <class Work>
    int InContext(const Work& work) noexcept;

    const DriverLibrary& mDriver;
    CUresult mDeviceResult = 0;
    CUdevice mDevice = 0;
    std::mutex mMutex;
    boost::shared_ptr<CudaContext> mContext;
};

} // namespace DK::Details
