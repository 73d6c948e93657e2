#include "RenderKit_MediaManager.h"

namespace RK::Details {

MediaMapTemplateHelper::MediaMapTemplateHelper(MediaMapTemplateCache& inCache)
    : mMediaManager(GetMediaManager()), mCache(&inCache) {
    mMediaManager->NewMediaMap(mMapID);
}

MediaMapTemplateHelper::~MediaMapTemplateHelper() {
    mMediaManager->ForgetMediaMap(mMapID);
}

std::uint32_t MediaMapTemplateHelper::AddRef() {
    return mReferenceCount.Increment();
}

std::uint32_t MediaMapTemplateHelper::Release() {
    const std::uint32_t count = mReferenceCount.Decrement();
    if (count == 0) {
        DeletingDestructor(1);
    }
    return count;
}

void* MediaMapTemplateHelper::DeletingDestructor(unsigned int flags) {
    this->~MediaMapTemplateHelper();
    if ((flags & 1) != 0) {
        BRT::Allocator::Dispose(this, sizeof(MediaMapTemplateHelper));
    }
    return this;
}

std::int32_t MediaMapTemplateHelper::QueryInterface(const zyncore::utility::Guid& iid, void** outInterface) {
    if (iid != BRT::BRTUnknown::kInterfaceID) {
        *outInterface = nullptr;
        return BRT::kResult_NoSuchInterface;
    }
    AddRef();
    *outInterface = this;
    return BRT::kResult_Success;
}

void MediaMapTemplateHelper::Flush(std::uint64_t inKey) {
    mCache->Flush(inKey);
}

zyncore::utility::Guid MediaMapTemplateHelper::GetMapID() {
    return mMapID;
}

BRT::InterfaceRef<IMediaMap> MediaMapTemplateHelper::GetReference() {
    return BRT::InterfaceRef<IMediaMap>(this);
}

} // namespace RK::Details
