#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameUtilities.h"

#include <cstdio>
#include <cstring>

int main() {
    using namespace zynmediatypes;
    VF::Initialize();
    { // frames may outlive the library, but there is no reason to
        BRT::InterfaceRef<RK::IVideoFrame> decoded, shown;

        // A decoder's 4:2:0 picture: three planes without gaps, at an address that suits direct reads of 4096 bytes.
        VF::CreateDiskAlignedVideoFrame(decoded, kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709, 1280, 720,
                                        kPixelAspectRatio_Square, 0, 4096, 0, true, false);
        auto planes = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(decoded);
        std::memset(planes->GetData(), 235, 1280 * 360); // the upper half of the luma plane becomes white

        // The same picture as a screen wants it, at half size.
        VF::CreateVideoFrame(shown, kPixelFormat_BGRA_4444_8u, 640, 360, kPixelAspectRatio_Square, false, false);
        VF::VideoFrameManipulators::CopyFrame(decoded, shown, kRenderQuality_High);

        // Rows start at the bottom of the picture: row 0 is black, row 359 is white.
        auto pixels = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(shown);
        auto rows = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(shown);
        auto* bottom = static_cast<unsigned char*>(pixels->GetData());
        std::printf("bottom %d, top %d\n", bottom[0], bottom[359 * rows->GetRowBytes()]);
    }
    VF::Shutdown();
}
