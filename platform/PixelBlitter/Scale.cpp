#include "Scale.h"

#include "Colour.h"
#include "Convert.h"
#include "MemoryRegime.h"
#include "Scratch.h"
#include "Tiles.h"
#include "scale/PixelOrders.h"
#include "scale/PixelScaler.h"
#include "scale/Resampler.h"
#include "scale/RowSharing.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace PixelBlitter {
namespace {

constexpr int kTile = static_cast<int>(kTilePixels);

// The lines of a picture that a side consists of.
struct LineSet {
    Lines lines = Lines::All;
    int PictureRow(int row) const noexcept {
        return lines == Lines::All ? row : 2 * row + (lines == Lines::Odd ? 1 : 0);
    }
};

// What is filtered: the source's own model and encoding, premultiplied where both sides have alpha.
Format FilteredFormat(const Format& source, const Format& destination) noexcept {
    Format filtered = source;
    const bool usesAlpha = source.alpha != AlphaKind::None && destination.alpha != AlphaKind::None;
    filtered.alpha = usesAlpha ? AlphaKind::Premultiplied : AlphaKind::None;
    return filtered;
}

// Planes from a column on.
struct TilePlanes {
    float* planes[4];
    TilePlanes(float* const from[4], std::ptrdiff_t column) noexcept
        : planes{from[0] + column, from[1] + column, from[2] + column, from[3] + column} {}
};

class PictureRows final : public FloatRowSource {
public:
    PictureRows(const SourcePicture& picture, const Format& filtered, const Kernels& kernels, LineSet lines) noexcept
        : mPicture(picture), mReader(picture, kernels), mSteps(picture.format, filtered), mKernels(kernels),
          mLines(lines) {
        if (picture.format.Is444()) {
            DequantisersInMemoryOrder(picture.format, mComponents);
        }
    }

    void Read(int row, int left, int right, float* const planes[4]) const noexcept override {
        if (mPicture.format.Is444()) {
            ReadPixels(row, left, right, planes);
            return;
        }
        TileScratch scratch;
        for (int first = left; first < right; first += kTile) {
            const int end = std::min(right, first + kTile);
            const auto count = static_cast<std::size_t>(end - first);
            float* tile[4];
            mReader.Read(mLines.PictureRow(row), first, end, scratch, tile);
            mSteps.Apply(mKernels, tile, count);
            for (int c = 0; c < 4; ++c) {
                std::copy_n(tile[c], count, planes[c] + (first - left));
            }
        }
    }

private:
    void ReadPixels(int row, int left, int right, float* const planes[4]) const noexcept {
        const auto pixelBytes = static_cast<std::ptrdiff_t>(BytesPerPixel(mPicture.format));
        const std::uint8_t* const pixels = mPicture.Row(mLines.PictureRow(row));
        for (int first = left; first < right; first += kTile) {
            const auto count = static_cast<std::size_t>(std::min(right - first, kTile));
            const TilePlanes tile(planes, first - left);
            Unpack444(mKernels, mPicture.format, pixels + first * pixelBytes, tile.planes, count, mComponents);
            mSteps.Apply(mKernels, tile.planes, count);
        }
    }

    SourcePicture mPicture;
    RowReader mReader;
    ColourSteps mSteps;
    const Kernels& mKernels;
    LineSet mLines;
    Dequantiser mComponents[4] = {};
};

class PictureSink final : public FloatRowSink {
public:
    PictureSink(const RowWriter& writer, const Format& filtered, const DestinationPicture& picture,
                const Kernels& kernels, bool stream, LineSet lines) noexcept
        : mWriter(writer), mSteps(filtered, picture.format), mKernels(kernels), mStream(stream), mLines(lines),
          mSubsampled(picture.format.IsSubsampled()), mClampAlpha(filtered.alpha != AlphaKind::None) {}

    // Rows come whole.
    void Write(int row, int left, int right, float* const planes[4]) noexcept override {
        ByteOutput output(mKernels, mStream);
        if (mSubsampled) {
            WriteSubsampled(row, left, right, planes, output);
            return;
        }
        for (int first = left; first < right; first += kTile) {
            const int end = std::min(right, first + kTile);
            const TilePlanes tile(planes, first - left);
            Finish(tile.planes, static_cast<std::size_t>(end - first));
            mWriter.WritePixels(mLines.PictureRow(row), first, end, tile.planes, output);
        }
    }

private:
    void Finish(float* const planes[4], std::size_t count) const noexcept {
        if (mClampAlpha) {
            mKernels.clampToUnit(planes[3], count);
        }
        mSteps.Apply(mKernels, planes, count);
    }

