#include "DeviceInternals.h"

#include <cstdlib>
#include <limits>
#include <optional>

namespace DK {
namespace {

using Details::CopyJob;
using Details::DeviceInternals;
using Details::Direction;

struct Reach {
    std::uint64_t before = 0;
    std::uint64_t behind = 0;
};

// The bytes before and behind the first row's start that are touched; nothing for rows that overlap or are too far
// apart to have addresses.
std::optional<Reach> ReachOf(std::int64_t rowBytes, std::uint64_t usedRowBytes, int height) noexcept {
    constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const std::uint64_t stride =
        rowBytes < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(rowBytes) : static_cast<std::uint64_t>(rowBytes);
    const auto steps = static_cast<std::uint64_t>(height) - 1;
    if (usedRowBytes > kMost || (steps > 0 && (stride < usedRowBytes || stride > (kMost - usedRowBytes) / steps))) {
        return std::nullopt;
    }
    const std::uint64_t distance = steps * stride;
    return steps > 0 && rowBytes < 0 ? Reach{distance, usedRowBytes} : Reach{0, distance + usedRowBytes};
}

bool MayTouch(const Device& device, const void* data, std::int64_t rowBytes, std::uint64_t usedRowBytes,
              int height) noexcept {
    const std::optional<Reach> reach = ReachOf(rowBytes, usedRowBytes, height);
    return data != nullptr && reach && DeviceInternals::HasRoom(device, data, reach->before, reach->behind);
}

// Rows in ascending order of addresses, and rows without gaps as one, are what copies are fastest for.
CopyJob Simplified(CopyJob job) noexcept {
    if (job.height > 1 && job.destination.rowBytes < 0 && job.source.rowBytes < 0) {
        const std::int64_t last = job.height - 1;
        job.destination.data = static_cast<std::uint8_t*>(job.destination.data) + last * job.destination.rowBytes;
        job.source.data = static_cast<const std::uint8_t*>(job.source.data) + last * job.source.rowBytes;
        job.destination.rowBytes = -job.destination.rowBytes;
        job.source.rowBytes = -job.source.rowBytes;
    }
    const auto used = static_cast<std::int64_t>(job.usedRowBytes);
    if (job.destination.rowBytes == used && job.source.rowBytes == used) {
        job.usedRowBytes *= static_cast<std::uint64_t>(job.height);
        job.height = 1;
    }
    return job;
}

int Copy(const boost::shared_ptr<Device>& device, const CopyJob& job, const boost::shared_ptr<Event>& event) noexcept {
    // Nobody would complete an event that is completed by hand.
    if (!device || dynamic_cast<UserEvent*>(event.get()) != nullptr) {
        return kResult_InvalidValue;
    }
    if (job.height <= 0 || job.usedRowBytes == 0) {
        return event ? event->Record() : kResult_Success;
    }
    if (!MayTouch(*device, job.destination.data, job.destination.rowBytes, job.usedRowBytes, job.height) ||
        !MayTouch(*device, job.source.data, job.source.rowBytes, job.usedRowBytes, job.height)) {
        return kResult_InvalidValue;
    }
    return DeviceInternals::BackendOf(*device).Copy(Simplified(job), event.get());
}

} // namespace

int CopyRowsToDevice(const boost::shared_ptr<Device>& inDevice, const Rows& inDeviceRows, const ConstRows& inHostRows,
                     std::uint64_t inUsedRowBytes, int inHeight, const boost::shared_ptr<Event>& inEvent) noexcept {
    return Copy(inDevice, {inDeviceRows, inHostRows, inUsedRowBytes, inHeight, Direction::ToDevice}, inEvent);
}

int CopyRowsToHost(const boost::shared_ptr<Device>& inDevice, const Rows& inHostRows, const ConstRows& inDeviceRows,
                   std::uint64_t inUsedRowBytes, int inHeight, const boost::shared_ptr<Event>& inEvent) noexcept {
    return Copy(inDevice, {inHostRows, inDeviceRows, inUsedRowBytes, inHeight, Direction::ToHost}, inEvent);
}

int CopyRowsOnDevice(const boost::shared_ptr<Device>& inDevice, const Rows& inDestination, const ConstRows& inSource,
                     std::uint64_t inUsedRowBytes, int inHeight, const boost::shared_ptr<Event>& inEvent) noexcept {
    return Copy(inDevice, {inDestination, inSource, inUsedRowBytes, inHeight, Direction::OnDevice}, inEvent);
}

} // namespace DK
