#pragma once

#include "VFResults.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameTemplate.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <vector>

namespace vftest {

class VectorFrameBase : public RK::IVideoFrame,
                        public VF::IVideoFrameMemoryAccess,
                        public VF::IVideoFrame2DPixelMemoryAccess {};

/// A frame in a vector, as another module may bring it. Lives on the stack and counts who still refers to it.
class VectorFrame final : public VF::VideoFrameTemplate<VectorFrameBase> {
public:
    VectorFrame() = default;
    VectorFrame(zynmediatypes::PixelFormat format, std::int32_t width, std::int32_t height,
                std::optional<std::size_t> held = std::nullopt) {
        mPixelFormat = format;
        mFrameRect = {-1, -1, width, height};
        bytes.resize(held ? *held : VideoFrameTemplate::GetDataSize());
    }

    // What it offers and answers instead of what follows from format and size.
    std::vector<std::uint8_t> bytes;
    std::ptrdiff_t start = 0; ///< of the data pointer
    bool memory = true;
    bool rows = true;
    bool knowsAlphaBounds = true;
    bool throws = false;
    std::optional<std::int32_t> rowBytes;
    std::optional<std::uint64_t> dataSize;
    std::function<void(std::uint32_t)> onCounted; ///< is given the new number of references

    BRT::InterfaceRef<RK::IVideoFrame> Ref() { return GetSelfReference(); }
    std::uint32_t References() {
        mCount.Increment();
        return mCount.Decrement();
    }

    std::uint32_t AddRef() override { return Counted(mCount.Increment()); }
    std::uint32_t Release() override { return Counted(mCount.Decrement()); }
    void* DeletingDestructor(unsigned) override { return this; }
    std::int32_t QueryInterface(const zyncore::utility::Guid& id, void** out) override {
        *out = nullptr;
        if (memory && id == VF::IVideoFrameMemoryAccess::kInterfaceID) {
            *out = static_cast<VF::IVideoFrameMemoryAccess*>(this);
        } else if (rows && id == VF::IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
            *out = static_cast<VF::IVideoFrame2DPixelMemoryAccess*>(this);
        } else if (id == RK::IVideoFrame::kInterfaceID || id == BRT::BRTUnknown::kInterfaceID) {
            *out = static_cast<RK::IVideoFrame*>(this);
        } else {
            return VF::kResult_NoSuchInterface;
        }
        AddRef();
        return VF::kResult_Success;
    }
    BRT::InterfaceRef<RK::IVideoFrame> CreateCompatibleFrame() override { return nullptr; }
    void* GetData() override { return bytes.data() + start; }
    std::int32_t GetRowBytes() override { return rowBytes ? *rowBytes : VideoFrameTemplate::GetRowBytes(); }
    std::uint64_t GetDataSize() override { return dataSize ? *dataSize : VideoFrameTemplate::GetDataSize(); }
    bool GetAlphaBounds(BRT::ParamRect<BRT::CRect>& outBounds) override {
        return VideoFrameTemplate::GetAlphaBounds(outBounds) && knowsAlphaBounds;
    }
    BRT::ParamRect<BRT::CRect> GetUserRect() override {
        if (throws) {
            throw std::runtime_error("refused");
        }
        return VideoFrameTemplate::GetUserRect();
    }

private:
    std::uint32_t Counted(std::uint32_t count) {
        if (onCounted) {
            onCounted(count);
        }
        return count;
    }
    BRT::ReferenceCount mCount;
};

} // namespace vftest
