#include "PixelBlitter.h"
#include "VideoFrameFactory.h"
#include "VideoFrameUtilities.h"
#include "sharehub.h"

int main() {
    VF::Initialize();
    BRT::InterfaceRef<RK::IVideoFrame> frame;
    VF::CreateVideoFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, 16, 9, {1, 1}, true, false);
    const bool right =
        frame && frame->GetBounds().Width() == 16 && PB_IsOriginBottomLeft(4) && !framebroker::GetDirectory().empty();
    frame.Reset();
    VF::Shutdown();
    return right ? 0 : 1;
}
