#include "VideoFrameManipulators.h"

#include "../ContractReport.h"
#include "FrameAccess.h"
#include "PixelFormatUtilities.h"
#include "VFResults.h"

#include <algorithm>

namespace VF::VideoFrameManipulators {
namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr zynmediatypes::PixelFormat kDvFormats[] = {RK::kPixelFormat_NTSCDV25,        RK::kPixelFormat_PALDV25,
                                                     RK::kPixelFormat_NTSCDV50,        RK::kPixelFormat_PALDV50,
                                                     RK::kPixelFormat_NTSCDV100_720p,  RK::kPixelFormat_PALDV100_720p,
                                                     RK::kPixelFormat_NTSCDV100_1080i, RK::kPixelFormat_PALDV100_1080i};

// A DV frame has the bytes of its format, whatever size it is said to be; a block may have fewer.
bool HoldsBytes(const FrameRef& frame, const Details::FrameAccess& access, const void* data, std::uint64_t bytes) {
    return access.memory->GetDataSize() >= bytes && Details::LiesInFrame(Details::PixelRows{data, 0, 1, bytes}, frame);
}

} // namespace

int MergePulldownFrames(FrameRef inSourceFrameA, FrameRef inSourceFrameB) {
    const zynmediatypes::PixelFormat format = inSourceFrameA->GetPixelType();
    Details::CheckContract(format == inSourceFrameB->GetPixelType(),
                           "inSourceFrameA->GetPixelType() == inSourceFrameB->GetPixelType()",
                           Details::kManipulatorsSource);
    if (std::find(std::begin(kDvFormats), std::end(kDvFormats), format) == std::end(kDvFormats)) {
        return CopyField(inSourceFrameB, inSourceFrameA, 1, zynmediatypes::kRenderQuality_Higher);
    }
    const Details::FrameAccess a(inSourceFrameA);
    const Details::FrameAccess b(inSourceFrameB);
    void* const dataA = a.memory->GetData();
    const void* const dataB = b.memory->GetData();
    const std::uint64_t frameBytes = zynmediatypes::PixelFormatSize(format, 1, 1);
    if (!Details::MayWritePixels(inSourceFrameA) || !HoldsBytes(inSourceFrameA, a, dataA, frameBytes) ||
        !HoldsBytes(inSourceFrameB, b, dataB, frameBytes)) {
        return kResult_Success;
    }
    constexpr int kQuality = zynmediatypes::kRenderQuality_Higher;
    if (format == RK::kPixelFormat_NTSCDV25 || format == RK::kPixelFormat_PALDV25) {
        static_cast<void>(PB_MergeDV(dataA, dataB, dataA, frameBytes, kQuality));
    } else {
        static_cast<void>(PB_MergeDVCPRO(dataA, dataB, dataA, BEPixelFormatToPBPixelFormat(format), kQuality));
    }
    return kResult_Success;
}

} // namespace VF::VideoFrameManipulators
