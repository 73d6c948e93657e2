#include "CudaEvent.h"

#include <utility>

namespace DK::Details {

CudaEvent::CudaEvent(boost::shared_ptr<CudaContext> context) noexcept : mContext(std::move(context)) {
    const CudaContext::Current current(*mContext);
    // Without a time stamp, which costs, and without a processor that spins.
    if (mContext->Driver().cuEventCreate(&mEvent, CU_EVENT_BLOCKING_SYNC | CU_EVENT_DISABLE_TIMING) != 0) {
        mEvent = nullptr;
    }
}

CudaEvent::~CudaEvent() {
    if (mEvent != nullptr) {
        const CudaContext::Current current(*mContext);
        mContext->Driver().cuEventDestroy(mEvent);
    }
}

int CudaEvent::RecordOnStream(void* inStream) {
    const CudaContext::Current current(*mContext);
    return mContext->Driver().cuEventRecord(mEvent,
                                            inStream != nullptr ? static_cast<CUstream>(inStream) : mContext->Stream());
}

int CudaEvent::Query() {
    const CudaContext::Current current(*mContext);
    return mContext->Driver().cuEventQuery(mEvent);
}

int CudaEvent::Wait() {
    const CudaContext::Current current(*mContext);
    return mContext->Driver().cuEventSynchronize(mEvent);
}

} // namespace DK::Details
