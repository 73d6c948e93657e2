#pragma once

#include "../Backend.h"

namespace DK::Details {

/// The CPU's memory as a device. All work is done when a call returns.
class HostBackend final : public Backend {
public:
    std::string GetName() const override { return "host memory"; }
    bool IsHost() const noexcept override { return true; }
    int GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept override;
    /// The recycler keeps what is idle, for everybody.
    std::uint64_t DefaultIdleLimit(MemoryKind) const noexcept override { return 0; }
    void* Allocate(MemoryKind kind, std::uint64_t bytes) noexcept override;
    void Free(MemoryKind kind, void* data, std::uint64_t bytes) noexcept override;
    int Fill(const FillJob& job) noexcept override;
    int Copy(const CopyJob& job, Event* event) noexcept override;
    boost::shared_ptr<Event> CreateEvent() override;
    int Synchronize() noexcept override { return kResult_Success; }
};

} // namespace DK::Details
