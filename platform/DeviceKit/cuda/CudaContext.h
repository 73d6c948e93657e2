#pragma once

#include "DriverLibrary.h"

#include <boost/shared_ptr.hpp>

#include <mutex>

namespace DK::Details {

/// A device's primary context with the queue that the library's own work runs on. Lives as long as the device or an
/// event of it.
class CudaContext {
public:
    /// Empty, with the driver's error, when it cannot be made. Throws std::bad_alloc.
    static boost::shared_ptr<CudaContext> Make(const DriverLibrary& driver, CUdevice device, CUresult& outResult);
    ~CudaContext();
    CudaContext(const CudaContext&) = delete;
    CudaContext& operator=(const CudaContext&) = delete;

    const DriverLibrary& Driver() const noexcept { return mDriver; }
    CUstream Stream() const noexcept { return mStream; }

    /// The kernel that fills with units of 8 or of 16 bytes, made ready by the first call.
    CUresult FindFillKernel(std::size_t unitBytes, CUfunction& outFunction) noexcept;

    /// Makes the context the thread's current one while it lives, and then the one before.
    class Current {
    public:
        explicit Current(const CudaContext& context) noexcept
            : mDriver(context.mDriver), mResult(mDriver.cuCtxPushCurrent(context.mContext)) {}
        ~Current() {
            if (CUcontext popped = nullptr; mResult == 0) {
                mDriver.cuCtxPopCurrent(&popped);
            }
        }
        Current(const Current&) = delete;
        Current& operator=(const Current&) = delete;
        CUresult Result() const noexcept { return mResult; }

    private:
        const DriverLibrary& mDriver;
        CUresult mResult;
    };

private:
    CudaContext(const DriverLibrary& driver, CUdevice device) noexcept : mDriver(driver), mDevice(device) {}
    CUresult Open() noexcept;

    const DriverLibrary& mDriver;
    const CUdevice mDevice;
    CUcontext mContext = nullptr;
    CUstream mStream = nullptr;
    std::mutex mModuleMutex;
    CUmodule mModule = nullptr;
};

} // namespace DK::Details
