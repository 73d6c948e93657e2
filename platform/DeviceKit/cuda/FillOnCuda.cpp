#include "FillOnCuda.h"

#include "../FillUnit.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

namespace DK::Details {
namespace {

constexpr unsigned int kThreadsOfBlock = 256;
constexpr unsigned int kMostBlockRows = 65535; // a grid has no more

// Rows of one unit, in ascending order of addresses.
struct FillRows {
    CUdeviceptr first = 0;
    std::uint64_t rowBytes = 0;
    std::uint64_t usedRowBytes = 0;
    int height = 0;

    bool AreAligned(std::size_t unit) const noexcept {
        return first % unit == 0 && (height == 1 || rowBytes % unit == 0);
    }
};

FillRows RowsOf(const FillJob& job) noexcept {
    const auto last = job.rowBytes < 0 ? static_cast<std::ptrdiff_t>(job.rowBytes) * (job.height - 1) : 0;
    const auto stride = static_cast<std::int64_t>(job.rowBytes);
    FillRows rows;
    rows.first = reinterpret_cast<CUdeviceptr>(job.data) + static_cast<CUdeviceptr>(last);
    rows.usedRowBytes = UsedRowBytes(job.format, job.width);
    rows.rowBytes = job.height == 1 ? rows.usedRowBytes : static_cast<std::uint64_t>(stride < 0 ? -stride : stride);
    rows.height = job.height;
    return rows;
}

template <class Word>
Word WordOf(const FillUnit& unit) noexcept {
    Word word;
    std::memcpy(&word, unit.bytes.data(), sizeof(word));
    return word;
}

CUresult LaunchKernel(CudaContext& context, FillRows rows, const FillUnit& unit) noexcept {
    CUfunction function = nullptr;
    if (const CUresult result = context.FindFillKernel(unit.size, function); result != 0) {
        return result;
    }
    std::array<std::uint32_t, 4> words{};
    std::memcpy(words.data(), unit.bytes.data(), unit.bytes.size());
    auto units = static_cast<std::uint32_t>(rows.usedRowBytes / unit.size);
    auto height = static_cast<std::uint32_t>(rows.height);
    std::array<void*, 8> parameters{&rows.first, &rows.rowBytes, &units,    &height,
                                    &words[0],   &words[1],      &words[2], &words[3]};
    return context.Driver().cuLaunchKernel(function, (units - 1) / kThreadsOfBlock + 1,
                                           std::min(height, kMostBlockRows), 1, kThreadsOfBlock, 1, 1, 0,
                                           context.Stream(), parameters.data(), nullptr);
}

CUresult FillWithUnit(CudaContext& context, const FillRows& rows, const FillUnit& unit) noexcept {
    const DriverLibrary& driver = context.Driver();
    const auto height = static_cast<std::size_t>(rows.height);
    switch (unit.size) {
    case 1:
        return driver.cuMemsetD2D8Async(rows.first, rows.rowBytes, unit.bytes[0], rows.usedRowBytes, height,
                                        context.Stream());
    case 2:
        return driver.cuMemsetD2D16Async(rows.first, rows.rowBytes, WordOf<std::uint16_t>(unit), rows.usedRowBytes / 2,
                                         height, context.Stream());
    case 4:
        return driver.cuMemsetD2D32Async(rows.first, rows.rowBytes, WordOf<std::uint32_t>(unit), rows.usedRowBytes / 4,
                                         height, context.Stream());
    default:
        return LaunchKernel(context, rows, unit);
    }
}

CUresult FillPlanes(CudaContext& context, const FillJob& job) noexcept {
    std::array<std::uint8_t, 3> codes{};
    if (const int result = MakePlaneCodes(job, codes); result != kResult_Success) {
        return result;
    }
    const auto luma = static_cast<std::uint64_t>(job.width) * static_cast<std::uint64_t>(job.height);
    const std::uint64_t chroma = (zynmediatypes::PixelFormatSize(job.format, job.width, job.height) - luma) / 2;
    auto plane = reinterpret_cast<CUdeviceptr>(job.data);
    for (std::size_t n = 0; n < codes.size(); ++n) {
        const std::uint64_t bytes = n == 0 ? luma : chroma;
        if (const CUresult result =
                context.Driver().cuMemsetD2D8Async(plane, bytes, codes[n], bytes, 1, context.Stream());
            result != 0) {
            return result;
        }
        plane += bytes;
    }
    return 0;
}

// The picture as the converter fills it, without gaps beyond those of its rows.
CUresult UploadPicture(CudaContext& context, const FillJob& job) noexcept {
    const bool rows = zynmediatypes::StorageOf(job.format) == zynmediatypes::Storage::Rows;
    const std::uint64_t packedRowBytes = zynmediatypes::PixelFormatSize(job.format, job.width, 1);
    std::vector<std::uint8_t> picture;
    try {
        picture.resize(zynmediatypes::PixelFormatSize(job.format, job.width, job.height));
    } catch (const std::exception&) {
        return kResult_OutOfMemory;
    }
    const int result =
        job.fill(picture.data(), static_cast<int>(packedRowBytes), job.width, job.height, job.converterFormat);
    if (result != kPB_Success) {
        return CodeOfConverterResult(result);
    }
    CUDA_MEMCPY2D copy;
    copy.srcHost = picture.data();
    copy.srcPitch = packedRowBytes;
    copy.dstMemoryType = CU_MEMORYTYPE_DEVICE;
    if (rows) {
        const FillRows target = RowsOf(job);
        copy.dstDevice = target.first;
        copy.dstPitch = target.rowBytes;
        copy.WidthInBytes = target.usedRowBytes;
        copy.Height = static_cast<std::size_t>(target.height);
    } else {
        copy.dstDevice = reinterpret_cast<CUdeviceptr>(job.data);
        copy.srcPitch = copy.dstPitch = copy.WidthInBytes = picture.size();
        copy.Height = 1;
    }
    const CUresult enqueued = context.Driver().cuMemcpy2DAsync(&copy, context.Stream());
    // The picture must outlive the copy.
    const CUresult completed = context.Driver().cuStreamSynchronize(context.Stream());
    return enqueued != 0 ? enqueued : completed;
}

} // namespace

CUresult EnqueueFill(CudaContext& context, const FillJob& job) noexcept {
    const zynmediatypes::Storage storage = zynmediatypes::StorageOf(job.format);
    if (zynmediatypes::IsPlanar(storage)) {
        return FillPlanes(context, job);
    }
    if (storage != zynmediatypes::Storage::Rows) {
        return UploadPicture(context, job);
    }
    FillUnit unit;
    if (const int result = MakeFillUnit(job, unit); result != kResult_Success) {
        return result;
    }
    const FillRows rows = RowsOf(job);
    return rows.AreAligned(unit.size) ? FillWithUnit(context, rows, unit) : UploadPicture(context, job);
}

} // namespace DK::Details
