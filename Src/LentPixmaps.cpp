#include "LentPixmaps.h"

#include "LendingRegistry.h"
#include "RawFrame.h"
#include "VideoFrameInterfaces.h"

namespace VF::Details {

LentPixels::LentPixels(TPixHand hand)
    : mObject(LentPixmaps().Find(hand)), mFrame(BRT::QueryInterface<RK::IVideoFrame>(mObject)) {
    if (mFrame) {
        if (const auto block = BRT::QueryInterface<IFrameBlock>(mFrame)) {
            mMayWrite = block->MayWritePixels();
            mBlock = block->GetBlockExtent();
        } else if (!BRT::QueryInterface<IVideoFrameMemoryAccess>(mFrame)) {
            mBlock = BlockExtent{}; // a device's
        }
    } else if (const auto raw = BRT::QueryInterface<RawFrame>(mObject)) {
        mBlock = BlockExtent{raw->GetData(), raw->GetDataSize()};
    }
}

bool MayWritePixelsOf(TPixHand hand) noexcept {
    return MayWritePixels(BRT::QueryInterface<RK::IVideoFrame>(LentPixmaps().Find(hand)));
}

} // namespace VF::Details
