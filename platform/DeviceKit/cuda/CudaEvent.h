#pragma once

#include "CudaContext.h"
#include "DeviceKit.h"

namespace DK::Details {

class CudaEvent final : public Event {
public:
    explicit CudaEvent(boost::shared_ptr<CudaContext> context) noexcept;
    ~CudaEvent() override;

    /// Whether the driver made it.
    bool IsValid() const noexcept { return mEvent != nullptr; }
    bool IsOf(const CudaContext& context) const noexcept { return mContext.get() == &context; }

    int RecordOnStream(void* inStream) override;
    int Query() override;
    int Wait() override;

private:
    const boost::shared_ptr<CudaContext> mContext;
    CUevent mEvent = nullptr;
};

} // namespace DK::Details
