#include "CudaContext.h"

#include "DeviceKit.h"
#include "FillKernelText.h"

#include <new>

namespace DK::Details {

boost::shared_ptr<CudaContext> CudaContext::Make(const DriverLibrary& driver, CUdevice device, CUresult& outResult) {
    boost::shared_ptr<CudaContext> context(new CudaContext(driver, device));
    outResult = context->Open();
    if (outResult != 0) {
        context.reset();
    }
    return context;
}

CUresult CudaContext::Open() noexcept {
    if (const CUresult result = mDriver.cuDevicePrimaryCtxRetain(&mContext, mDevice); result != 0) {
        mContext = nullptr;
        return result;
    }
    const Current current(*this);
    return current.Result() == 0 ? mDriver.cuStreamCreate(&mStream, CU_STREAM_DEFAULT) : current.Result();
}

// Errors are of no use to anybody any more.
CudaContext::~CudaContext() {
    if (mContext == nullptr) {
        return;
    }
    {
        const Current current(*this);
        if (mModule != nullptr) {
            mDriver.cuModuleUnload(mModule);
        }
        if (mStream != nullptr) {
            mDriver.cuStreamDestroy(mStream);
        }
    }
    mDriver.cuDevicePrimaryCtxRelease(mDevice);
}

CUresult CudaContext::FindFillKernel(std::size_t unitBytes, CUfunction& outFunction) noexcept {
    const std::lock_guard lock(mModuleMutex);
    if (mModule == nullptr) {
        try {
            if (const CUresult result = mDriver.cuModuleLoadData(&mModule, FillKernelText().c_str()); result != 0) {
                mModule = nullptr;
                return result;
            }
        } catch (const std::bad_alloc&) {
            return kResult_OutOfMemory;
        }
    }
    return mDriver.cuModuleGetFunction(&outFunction, mModule, unitBytes == 16 ? "FillUnits16" : "FillUnits8");
}

} // namespace DK::Details