    // The chroma of a tile looks at the columns beside it, so that tiles overlap.
    void WriteSubsampled(int row, int left, int right, float* const planes[4], ByteOutput& output) const noexcept {
        TileScratch scratch;
        for (int first = left; first < right; first += kTile) {
            const int end = std::min(right, first + kTile);
            const int haloFirst = std::max(left, first - 1);
            const int haloEnd = std::min(right, end + 1);
            const auto count = static_cast<std::size_t>(haloEnd - haloFirst);
            float* tile[4];
            for (int c = 0; c < 4; ++c) {
                tile[c] = scratch.full[c] + TileScratch::kLead;
                std::copy_n(planes[c] + (haloFirst - left), count, tile[c]);
            }
            Finish(tile, count);
            for (float*& plane : tile) {
                plane += first - haloFirst;
            }
            mWriter.Write(mLines.PictureRow(row), first, end, tile, scratch, output);
        }
    }

    const RowWriter& mWriter;
    ColourSteps mSteps;
    const Kernels& mKernels;
    bool mStream;
    LineSet mLines;
    bool mSubsampled;
    bool mClampAlpha;
};

// One resampling: from lines of the source to lines of the destination.
struct Pass {
    LineSet source;
    LineSet destination;
};
struct Passes {
    Pass pass[2];
    int count = 1;
};

LineSet LinesOfField(Scan scan, int field) noexcept {
    if (scan == Scan::Progressive) {
        return {};
    }
    return {(scan == Scan::UpperFirst) == (field == 0) ? Lines::Even : Lines::Odd};
}

// Field 0 goes to field 0 and field 1 to field 1. A progressive source fills both fields, each from the lines around
// its own. A progressive destination shows field 0, the first in time: one moment, without combs and without ghosts.
Passes PassesOf(const FieldPair& fields, int sourceHeight, int destinationHeight) noexcept {
    // A single line has no second field.
    const Scan source = sourceHeight > 1 ? fields.source : Scan::Progressive;
    const Scan destination = destinationHeight > 1 ? fields.destination : Scan::Progressive;
    Passes passes;
    passes.count = destination == Scan::Progressive ? 1 : 2;
    for (const int field : {0, 1}) {
        passes.pass[field] = {LinesOfField(source, field), LinesOfField(destination, field)};
    }
    return passes;
}

// Bytes of the lines that are not of the first field. 4:2:0 chroma of frames belongs to both fields, and a DV frame is
// decoded whole.
std::uint64_t SecondFieldBytes(const SourcePicture& source, LineSet first) noexcept {
    const auto linesOf = [first](int height) {
        return static_cast<std::uint64_t>(first.lines == Lines::Even ? height / 2 : height - height / 2);
    };
    if (source.format.HasRows()) {
        return linesOf(source.height) * UsedRowBytes(source.format, source.width);
    }
    if (source.format.packing != Packing::Planar) {
        return 0;
    }
    const std::uint64_t chromaLines = source.format.fieldChroma ? 2 * linesOf(source.ChromaHeight()) : 0;
    return linesOf(source.height) * static_cast<std::uint64_t>(source.width) +
           chromaLines * static_cast<std::uint64_t>(source.ChromaWidth());
}

ResampleRequest RequestFor(const Pass& pass, const SourcePicture& source, const DestinationPicture& destination,
                           int quality) noexcept {
    ResampleRequest request;
    request.horizontal = WholeAxis(source.width, destination.width);
    request.vertical = LinesAxis(source.height, pass.source.lines, destination.height, pass.destination.lines);
    request.filter = FilterForQuality(quality, request.horizontal.step, request.vertical.step);
    return request;
}

bool Scalable(const Format& format) noexcept {
    return format.Is444() || format.IsSubsampled();
}

template <class Byte>
BasicPixelRows<Byte> PixelRowsOf(const BasicPicture<Byte>& picture, LineSet lines) noexcept {
    return {picture.Row(lines.PictureRow(0)), picture.Row(lines.PictureRow(1)) - picture.Row(lines.PictureRow(0))};
}

// One pass with its tables and memory.
class PreparedPass {
public:
    /// False when memory is exhausted.
    bool Prepare(const Pass& pass, const SourcePicture& source, const DestinationPicture& destination,
                 int quality) noexcept {
        ResampleRequest request = RequestFor(pass, source, destination, quality);
        mPass = pass;
        mFilter = request.filter;
        mWidth = source.width;
        mRows = request.vertical.destinationSize;
        const bool samePixels = SamePixels(source.format, destination.format);
        const bool pairs = PairsToPixels(source.format, destination.format);
        if ((samePixels || pairs) && PixelScaler::Takes(request, pairs)) {
            mName = PixelScaler::Takes(request, pairs);
            if (pairs) {
                mMatrix = PairMatrixBetween(source.format, destination.format);
            } else {
                mOrder = PixelOrderBetween(source.format, destination.format);
            }
            request.bands = PixelScaler::WorkersFor(request);
            mPixels = PixelScaler::Make(request, request.bands);
            if (!mPixels) {
                return false;
            }
            const AlphaStep alpha = AlphaStepBetween(source.format.alpha, destination.format.alpha);
            mWeighs = mOrder.sourceAlpha != 0 && alpha == AlphaStep::Keep && mPixels->Weighs();
            mWorkers = request.bands;
            if (mOrder.sourceAlpha == 0 || mWeighs) {
                return true;
            }
        }
        mFloats = ResamplePlan::Make(request);
        mWorkers = mFloats ? mFloats->Outline().bands : 0;
        return mFloats != nullptr;
    }

