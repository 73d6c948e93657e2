#pragma once

/// What the host device and GPUs do differently. Device checks arguments and pools memory; a back end does as it is
/// told.

#include "DeviceKit.h"
#include "PixelBlitter.h"

#include <cstdint>
#include <string>

namespace DK::Details {

enum class MemoryKind { CUDA, Pinned };

/// One of the converter's fills.
using FillFunction = int (*)(void*, int, int, int, PB_PixelFormat) noexcept;

/// A picture to fill, checked: not empty, its format known to the converter, its addresses allowed.
struct FillJob {
    FillFunction fill = nullptr;
    void* data = nullptr;
    int rowBytes = 0;
    zynmediatypes::PixelFormat format;
    PB_PixelFormat converterFormat = kPB_NoFormat;
    int width = 0;
    int height = 0;
};

enum class Direction { ToDevice, ToHost, OnDevice };

/// Rows to copy, checked: not empty, its addresses allowed.
struct CopyJob {
    Rows destination;
    ConstRows source;
    std::uint64_t usedRowBytes = 0;
    int height = 0;
    Direction direction = Direction::ToDevice;
};

class Backend {
public:
    virtual std::string GetName() const = 0;
    virtual bool IsHost() const noexcept = 0;
    virtual int GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept = 0;
    virtual std::uint64_t DefaultIdleLimit(MemoryKind kind) const noexcept = 0;

    /// Null when there is none left. bytes is not 0.
    virtual void* Allocate(MemoryKind kind, std::uint64_t bytes) noexcept = 0;
    /// bytes as it was allocated with.
    virtual void Free(MemoryKind kind, void* data, std::uint64_t bytes) noexcept = 0;

    /// Complete when it returns.
    virtual int Fill(const FillJob& job) noexcept = 0;
    /// Complete when it returns without an event, else when the event is.
    virtual int Copy(const CopyJob& job, Event* event) noexcept = 0;

    virtual boost::shared_ptr<Event> CreateEvent() = 0;
    virtual int Synchronize() noexcept = 0;

    virtual ~Backend() = default;

protected:
    Backend() = default;
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;
};

/// CUDA's code for a converter's result.
constexpr int CodeOfConverterResult(int result) noexcept {
    switch (result) {
    case kPB_Success:
        return kResult_Success;
    case kPB_BadArgument:
        return kResult_InvalidValue;
    case kPB_UnsupportedFormat:
    case kPB_UnsupportedGeometry:
        return kResult_NotSupported;
    case kPB_OutOfMemory:
        return kResult_OutOfMemory;
    default:
        return kResult_UnknownFailure;
    }
}

} // namespace DK::Details
