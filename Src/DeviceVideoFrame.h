#pragma once

/// What GPU frames and pinned frames have in common.

#include "DeviceKit.h"
#include "VFResults.h"
#include "VideoFrameTemplate.h"

#include <boost/shared_ptr.hpp>

#include <new>
#include <utility>

namespace VF::Details {

/// What a device frame is created with.
struct DeviceFrameRequest {
    boost::shared_ptr<DK::Device> device;
    zynmediatypes::PixelFormat format;
    std::int32_t width = 0; ///< beyond the signed 32-bit range negative; such a picture has no bytes
    std::int32_t height = 0;
    zynmediatypes::PixelAspectRatio aspectRatio;
    zynmediatypes::FieldType fieldType = zynmediatypes::kFieldType_NotSet;
};

/// Derived supplies what the buffer is: Derived(device), Allocate(bytes), CopyIdentity(from), QueryInterface, GetData,
/// GetBlockExtent,
/// fills, and a destructor that frees it.
template <class Derived, class Base>
class DeviceVideoFrame : public VideoFrameTemplate<Base>, public BRT::Allocated {
public:
    std::uint32_t AddRef() final { return mReferenceCount.Increment(); }
    std::uint32_t Release() final {
        const std::uint32_t count = mReferenceCount.Decrement();
        if (count == 0) {
            DeletingDestructor(1);
        }
        return count;
    }
    void* DeletingDestructor(unsigned int inFlags) final {
        auto* const frame = static_cast<Derived*>(this);
        frame->~Derived();
        if ((inFlags & 1) != 0) {
            BRT::Allocator::Dispose(frame, sizeof(Derived));
        }
        return frame;
    }

    BRT::InterfaceRef<RK::IVideoFrame> CreateCompatibleFrame() final {
        const auto copy = Make({mDevice, this->mPixelFormat, this->mFrameRect.width, this->mFrameRect.height,
                                this->mPixelAspectRatio, this->mFieldType});
        if (!copy) {
            return nullptr;
        }
        copy->mFrameRect = this->mFrameRect;
        copy->mUserRect = this->mUserRect;
        copy->CopyIdentity(*static_cast<const Derived*>(this));
        copy->mUserTriple = this->mUserTriple;
        copy->mRenderTime = this->mRenderTime;
        copy->mAlphaBounds = this->mAlphaBounds;
        return BRT::InterfaceRef<RK::IVideoFrame>(copy.GetPtr());
    }

    bool MayWritePixels() final { return true; }

    void SetCompletionEvent(boost::shared_ptr<DK::Event> inEvent) final { mCompletionEvent.swap(inEvent); }
    boost::shared_ptr<DK::Event> GetCompletionEvent() final { return mCompletionEvent; }

    /// 0 with a new frame, or kResult_BufferTooSmall with the reference as it was.
    static std::int32_t Create(BRT::InterfaceRef<RK::IVideoFrame>& outFrame, const DeviceFrameRequest& request) {
        const auto frame = Make(request);
        if (!frame) {
            return kResult_BufferTooSmall;
        }
        outFrame = BRT::InterfaceRef<RK::IVideoFrame>(frame.GetPtr());
        return kResult_Success;
    }

protected:
    explicit DeviceVideoFrame(const boost::shared_ptr<DK::Device>& device) : mDevice(device) {}
    ~DeviceVideoFrame() = default;

private:
    friend Derived;

    static BRT::InterfaceRef<Derived> Make(const DeviceFrameRequest& request) {
        if (!request.device) {
            return nullptr;
        }
        try {
            BRT::InterfaceRef<Derived> frame(new Derived(request.device));
            if (!frame->Allocate(zynmediatypes::PixelFormatSize(request.format, request.width, request.height))) {
                return nullptr;
            }
            frame->mPixelFormat = request.format;
            frame->mFrameRect = {-1, -1, request.width, request.height};
            frame->mUserRect = frame->mAlphaBounds = {0, 0, request.width, request.height};
            frame->mPixelAspectRatio = request.aspectRatio;
            frame->mFieldType = request.fieldType;
            return frame;
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

    BRT::ReferenceCount mReferenceCount;
    boost::shared_ptr<DK::Device> mDevice; ///< kept until the memory has been given back
    boost::shared_ptr<DK::Event> mCompletionEvent;
};

} // namespace VF::Details