    const char* Name() const noexcept { return mName; }
    Filter FilterInUse() const noexcept { return mFilter; }
    int Workers() const noexcept { return mWorkers; }
    std::uint64_t TemporaryBytes() const noexcept {
        return (mPixels ? mPixels->TemporaryBytes() : 0) +
               (mFloats ? mFloats->Outline().temporaryBytes + mFloats->Outline().tableBytes : 0);
    }

    void Run(const SourcePicture& source, const DestinationPicture& destination, const RowWriter& writer,
             const Kernels& kernels, bool stream) const noexcept {
        const Format filtered = FilteredFormat(source.format, destination.format);
        const PictureRows rows(source, filtered, kernels, mPass.source);
        PictureSink sink(writer, filtered, destination, kernels, stream, mPass.destination);
        if (!mPixels) {
            mFloats->Run(rows, sink);
            return;
        }
        const PixelJob job{PixelRowsOf(source, mPass.source),
                           PixelRowsOf(destination, mPass.destination),
                           mOrder,
                           mMatrix ? &*mMatrix : nullptr,
                           mWeighs,
                           stream};
        ShareRows(mRows, PixelScaler::kGrain, mWorkers, [&](int worker, int top, int bottom) {
            if (mFloats) {
                RunOpaqueRows(job, worker, top, bottom, rows, sink);
            } else {
                mPixels->RunRows(job, worker, top, bottom);
            }
            if (stream) {
                kernels.finishStreaming();
            }
        });
    }

private:
    // Rows that see only opaque pixels are made in integers, others in floats. A grain of rows is one or the other, so
    // that it does not matter how rows are shared out. Neighbours of one kind are made together while what the look at
    // their alpha has read is still in a core's own cache.
    void RunOpaqueRows(const PixelJob& job, int worker, int top, int bottom, const PictureRows& rows,
                       PictureSink& sink) const noexcept {
        constexpr int kRowsTogether = 4 * PixelScaler::kGrain;
        int first = top;
        bool opaque = false;
        const auto run = [&](int end) {
            if (first == end) {
                return;
            }
            if (opaque) {
                mPixels->RunRows(job, worker, first, end);
            } else {
                mFloats->RunRows(rows, sink, worker, first, end);
            }
            first = end;
        };
        for (int grain = top; grain < bottom; grain += PixelScaler::kGrain) {
            const int end = std::min(bottom, grain + PixelScaler::kGrain);
            const bool isOpaque = IsOpaque(job, mPixels->SourceRows(grain, end), mWidth);
            if (isOpaque != opaque || (opaque && grain - first >= kRowsTogether)) {
                run(grain);
            }
            opaque = isOpaque;
        }
        run(bottom);
    }

