#include "DriverLibrary.h"

#include <dlfcn.h>

#include <optional>

namespace DK::Details {
namespace {

constexpr const char* kLibraryName = "libcuda.so.1";

std::optional<DriverLibrary> LoadDriver() noexcept {
    DriverLibrary driver;
    return driver.Load(kLibraryName) ? std::optional(driver) : std::nullopt;
}

// The driver allows any number of starts.
CUresult StartAndCount(const DriverLibrary& driver, int& count) noexcept {
    const CUresult result = driver.cuInit(0);
    return result == 0 ? driver.cuDeviceGetCount(&count) : result;
}

} // namespace

bool DriverLibrary::Load(const char* name) noexcept {
    void* const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return false;
    }
    bool complete = true;
#define DEVICEKIT_FIND(function, symbol, parameters)                                                                   \
    function = reinterpret_cast<decltype(function)>(dlsym(library, symbol));                                           \
    complete = complete && function != nullptr;
    DEVICEKIT_DRIVER_FUNCTIONS(DEVICEKIT_FIND)
#undef DEVICEKIT_FIND
    if (!complete) {
        dlclose(library);
    }
    return complete;
}

const DriverLibrary* TheDriver() noexcept {
    static const std::optional<DriverLibrary> driver = LoadDriver();
    return driver ? &*driver : nullptr;
}

std::uint32_t CountDevices() noexcept {
    const DriverLibrary* const driver = TheDriver();
    int count = 0;
    if (driver == nullptr || StartAndCount(*driver, count) != 0 || count < 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(count);
}

std::string DriverText() {
    const DriverLibrary* const driver = TheDriver();
    if (driver == nullptr) {
        return "no CUDA driver";
    }
    int count = 0;
    const CUresult result = StartAndCount(*driver, count);
    if (result != 0) {
        const char* name = nullptr;
        driver->cuGetErrorName(result, &name);
        return "CUDA driver without a device: " + std::string(name != nullptr ? name : "unknown error") + " (" +
               std::to_string(result) + ")";
    }
    int version = 0;
    driver->cuDriverGetVersion(&version);
    // 12040 is 12.4.
    return "CUDA driver " + std::to_string(version / 1000) + "." + std::to_string(version % 1000 / 10) +
           (count > 0 ? "" : ", no device");
}

} // namespace DK::Details
