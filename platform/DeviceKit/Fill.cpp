#include "DeviceInternals.h"
#include "FillUnit.h"

#include <cstdlib>

namespace DK {
namespace {

using Details::DeviceInternals;
using Details::FillJob;

// Whether every byte that the fill writes lies in one piece of the device's memory, if the address is of its memory.
bool HasRoom(const Device& device, const FillJob& job) noexcept {
    if (zynmediatypes::StorageOf(job.format) != zynmediatypes::Storage::Rows) {
        return DeviceInternals::HasRoom(device, job.data, 0,
                                        zynmediatypes::PixelFormatSize(job.format, job.width, job.height));
    }
    const std::uint64_t used = Details::UsedRowBytes(job.format, job.width);
    const auto stride = static_cast<std::uint64_t>(std::abs(std::int64_t{job.rowBytes}));
    const std::uint64_t distance = stride * (static_cast<std::uint64_t>(job.height) - 1);
    return job.rowBytes < 0 ? DeviceInternals::HasRoom(device, job.data, distance, used)
                            : DeviceInternals::HasRoom(device, job.data, 0, distance + used);
}

int FillWith(Details::FillFunction fill, const boost::shared_ptr<Device>& device, const void* data, int rowBytes,
             zynmediatypes::PixelFormat format, int width, int height) noexcept {
    if (!device) {
        return kResult_InvalidValue;
    }
    if (width <= 0 || height <= 0) {
        return kResult_Success;
    }
    const auto* const row = zynmediatypes::FindPixelFormat(format.name);
    if (row == nullptr || row->format != format || row->converterValue == 0) {
        return kResult_NotSupported;
    }
    const bool rows = zynmediatypes::StorageOf(format) == zynmediatypes::Storage::Rows;
    if (data == nullptr ||
        (rows && height > 1 &&
         static_cast<std::uint64_t>(std::abs(std::int64_t{rowBytes})) < Details::UsedRowBytes(format, width))) {
        return kResult_InvalidValue;
    }
    const FillJob job{fill,
                      const_cast<void*>(data),
                      rows && height == 1 ? 0 : rowBytes,
                      format,
                      static_cast<PB_PixelFormat>(row->converterValue),
                      width,
                      height};
    return HasRoom(*device, job) ? DeviceInternals::BackendOf(*device).Fill(job) : kResult_InvalidValue;
}

} // namespace

int FillWithOpaqueBlack(const boost::shared_ptr<Device>& inDevice, const void* inData, int inRowBytes,
                        zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight) noexcept {
    return FillWith(PB_FillWithOpaqueBlack, inDevice, inData, inRowBytes, inFormat, inWidth, inHeight);
}

int FillWithOpaqueWhite(const boost::shared_ptr<Device>& inDevice, const void* inData, int inRowBytes,
                        zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight) noexcept {
    return FillWith(PB_FillWithOpaqueWhite, inDevice, inData, inRowBytes, inFormat, inWidth, inHeight);
}

int FillWithTransparentBlack(const boost::shared_ptr<Device>& inDevice, const void* inData, int inRowBytes,
                             zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight) noexcept {
    return FillWith(PB_FillWithTransparentBlack, inDevice, inData, inRowBytes, inFormat, inWidth, inHeight);
}

} // namespace DK
