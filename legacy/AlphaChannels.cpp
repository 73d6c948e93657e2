// Moves between the alpha of pixel maps and 8-bit channels.

#include "AlphaChannels.h"

#include "DepthConversion.h"
#include "LentPixmaps.h"
#include "RowWalk.h"

using namespace VF::Pixmaps;

namespace {

constexpr std::size_t kPixelBytes = 4;

/// The picture that a record shows, as an operation found it; empty where it may not be touched.
class ShownPicture {
public:
    enum class Access { Read, Write };

    ShownPicture(TPixHand hand, Access access) {
        if (hand == nullptr || *hand == nullptr) {
            return;
        }
        const TPix record = **hand;
        const std::int64_t width = std::int64_t{record.bounds.right} - record.bounds.left;
        const std::int64_t height = std::int64_t{record.bounds.bottom} - record.bounds.top;
        if (record.pixels == nullptr || width <= 0 || height <= 0 || width > INT32_MAX / 4 || height > INT32_MAX) {
            return;
        }
        mPixels.emplace(hand);
        // A field's record may reach a row beyond its block; one that begins elsewhere claims what is not there.
        VF::Details::PixelRows rows{record.pixels, record.rowbytes, static_cast<std::int32_t>(height),
                                    kPixelBytes * static_cast<std::size_t>(width)};
        if (!mPixels->Contain(rows)) {
            rows = mPixels->Contained(rows);
        }
        if (rows.data == record.pixels && rows.rowBytes == record.rowbytes &&
            (access == Access::Read || mPixels->MayWrite())) {
            mData = record.pixels;
            mRowBytes = rows.rowBytes;
            mWidth = static_cast<std::int32_t>(width);
            mHeight = rows.height;
        }
    }

    std::uint8_t* Data() const noexcept { return mData; }
    std::int32_t RowBytes() const noexcept { return mRowBytes; }
    std::int32_t Width() const noexcept { return mWidth; }
    std::int32_t Height() const noexcept { return mHeight; }

private:
    std::optional<VF::Details::LentPixels> mPixels; // keeps the memory while it is worked on
    std::uint8_t* mData = nullptr;
    std::int32_t mRowBytes = 0;
    std::int32_t mWidth = 0;
    std::int32_t mHeight = 0;
};

} // namespace

void AlphaToRGB(TPixHand ioPixels) {
    const ShownPicture picture(ioPixels, ShownPicture::Access::Write);
    A_AlphaToRGB(picture.Data(), picture.Width(), picture.Height(), picture.RowBytes());
}

void AlphaToInverseRGB(TPixHand ioPixels) {
    const ShownPicture picture(ioPixels, ShownPicture::Access::Write);
    EachRun({picture.Data(), picture.Data(), picture.Width(), picture.Height(), picture.RowBytes(), picture.RowBytes()},
            4, 4, KernelsOfThisMachine().depth.alphaToInverseColour);
}

void AlphaToGreyBuffer(TPixHand inPixels, std::uint8_t* outBuffer) {
    const ShownPicture picture(inPixels, ShownPicture::Access::Read);
    EachRun({picture.Data(), outBuffer, picture.Width(), picture.Height(), picture.RowBytes(), picture.Width()}, 4, 1,
            KernelsOfThisMachine().channels.readAlpha);
}

void GreyBufferToAlpha(TPixHand ioPixels, const std::uint8_t* inBuffer) {
    const ShownPicture picture(ioPixels, ShownPicture::Access::Write);
    EachRun({inBuffer, picture.Data(), picture.Width(), picture.Height(), picture.Width(), picture.RowBytes()}, 1, 4,
            KernelsOfThisMachine().channels.writeAlpha);
}

void ReplaceChannel(std::uint8_t* ioBuffer, std::int32_t inWidth, std::int32_t inHeight, std::uint8_t inValue) {
    if (ioBuffer != nullptr && inWidth > 0 && inHeight > 0) {
        KernelsOfThisMachine().channels.markValue(
            ioBuffer, static_cast<std::size_t>(inWidth) * static_cast<std::size_t>(inHeight), inValue);
    }
}

void EdgeReconstructAlphas(const std::uint8_t* inA, const std::uint8_t* inB, void* ioPixels,
                           const std::uint8_t* inSelector, std::int32_t inWidth, std::int32_t inHeight,
                           std::int32_t inRowBytes) {
    if (inA == nullptr || inB == nullptr) {
        return;
    }
    const auto select = KernelsOfThisMachine().channels.selectAlpha;
    EachRun({inSelector, static_cast<std::uint8_t*>(ioPixels), inWidth, inHeight, inWidth, inRowBytes}, 1, 4,
            [=](const std::uint8_t* selector, std::uint8_t* pixels, std::size_t count, const Transfer&) {
                const std::ptrdiff_t at = selector - inSelector;
                select(inA + at, inB + at, selector, pixels, count);
            });
}
