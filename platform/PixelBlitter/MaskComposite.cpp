#include "MaskComposite.h"

#include "Convert.h"
#include "MemoryRegime.h"
#include "RowPlaces.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace PixelBlitter {
namespace {

// Pixels whose bits are copied at once, so that kernels may read on behind them: whole bytes and whole units.
constexpr int kRunPixels = 4608;

// Pixels of other formats are converted so many bytes at once, which stay in the second-level cache.
constexpr std::uint64_t kStripBytes = 96 << 10;

std::uint64_t Magnitude(int value) noexcept {
    return static_cast<std::uint64_t>(value < 0 ? -std::int64_t{value} : std::int64_t{value});
}

MaskUnit UnitOf(const Format& format) noexcept {
    switch (format.packing) {
    case Packing::Words:
        return MaskUnit::Pixel8;
    case Packing::Floats:
        return MaskUnit::Pixel16;
    case Packing::Pairs:
        return format.alphaFirst ? MaskUnit::LumaFirstPair : MaskUnit::Pair;
    case Packing::Groups:
        return MaskUnit::Group;
    case Packing::Bytes:
    case Packing::Planar:
    case Packing::Compressed:
    case Packing::DvPlanes:
    case Packing::Opaque:
        break;
    }
    return MaskUnit::Pixel4;
}

// The rows of a mask, in pieces.
class MaskRows {
public:
    MaskRows(const MaskArguments& mask, int unitPixels) noexcept
        : mBits(static_cast<const std::uint8_t*>(mask.bits) + mask.startBit / 8), mStride(mask.rowBytes),
          mStartBit(static_cast<std::size_t>(mask.startBit % 8)), mUnitPixels(static_cast<std::size_t>(unitPixels)) {}

    std::size_t StartBit() const noexcept { return mStartBit; }

    // The bits of pixels [left, left + count) of a row, left a multiple of kRunPixels. A unit that has fewer pixels
    // than it holds repeats the last one's bit.
    const std::uint8_t* Take(int row, int left, std::size_t count) noexcept {
        const std::size_t bytes = (mStartBit + count + 7) / 8;
        std::memcpy(mRun.data(), mBits + row * mStride + left / 8, std::min(bytes, mRun.size() - kMaskPadding));
        const std::size_t last = mStartBit + count - 1;
        const bool set = (mRun[last / 8] >> (7 - last % 8) & 1) != 0;
        for (std::size_t bit = last + 1; (bit - mStartBit) % mUnitPixels != 0; ++bit) {
            const auto one = static_cast<std::uint8_t>(0x80 >> bit % 8);
            mRun[bit / 8] = static_cast<std::uint8_t>(set ? mRun[bit / 8] | one : mRun[bit / 8] & ~one);
        }
        return mRun.data();
    }

private:
    const std::uint8_t* mBits;
    std::ptrdiff_t mStride;
    std::size_t mStartBit;
    std::size_t mUnitPixels;
    std::array<std::uint8_t, kRunPixels / 8 + 1 + kMaskPadding> mRun{};
};

// A source whose rows have, or get, the destination's format.
class Side {
public:
    Side(const PictureArguments& arguments, const Format& format, const Format& wanted) noexcept
        : mPicture(CheckedPicture(arguments, format)), mPlaces(PlacesOf(arguments, format)), mWanted(wanted),
          mConverts(format.value != wanted.value) {}

    bool Converts() const noexcept { return mConverts; }
    const SourcePicture& Picture() const noexcept { return mPicture; }
    RowPlaces& Places() noexcept { return mPlaces; }
    // A row of the picture when the strip that has it begins at row top.
    const std::uint8_t* Row(int row, int top) const noexcept { return mPlaces[mConverts ? row - top : row]; }

    // From here on the rows of strips of so many rows come from this memory.
    void ConvertInto(void* strip, std::size_t rowBytes) noexcept {
        mStrip = static_cast<std::uint8_t*>(strip);
        mPlaces = {mStrip, static_cast<std::ptrdiff_t>(rowBytes)};
    }
    // Makes rows [top, top + count) of the picture rows 0 to count of Places.
    void Convert(int top, int count) const noexcept {
        SourcePicture rows = mPicture;
        rows.base = mPicture.MemoryRow(top);
        rows.height = count;
        // Between formats with rows nothing is allocated and every pair has a path, so this succeeds.
        static_cast<void>(ConvertPicture(rows, {mWanted, mStrip, mPlaces.stride, mPicture.width, count}));
    }

private:
    SourcePicture mPicture;
    RowPlaces mPlaces;
    Format mWanted;
    bool mConverts;
    std::uint8_t* mStrip = nullptr;
};

// Rows that are converted at once; what overlaps the destination is converted whole, before the first row is written.
int RowsAtOnce(const Side (&sides)[2], const SourcePicture& destination) noexcept {
    int rows = destination.height;
    bool overlap = false;
    for (const Side& side : sides) {
        if (side.Converts()) {
            const std::uint64_t fit = kStripBytes / UsedRowBytes(destination.format, destination.width);
            rows = std::min(rows, static_cast<int>(std::max<std::uint64_t>(fit, 1)));
            overlap = overlap || Overlap(side.Picture(), destination);
        }
    }
    return overlap ? destination.height : rows;
}

// Puts together the rows of a destination; those of the sources are where they say.
class RowsThroughMask {
public:
    RowsThroughMask(const PictureArguments& destination, const Format& format, const MaskArguments& mask,
                    const Transfer& transfer) noexcept
        : mTo(PlacesOf(destination, format)), mWidth(destination.width), mUnitPixels(PixelsPerUnit(format)),
          mUnitBytes(static_cast<std::size_t>(UsedRowBytes(format, 1))), mBits(mask, mUnitPixels),
          mSelect(SelectKernelFor(KernelsOfThisMachine(), format)), mTransfer(transfer) {}

