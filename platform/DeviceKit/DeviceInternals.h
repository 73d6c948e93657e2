#pragma once

/// What the library's own functions reach behind a device.

#include "Backend.h"
#include "MemoryPool.h"

namespace DK::Details {

struct DeviceInternals {
    /// Throws std::bad_alloc.
    static boost::shared_ptr<Device> Make(std::uint32_t index, const boost::shared_ptr<Backend>& backend) {
        return boost::shared_ptr<Device>(new Device(index, backend));
    }

    static Backend& BackendOf(const Device& device) noexcept { return *device.mBackend; }

    /// False when the address is one of the device's memory that has fewer bytes before or behind it.
    static bool HasRoom(const Device& device, const void* address, std::uint64_t bytesBefore,
                        std::uint64_t bytesBehind) noexcept {
        return device.mCUDAMemory->HasRoom(address, bytesBefore, bytesBehind) &&
               device.mPinnedMemory->HasRoom(address, bytesBefore, bytesBehind);
    }
};

} // namespace DK::Details
