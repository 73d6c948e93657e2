#include "Frames.h"

#include "ExitCodes.h"
#include "Text.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameUtilities.h"

#include <new>

namespace tool {
namespace {

// Frames begin where a direct read from a disk of any sector size could deliver their pixels.
constexpr std::int32_t kReadUnitInBytes = 4096;

std::uint8_t* PixelsOf(const Frame& frame) {
    return static_cast<std::uint8_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetData());
}

} // namespace

LibraryGuard::LibraryGuard() {
    VF::Initialize();
}

LibraryGuard::~LibraryGuard() {
    VF::Shutdown();
}

Frame MakeFrame(zynmediatypes::PixelFormat format, int width, int height, zynmediatypes::PixelAspectRatio aspectRatio) {
    Frame frame;
    const std::int32_t result = VF::CreateDiskAlignedVideoFrame(frame, format, static_cast<std::uint32_t>(width),
                                                                static_cast<std::uint32_t>(height), aspectRatio, 0,
                                                                kReadUnitInBytes, 0, false, false);
    if (result == VF::kResult_MemoryExhausted) {
        throw std::bad_alloc();
    }
    if (result != 0 || !frame) {
        throw Failure(ExitCode::ConversionRefused,
                      "no frame of " + PictureText(width, height, format.name) + " can be made");
    }
    return frame;
}

int WidthOf(const Frame& frame) {
    return frame->GetBounds().Width();
}

int HeightOf(const Frame& frame) {
    return frame->GetBounds().Height();
}

std::string FrameText(const Frame& frame) {
    return PictureText(WidthOf(frame), HeightOf(frame), frame->GetPixelType().name);
}

FrameRows::FrameRows(const Frame& frame)
    : mFrame(frame), mBottom(PixelsOf(frame)),
      mRowBytes(BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame)->GetRowBytes()),
      mHeight(HeightOf(frame)) {}

FramePlanes::FramePlanes(const Frame& frame)
    : mFrame(frame), mData(PixelsOf(frame)), mWidth(WidthOf(frame)), mHeight(HeightOf(frame)) {}

std::uint8_t* FramePlanes::Data(int plane) const {
    const std::ptrdiff_t luma = static_cast<std::ptrdiff_t>(mWidth) * mHeight;
    const std::ptrdiff_t chroma = static_cast<std::ptrdiff_t>(ChromaWidth()) * ChromaHeight();
    return mData + (plane == 0 ? 0 : luma + (plane - 1) * chroma);
}

} // namespace tool