    void Run(const std::uint8_t* a, const std::uint8_t* b, int row) noexcept {
        auto* const line = const_cast<std::uint8_t*>(mTo[row]); // the caller's destination
        for (int left = 0; left < mWidth; left += kRunPixels) {
            const int pixels = std::min(kRunPixels, mWidth - left);
            const std::size_t at = static_cast<std::size_t>(left / mUnitPixels) * mUnitBytes;
            const auto units = static_cast<std::size_t>((pixels + mUnitPixels - 1) / mUnitPixels);
            mSelect(a + at, b + at, line + at, units, mBits.Take(row, left, static_cast<std::size_t>(pixels)),
                    mBits.StartBit(), mTransfer);
            if (mWidth - left <= kRunPixels) {
                return;
            }
        }
    }

private:
    RowPlaces mTo;
    int mWidth;
    int mUnitPixels;
    std::size_t mUnitBytes;
    MaskRows mBits;
    SelectRow mSelect;
    Transfer mTransfer;
};

} // namespace

SelectRow SelectKernelFor(const Kernels& kernels, const Format& format) noexcept {
    return kernels.masks.select[static_cast<std::size_t>(UnitOf(format))];
}

int PixelsPerUnit(const Format& format) noexcept {
    return format.packing == Packing::Pairs ? 2 : format.packing == Packing::Groups ? 6 : 1;
}

PB_Result CompositeThroughMask(const PictureArguments& a, const PictureArguments& b, const MaskArguments& mask,
                               const PictureArguments& destination) noexcept {
    const std::optional<Format> formats[3] = {FindFormat(a.format), FindFormat(b.format),
                                              FindFormat(destination.format)};
    const PictureArguments* const pictures[3] = {&a, &b, &destination};
    for (int i = 0; i < 3; ++i) {
        if (!formats[i] || !formats[i]->HasRows()) {
            return kPB_UnsupportedFormat;
        }
        if (const PB_Result result = CheckPlace(*pictures[i], *formats[i]); result != kPB_Success) {
            return result;
        }
    }
    const std::uint64_t bits = static_cast<std::uint64_t>(mask.startBit % 8) + static_cast<unsigned>(destination.width);
    if (mask.bits == nullptr || mask.startBit < 0 || (destination.height > 1 && bits > 8 * Magnitude(mask.rowBytes))) {
        return kPB_BadArgument;
    }
    const Format& format = *formats[2];
    const RowExtent extent = ExtentOf(destination, format);
    const RowPlaces to = PlacesOf(destination, format);
    Side sides[2] = {{a, *formats[0], format}, {b, *formats[1], format}};
    // What is written in place has just been read into the caches.
    const bool stream = StreamsStores(3 * extent.Total()) && sides[0].Places() != to && sides[1].Places() != to;
    const int rowsAtOnce = RowsAtOnce(sides, CheckedPicture(destination, format));
    const std::uint64_t stride = (extent.bytes + 63) / 64 * 64;
    std::optional<ScratchBlock> blocks[2];
    for (int i = 0; i < 2; ++i) {
        blocks[i] = sides[i].Converts() ? TakeScratch(stride * static_cast<std::uint64_t>(rowsAtOnce))
                                        : MoveApart(sides[i].Places(), to, extent);
        if (!blocks[i]) {
            return kPB_OutOfMemory;
        }
        if (sides[i].Converts()) {
            sides[i].ConvertInto(blocks[i]->get(), stride);
        }
    }
    RowsThroughMask rows(destination, format, mask, {stream, sides[0].Places().stride});
    for (int top = 0; top < destination.height; top += rowsAtOnce) {
        const int count = std::min(rowsAtOnce, destination.height - top);
        for (const Side& side : sides) {
            if (side.Converts()) {
                side.Convert(top, count);
            }
        }
        for (int row = top; row < top + count; ++row) {
            rows.Run(sides[0].Row(row, top), sides[1].Row(row, top), row);
        }
        if (destination.height - top <= rowsAtOnce) {
            break;
        }
    }
    if (stream) {
        KernelsOfThisMachine().finishStreaming();
    }
    return kPB_Success;
}

} // namespace PixelBlitter
