#include "DeviceInternals.h"
#include "cuda/CudaBackend.h"
#include "cuda/DriverLibrary.h"
#include "host/HostBackend.h"
#include "zyncore/Immortal.h"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include <mutex>

namespace DK {
namespace {

using Details::DeviceInternals;

/// The devices that somebody holds. Never destroyed: devices may be asked for until the process ends.
struct Registry {
    std::mutex mutex;
    std::vector<boost::weak_ptr<Device>> devices;
};

Registry& TheRegistry() {
    static zyncore::detail::Immortal<Registry> registry;
    return registry.Get();
}

boost::shared_ptr<Device> MakeDevice(std::uint32_t index, std::uint32_t count) {
    if (index < count) {
        return DeviceInternals::Make(index, boost::make_shared<Details::CudaBackend>(*Details::TheDriver(), index));
    }
    return DeviceInternals::Make(index, boost::make_shared<Details::HostBackend>());
}

/// The devices from first to last; with count GPUs, the host device is number count.
std::vector<boost::shared_ptr<Device>> DevicesBetween(std::uint32_t first, std::uint32_t last, std::uint32_t count) {
    std::vector<boost::shared_ptr<Device>> devices;
    Registry& registry = TheRegistry();
    const std::lock_guard lock(registry.mutex);
    if (registry.devices.size() <= last) {
        registry.devices.resize(last + 1);
    }
    for (std::uint32_t index = first; index <= last; ++index) {
        boost::shared_ptr<Device> device = registry.devices[index].lock();
        if (!device || device->IsHost() != (index == count)) {
            device = MakeDevice(index, count);
            registry.devices[index] = device;
        }
        devices.push_back(std::move(device));
    }
    return devices;
}

} // namespace

std::vector<boost::shared_ptr<Device>> EnumerateDevices() {
    const std::uint32_t count = Details::CountDevices();
    return DevicesBetween(0, count, count);
}

boost::shared_ptr<Device> GetDevice(std::uint32_t inIndex) {
    const std::uint32_t count = Details::CountDevices();
    return inIndex <= count ? DevicesBetween(inIndex, inIndex, count).front() : boost::shared_ptr<Device>();
}

boost::shared_ptr<Device> GetHostDevice() {
    const std::uint32_t count = Details::CountDevices();
    return DevicesBetween(count, count, count).front();
}

boost::shared_ptr<Device> GetDefaultDevice() {
    return GetDevice(0);
}

std::string DescribeDriver() {
    return Details::DriverText();
}

} // namespace DK
