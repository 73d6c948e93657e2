#pragma once

/// Tiles of float planes, and reading and writing them from and to the rows of any uncompressed picture.
///
/// Planes run in canonical order, B G R A or V U Y A, normalised: RGB, luma and alpha 0 to 1, chroma -0.5 to 0.5.

#include "ChromaSiting.h"
#include "Picture.h"

#include <cstddef>
#include <cstdint>

namespace PixelBlitter {

/// Plane pointers address column `left` of what was asked for; samples before and behind it may be touched within the
/// buffer.
struct TileScratch {
    static constexpr std::size_t kLead = kPlanePadding;
    /// Lead, a tile, the columns on either side that filters want up to whole groups of six, and whole vectors.
    static constexpr std::size_t kCapacity = kLead + kTilePixels + 48 + 2 * kPlanePadding;
    alignas(64) float full[4][kCapacity] = {}; ///< V U Y A or B G R A
    alignas(64) float half[2][kCapacity] = {}; ///< V U at half width
};

/// Luma of columns [left, right) and the chroma pairs that cover them.
struct HalfTile {
    float* luma;
    float* chroma[2]; ///< V, U
};

/// The longest run of columns that one Read takes: a tile and one column on either side.
inline constexpr int kReadColumns = static_cast<int>(kTilePixels) + 2;

class RowReader {
public:
    RowReader(const SourcePicture& picture, const Kernels& kernels) noexcept;

    /// Columns [left, right), at most kReadColumns, of a row counted from the top, with chroma at full width. The
    /// fourth plane of a subsampled format is not filled.
    void Read(int row, int left, int right, TileScratch& scratch, float* outPlanes[4]) const noexcept;

    /// As Read with chroma at half width, for subsampled formats. left is even.
    HalfTile ReadHalf(int row, int left, int right, TileScratch& scratch) const noexcept;

private:
    // Chroma samples [first, end) and their luma; both ends may be widened. Returns the first sample that was read.
    int ReadPairs(int row, int first, int end, TileScratch& scratch) const noexcept;
    int ReadDvPairs(int row, int first, int end, TileScratch& scratch) const noexcept;

    SourcePicture mPicture;
    const Kernels& mKernels;
    VerticalSiting mVertical;
    Dequantiser mComponents[4]; ///< in memory order for 4:4:4:4
    Dequantiser mLuma;
    Dequantiser mChroma;
};

/// Where packers put bytes: straight into the picture, or through a cached buffer and past the caches.
class ByteOutput {
public:
    ByteOutput(const Kernels& kernels, bool stream) noexcept : mKernels(kernels), mStream(stream) {}
    ~ByteOutput() {
        if (mStream) {
            mKernels.finishStreaming();
        }
    }
    ByteOutput(const ByteOutput&) = delete;
    ByteOutput& operator=(const ByteOutput&) = delete;

    /// Where to pack bytes that are meant for destination; Commit moves them there. At most kCapacity bytes.
    std::uint8_t* Begin(std::uint8_t* destination) noexcept { return mStream ? mBuffer : destination; }
    void Commit(std::uint8_t* destination, std::size_t bytes) noexcept {
        if (mStream) {
            mKernels.streamCopy(mBuffer, destination, bytes);
        }
    }

    static constexpr std::size_t kCapacity = kTilePixels * 16;

private:
    const Kernels& mKernels;
    bool mStream;
    alignas(64) std::uint8_t mBuffer[kCapacity];
};

class RowWriter {
public:
    /// chromaStore is StoreBytes(picture, rowsKept) bytes, aligned for floats: chroma at half width of the last
    /// rowsKept rows, from which the chroma rows of 4:2:0 are mixed and those of 4:1:1 are narrowed.
    RowWriter(const DestinationPicture& picture, const Kernels& kernels, void* chromaStore, int rowsKept) noexcept;

    static std::uint64_t StoreBytes(const DestinationPicture& picture, int rowsKept) noexcept;

    /// Writes columns [left, right) of a row; left divides by 48. planes address column left; planes[0] and planes[1]
    /// hold one more column on either side where the picture has it. The planes are used up. Different rows may be
    /// written by several threads at once.
    void Write(int row, int left, int right, float* const planes[4], TileScratch& scratch,
               ByteOutput& output) const noexcept;

    /// The same for 4:4:4:4 formats; planes hold nothing but the columns and stay as they are.
    void WritePixels(int row, int left, int right, const float* const planes[4], ByteOutput& output) const noexcept;

    /// The same with chroma at half width, for subsampled formats.
    void WriteHalf(int row, int left, int right, const HalfTile& tile, ByteOutput& output) const noexcept;

    /// Says that all rows down to this one have been written: chroma rows that need no others are made. Rows must not
    /// run ahead of this by more than rowsKept.
    void FinishRows(int lastRow, ByteOutput& output) noexcept;

private:
    static bool StoresChroma(const Format& format) noexcept;
    float* StoredRow(int row, int plane) const noexcept;
    void MixStoredRows(int plane, int chromaRow, const VerticalSiting::Rows& rows, ByteOutput& output) const noexcept;
    void NarrowStoredRow(int plane, int row, ByteOutput& output) const noexcept;

    DestinationPicture mPicture;
    const Kernels& mKernels;
    VerticalSiting mVertical;
    Quantiser mComponents[4];
    Quantiser mLuma;
    Quantiser mChroma;
    float* mStore;
    int mRowsKept;
    int mNextChromaRow = 0;
};

/// Unpacks and packs four-component pixels; planes in canonical order, ranges in memory order.
void Unpack444(const Kernels& kernels, const Format& format, const std::uint8_t* source, float* const planes[4],
               std::size_t pixels, const Dequantiser memoryOrder[4]) noexcept;
void Pack444(const Kernels& kernels, const Format& format, const float* const planes[4], std::uint8_t* destination,
             std::size_t pixels, const Quantiser memoryOrder[4]) noexcept;

/// Ranges of the components of a 4:4:4:4 format in memory order.
void DequantisersInMemoryOrder(const Format& format, Dequantiser out[4]) noexcept;
void QuantisersInMemoryOrder(const Format& format, Quantiser out[4]) noexcept;

} // namespace PixelBlitter