    static bool IsOpaque(const PixelJob& job, const PixelScaler::RowRange& range, int width) noexcept {
        const PixelKernels& kernels = PixelKernelsOfThisMachine();
        for (int row = range.top; row < range.bottom; ++row) {
            if (!kernels.hasAllBits(job.source.Row(row), static_cast<std::size_t>(width), job.order.sourceAlpha)) {
                return false;
            }
        }
        return true;
    }

    const char* mName = "scale";
    Pass mPass;
    Filter mFilter = Filter::Box;
    int mWidth = 0; ///< of the source
    int mRows = 0;
    int mWorkers = 1;
    PixelOrder mOrder{};
    std::optional<PairMatrix> mMatrix;
    bool mWeighs = false;
    std::unique_ptr<PixelScaler> mPixels;
    std::unique_ptr<ResamplePlan> mFloats; ///< null where mPixels does all
};

} // namespace

FieldPair ResolveFields(int sourceFieldType, int destinationFieldType) noexcept {
    const auto isSet = [](int type) {
        return type >= zynmediatypes::kFieldType_Progressive && type <= zynmediatypes::kFieldType_LowerFirst;
    };
    if (!isSet(sourceFieldType)) {
        sourceFieldType = destinationFieldType;
    }
    if (!isSet(destinationFieldType)) {
        destinationFieldType = sourceFieldType;
    }
    const auto scan = [](int type) {
        return type == zynmediatypes::kFieldType_UpperFirst   ? Scan::UpperFirst
               : type == zynmediatypes::kFieldType_LowerFirst ? Scan::LowerFirst
                                                              : Scan::Progressive;
    };
    return {scan(sourceFieldType), scan(destinationFieldType)};
}

PB_Result ScalePicture(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                       int quality) noexcept {
    if (!Scalable(source.format) || !Scalable(destination.format)) {
        return kPB_UnsupportedFormat;
    }
    const Passes passes = PassesOf(fields, source.height, destination.height);
    PreparedPass prepared[2];
    for (int i = 0; i < passes.count; ++i) {
        if (!prepared[i].Prepare(passes.pass[i], source, destination, quality)) {
            return kPB_OutOfMemory;
        }
    }
    // Rows come from several threads at once, so the chroma of all of them is kept until the end.
    const std::optional<ScratchBlock> store = TakeScratch(RowWriter::StoreBytes(destination, destination.height));
    const bool overlap = Overlap(source, ReadOnly(destination));
    const std::optional<ScratchBlock> copy = TakeScratch(overlap ? PixelBytes(source) : 0);
    if (!store || !copy) {
        return kPB_OutOfMemory;
    }
    const Kernels& kernels = KernelsOfThisMachine();
    const SourcePicture stable = overlap ? CopyInto(source, copy->get(), kernels) : source;
    const bool stream = StreamsStores(PixelBytes(source) + PixelBytes(ReadOnly(destination)));
    RowWriter writer(destination, kernels, store->get(), destination.height);
    for (int i = 0; i < passes.count; ++i) {
        prepared[i].Run(stable, destination, writer, kernels, stream);
    }
    ByteOutput output(kernels, stream);
    writer.FinishRows(destination.height - 1, output);
    return kPB_Success;
}

void OutlineScale(const SourcePicture& source, const DestinationPicture& destination, const FieldPair& fields,
                  int quality, PB_Plan& plan) {
    if (!Scalable(source.format) || !Scalable(destination.format)) {
        plan.result = kPB_UnsupportedFormat;
        return;
    }
    plan.temporaryBytes = RowWriter::StoreBytes(destination, destination.height);
    const Passes passes = PassesOf(fields, source.height, destination.height);
    for (int i = 0; i < passes.count; ++i) {
        PreparedPass prepared;
        if (!prepared.Prepare(passes.pass[i], source, destination, quality)) {
            plan.result = kPB_OutOfMemory;
            return;
        }
        plan.path = prepared.Name();
        plan.filter = FilterName(prepared.FilterInUse());
        plan.bands = std::max(plan.bands, prepared.Workers());
        plan.temporaryBytes += prepared.TemporaryBytes();
    }
    const LineSet first = passes.pass[0].source;
    const bool fromFields = first.lines != Lines::All;
    const bool toFields = passes.pass[0].destination.lines != Lines::All;
    if (fromFields && !toFields) {
        plan.bytesMoved -= SecondFieldBytes(source, first);
    }
    plan.path += fromFields && toFields ? " fields" : fromFields ? " the first field" : toFields ? " into fields" : "";
}

} // namespace PixelBlitter
