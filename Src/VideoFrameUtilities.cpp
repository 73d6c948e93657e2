#include "VideoFrameUtilities.h"

#include "BRTFoundation.h"
#include "LifecycleSteps.h"
#include "PixelBlitter.h"
#include "sharehub.h"

#include <cstdint>

namespace VF {
namespace {

BRT::CriticalSection sLifecycleLock;
std::uint32_t sInitializationCount = 0;

} // namespace

void Initialize() {
    BRT::Foundation::Initialize();
    PB_Initialize();
    const BRT::CriticalSectionLock lock(sLifecycleLock, "VideoFrame::Initialize");
    if (sInitializationCount == 0) {
        // Without a broker, frames live in recycled memory.
        static_cast<void>(framebroker::InitializeClient());
        Details::MakeBaseSuiteCurrent();
        Details::CreateSharedVideoFrameCache();
    }
    ++sInitializationCount;
}

void Shutdown() {
    const BRT::CriticalSectionLock lock(sLifecycleLock, "VideoFrame::Shutdown");
    if (sInitializationCount == 0) {
        // An unmatched call: a wrapped count would make the next Initialize skip its work.
        return;
    }
    if (--sInitializationCount == 0) {
        Details::ReportAndReleaseLentPixmaps();
        Details::DestroySharedVideoFrameCache();
        framebroker::UninitializeClient();
    }
    PB_Terminate();
    BRT::Foundation::Terminate();
}

} // namespace VF
