#include "FakeCudaDriver.h"

#include "PtxMachine.h"
#include "cuda/DriverTypes.h"

#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>

using namespace DK::Details;

namespace DK::Details {

struct CUctx_st {
    int retained = 0;
};
struct CUstream_st {
    std::deque<std::function<void()>> work;
};
struct CUevent_st {
    std::shared_ptr<bool> complete = std::make_shared<bool>(true);
    CUstream stream = nullptr;
};
struct CUmod_st {
    std::map<std::string, fakecuda::PtxKernel> functions;
};

} // namespace DK::Details

namespace {

constexpr int kInvalidValue = 1, kOutOfMemory = 2, kNotInitialized = 3, kInvalidDevice = 101, kInvalidContext = 201,
              kInvalidHandle = 400, kNotFound = 500, kNotReady = 600, kIllegalAddress = 700, kMisalignedAddress = 716,
              kLaunchFailed = 719;
constexpr std::size_t kDeviceBytes = std::size_t{64} << 20;
constexpr std::size_t kMaxDevices = 4;

struct Allocation {
    std::size_t bytes;
    bool pinned;
    CUcontext context;
};

struct Driver {
    std::recursive_mutex mutex;
    int devices = 1;
    int lost = 0;
    bool hold = false;
    bool started = false;
    std::map<std::string, int> failures;
    CUctx_st contexts[kMaxDevices];
    std::map<std::uintptr_t, Allocation> memory;
    std::set<CUstream> streams;
    std::set<CUevent> events;
    std::set<CUmodule> modules;
};
Driver& TheDriver() {
    static auto* const driver = new Driver; // devices may outlive static objects
    return *driver;
}
thread_local std::deque<CUcontext> sCurrent;

enum class Needs { Nothing, Start, Context };

// A call of the driver: its body is run unless there is an error that comes before it.
template <class Body>
CUresult Call(const char* function, Needs needs, const Body& body) {
    Driver& driver = TheDriver();
    const std::lock_guard lock(driver.mutex);
    if (const auto failure = driver.failures.find(function); failure != driver.failures.end()) {
        return failure->second;
    }
    if (needs != Needs::Nothing && !driver.started) {
        return kNotInitialized;
    }
    if (needs == Needs::Context && (sCurrent.empty() || sCurrent.back()->retained == 0)) {
        return kInvalidContext;
    }
    return needs == Needs::Context && driver.lost != 0 ? driver.lost : body(driver);
}
template <class Body>
CUresult InContext(const char* function, const Body& body) {
    return Call(function, Needs::Context, body);
}
#define FAKE_ENTRY extern "C" __attribute__((visibility("default"))) CUresult

void RunAll(CUstream stream) {
    while (!stream->work.empty()) {
        const auto work = std::move(stream->work.front());
        stream->work.pop_front();
        work();
    }
}

int Enqueue(CUstream stream, std::function<void()> work) {
    if (!TheDriver().streams.contains(stream)) {
        return kInvalidHandle;
    }
    stream->work.push_back(std::move(work));
    if (!TheDriver().hold) {
        RunAll(stream);
    }
    return TheDriver().lost;
}

// Whether the bytes lie in one live block of device memory, or, of host memory, in none of the device's.
bool IsDevice(std::uint64_t address, std::size_t bytes) {
    const auto& memory = TheDriver().memory;
    auto found = memory.upper_bound(address);
    if (found == memory.begin()) {
        return false;
    }
    const auto& [start, block] = *--found;
    return !block.pinned && address - start <= block.bytes && bytes <= block.bytes - (address - start);
}

void* Pointer(std::uint64_t address) {
    return reinterpret_cast<void*>(address);
}
std::uint64_t Address(const void* pointer) {
    return reinterpret_cast<std::uint64_t>(pointer);
}

// Does something for each row until an address outside loses the device, as it does on the real one.
template <class Row>
std::function<void()> ForRows(std::size_t height, const Row& row) {
    return [height, row] {
        for (std::size_t n = 0; n < height && TheDriver().lost == 0; ++n) {
            TheDriver().lost = row(n) ? 0 : kIllegalAddress;
        }
    };
}

template <class Word>
int MemorySet(CUdeviceptr data, std::size_t pitch, Word word, std::size_t width, std::size_t height, CUstream stream) {
    if (data % sizeof(Word) != 0 || (height > 1 && (pitch % sizeof(Word) != 0 || pitch < width * sizeof(Word)))) {
        return kInvalidValue;
    }
    return Enqueue(stream, ForRows(height, [=](std::size_t n) {
                       const bool inside = IsDevice(data + n * pitch, width * sizeof(Word));
                       std::fill_n(static_cast<Word*>(Pointer(data + n * pitch)), inside ? width : 0, word);
                       return inside;
                   }));
}

struct Side {
    std::uint64_t address;
    std::size_t pitch;
    bool device;
    bool Reaches(std::size_t n, std::size_t bytes) const { return !device || IsDevice(address + n * pitch, bytes); }
};

std::function<void()> CopyRows(const Side& from, const Side& to, std::size_t bytes, std::size_t height) {
    return ForRows(height, [=](std::size_t n) {
        const bool inside = from.Reaches(n, bytes) && to.Reaches(n, bytes);
        std::memcpy(Pointer(to.address + n * to.pitch), Pointer(from.address + n * from.pitch), inside ? bytes : 0);
        return inside;
    });
}

std::function<void()> CopyRows(const CUDA_MEMCPY2D& copy) {
    const bool fromDevice = copy.srcMemoryType == CU_MEMORYTYPE_DEVICE;
    const bool toDevice = copy.dstMemoryType == CU_MEMORYTYPE_DEVICE;
    return CopyRows({fromDevice ? copy.srcDevice : Address(copy.srcHost), copy.srcPitch, fromDevice},
                    {toDevice ? copy.dstDevice : Address(copy.dstHost), copy.dstPitch, toDevice}, copy.WidthInBytes,
                    copy.Height);
}

int Allocate(void** data, std::size_t bytes, bool pinned) {
    Driver& driver = TheDriver();
    std::size_t used = 0;
    for (const auto& [address, block] : driver.memory) {
        used += block.pinned == pinned && block.context == sCurrent.back() ? block.bytes : 0;
    }
    if (bytes == 0) {
        return kInvalidValue;
    }
    if (bytes > kDeviceBytes - used) {
        return kOutOfMemory;
    }
    *data = std::aligned_alloc(256, (bytes + 255) / 256 * 256);
    driver.memory[reinterpret_cast<std::uintptr_t>(*data)] = {bytes, pinned, sCurrent.back()};
    return 0;
}

int Free(std::uint64_t address, bool pinned) {
    Driver& driver = TheDriver();
    const auto found = driver.memory.find(address);
    if (found == driver.memory.end() || found->second.pinned != pinned) {
        return kInvalidValue;
    }
    for (const CUstream stream : driver.streams) { // as the real one, which waits for the device
        RunAll(stream);
    }
    driver.memory.erase(found);
    std::free(Pointer(address));
    return 0;
}

template <class T>
int Give(std::set<T*>& held, T*& out) {
    out = *held.insert(new T).first;
    return 0;
}

template <class T>
int TakeBack(std::set<T*>& held, T* object) {
    if (held.erase(object) == 0) {
        return kInvalidHandle;
    }
    delete object;
    return 0;
}

} // namespace

namespace fakecuda {

#define FAKE_SCRIPT __attribute__((visibility("default")))

FAKE_SCRIPT Held GetHeld() {
    const Driver& driver = TheDriver();
    Held held;
    for (const CUctx_st& context : driver.contexts) {
        held.contexts += context.retained;
    }
    held.streams = static_cast<int>(driver.streams.size());
    held.events = static_cast<int>(driver.events.size());
    held.modules = static_cast<int>(driver.modules.size());
    held.allocations = static_cast<int>(driver.memory.size());
    return held;
}

FAKE_SCRIPT void Reset() {
    Driver& driver = TheDriver();
    const std::lock_guard lock(driver.mutex);
    driver.devices = 1;
    driver.lost = 0;
    driver.hold = false;
    driver.failures.clear();
}

FAKE_SCRIPT void SetDeviceCount(int count) {
    TheDriver().devices = count;
}

FAKE_SCRIPT void FailCalls(const std::string& function, int error) {
    TheDriver().failures[function] = error;
}

FAKE_SCRIPT void LoseDevice(int error) {
    TheDriver().lost = error;
}

FAKE_SCRIPT void HoldQueues(bool hold) {
    Driver& driver = TheDriver();
    const std::lock_guard lock(driver.mutex);
    driver.hold = hold;
    for (const CUstream stream : driver.streams) {
        if (!hold) {
            RunAll(stream);
        }
    }
}

} // namespace fakecuda

FAKE_ENTRY cuInit(unsigned int) {
    return Call("cuInit", Needs::Nothing, [](Driver& driver) {
        driver.started = true;
        return driver.devices > 0 ? 0 : 100;
    });
}
FAKE_ENTRY cuDriverGetVersion(int* version) {
    return Call("cuDriverGetVersion", Needs::Nothing, [=](Driver&) { return *version = 12040, 0; });
}
FAKE_ENTRY cuGetErrorName(CUresult error, const char** name) {
    return Call("cuGetErrorName", Needs::Nothing, [=](Driver&) {
        *name = error == 100 ? "CUDA_ERROR_NO_DEVICE" : nullptr;
        return *name != nullptr ? 0 : kInvalidValue;
    });
}
FAKE_ENTRY cuDeviceGetCount(int* count) {
    return Call("cuDeviceGetCount", Needs::Start, [=](Driver& driver) { return *count = driver.devices, 0; });
}
FAKE_ENTRY cuDeviceGet(CUdevice* device, int ordinal) {
    return Call("cuDeviceGet", Needs::Start,
                [=](Driver& driver) { return *device = ordinal, ordinal < driver.devices ? 0 : kInvalidDevice; });
}
FAKE_ENTRY cuDeviceGetName(char* name, int length, CUdevice device) {
    return Call("cuDeviceGetName", Needs::Start, [=](Driver&) {
        std::strncpy(name, ("Fake GPU " + std::to_string(device)).c_str(), static_cast<std::size_t>(length));
        return 0;
    });
}
FAKE_ENTRY cuDeviceTotalMem_v2(std::size_t* bytes, CUdevice) {
    return Call("cuDeviceTotalMem", Needs::Start, [=](Driver&) { return *bytes = kDeviceBytes, 0; });
}
FAKE_ENTRY cuDevicePrimaryCtxRetain(CUcontext* context, CUdevice device) {
    return Call("cuDevicePrimaryCtxRetain", Needs::Start, [=](Driver& driver) {
        *context = &driver.contexts[device];
        ++(*context)->retained;
        return 0;
    });
}
FAKE_ENTRY cuDevicePrimaryCtxRelease_v2(CUdevice device) {
    return Call("cuDevicePrimaryCtxRelease", Needs::Start, [=](Driver& driver) {
        CUctx_st& context = driver.contexts[device];
        --context.retained;
        std::erase_if(driver.memory, [&](const auto& block) { // a context takes its memory along
            const bool ends = context.retained == 0 && block.second.context == &context;
            std::free(ends ? Pointer(block.first) : nullptr);
            return ends;
        });
        return 0;
    });
}
FAKE_ENTRY cuCtxPushCurrent_v2(CUcontext context) {
    return Call("cuCtxPushCurrent", Needs::Start, [=](Driver&) { return sCurrent.push_back(context), 0; });
}
FAKE_ENTRY cuCtxPopCurrent_v2(CUcontext* context) {
    return Call("cuCtxPopCurrent", Needs::Start, [=](Driver&) {
        if (sCurrent.empty()) {
            return kInvalidContext;
        }
        *context = sCurrent.back();
        sCurrent.pop_back();
        return 0;
    });
}
FAKE_ENTRY cuMemGetInfo_v2(std::size_t* free, std::size_t* total) {
    return InContext("cuMemGetInfo", [=](Driver& driver) {
        *total = *free = kDeviceBytes;
        for (const auto& [address, block] : driver.memory) {
            *free -= block.pinned ? 0 : block.bytes;
        }
        return 0;
    });
}
FAKE_ENTRY cuMemAlloc_v2(CUdeviceptr* data, std::size_t bytes) {
    return InContext("cuMemAlloc", [=](Driver&) { return Allocate(reinterpret_cast<void**>(data), bytes, false); });
}
FAKE_ENTRY cuMemFree_v2(CUdeviceptr data) {
    return InContext("cuMemFree", [=](Driver&) { return Free(data, false); });
}
FAKE_ENTRY cuMemHostAlloc(void** data, std::size_t bytes, unsigned int) {
    return InContext("cuMemHostAlloc", [=](Driver&) { return Allocate(data, bytes, true); });
}
FAKE_ENTRY cuMemFreeHost(void* data) {
    return InContext("cuMemFreeHost", [=](Driver&) { return Free(Address(data), true); });
}
FAKE_ENTRY cuMemsetD2D8Async(CUdeviceptr data, std::size_t pitch, unsigned char value, std::size_t width,
                             std::size_t height, CUstream stream) {
    return InContext("cuMemsetD2D8Async",
                     [=](Driver&) { return MemorySet(data, pitch, value, width, height, stream); });
}
FAKE_ENTRY cuMemsetD2D16Async(CUdeviceptr data, std::size_t pitch, unsigned short value, std::size_t width,
                              std::size_t height, CUstream stream) {
    return InContext("cuMemsetD2D16Async",
                     [=](Driver&) { return MemorySet(data, pitch, value, width, height, stream); });
}
FAKE_ENTRY cuMemsetD2D32Async(CUdeviceptr data, std::size_t pitch, unsigned int value, std::size_t width,
                              std::size_t height, CUstream stream) {
    return InContext("cuMemsetD2D32Async",
                     [=](Driver&) { return MemorySet(data, pitch, value, width, height, stream); });
}
FAKE_ENTRY cuMemcpyHtoDAsync_v2(CUdeviceptr to, const void* from, std::size_t bytes, CUstream stream) {
    return InContext("cuMemcpyHtoDAsync", [=](Driver&) {
        return Enqueue(stream, CopyRows({Address(from), 0, false}, {to, 0, true}, bytes, 1));
    });
}
FAKE_ENTRY cuMemcpyDtoHAsync_v2(void* to, CUdeviceptr from, std::size_t bytes, CUstream stream) {
    return InContext("cuMemcpyDtoHAsync", [=](Driver&) {
        return Enqueue(stream, CopyRows({from, 0, true}, {Address(to), 0, false}, bytes, 1));
    });
}
FAKE_ENTRY cuMemcpyDtoDAsync_v2(CUdeviceptr to, CUdeviceptr from, std::size_t bytes, CUstream stream) {
    return InContext("cuMemcpyDtoDAsync", [=](Driver&) {
        return Enqueue(stream, CopyRows({from, 0, true}, {to, 0, true}, bytes, 1));
    });
}
FAKE_ENTRY cuMemcpy2DAsync_v2(const CUDA_MEMCPY2D* copy, CUstream stream) {
    return InContext("cuMemcpy2DAsync", [=](Driver&) {
        // Within a device it may be refused, and overlapping rows are.
        const bool refused =
            copy->srcMemoryType == copy->dstMemoryType ||
            (copy->Height > 1 && (copy->srcPitch < copy->WidthInBytes || copy->dstPitch < copy->WidthInBytes));
        return refused ? kInvalidValue : Enqueue(stream, CopyRows(*copy));
    });
}
FAKE_ENTRY cuMemcpy2DUnaligned_v2(const CUDA_MEMCPY2D* copy) {
    return InContext("cuMemcpy2DUnaligned", [=](Driver& driver) {
        CopyRows (*copy)();
        return driver.lost;
    });
}
FAKE_ENTRY cuStreamCreate(CUstream* stream, unsigned int) {
    return InContext("cuStreamCreate", [=](Driver& driver) { return Give(driver.streams, *stream); });
}
FAKE_ENTRY cuStreamSynchronize(CUstream stream) {
    return InContext("cuStreamSynchronize", [=](Driver& driver) { return RunAll(stream), driver.lost; });
}
FAKE_ENTRY cuStreamDestroy_v2(CUstream stream) {
    return InContext("cuStreamDestroy",
                     [=](Driver& driver) { return RunAll(stream), TakeBack(driver.streams, stream); });
}
FAKE_ENTRY cuEventCreate(CUevent* event, unsigned int) {
    return InContext("cuEventCreate", [=](Driver& driver) { return Give(driver.events, *event); });
}
FAKE_ENTRY cuEventRecord(CUevent event, CUstream stream) {
    return InContext("cuEventRecord", [=](Driver&) {
        event->complete = std::make_shared<bool>(false);
        event->stream = stream;
        return Enqueue(stream, [complete = event->complete] { *complete = true; });
    });
}
FAKE_ENTRY cuEventQuery(CUevent event) {
    return InContext("cuEventQuery", [=](Driver&) { return *event->complete ? 0 : kNotReady; });
}
FAKE_ENTRY cuEventSynchronize(CUevent event) {
    return InContext("cuEventSynchronize", [=](Driver& driver) {
        if (!*event->complete) {
            RunAll(event->stream);
        }
        return driver.lost;
    });
}
FAKE_ENTRY cuEventDestroy_v2(CUevent event) {
    return InContext("cuEventDestroy", [=](Driver& driver) { return TakeBack(driver.events, event); });
}
FAKE_ENTRY cuModuleLoadData(CUmodule* module, const void* image) {
    return InContext("cuModuleLoadData", [=](Driver& driver) {
        Give(driver.modules, *module);
        (*module)->functions = fakecuda::PtxKernel::Parse(static_cast<const char*>(image));
        return 0;
    });
}
FAKE_ENTRY cuModuleUnload(CUmodule module) {
    return InContext("cuModuleUnload", [=](Driver& driver) { return TakeBack(driver.modules, module); });
}
FAKE_ENTRY cuModuleGetFunction(CUfunction* function, CUmodule module, const char* name) {
    return InContext("cuModuleGetFunction", [=](Driver&) {
        const auto found = module->functions.find(name);
        *function = found != module->functions.end() ? reinterpret_cast<CUfunction>(&found->second) : nullptr;
        return *function != nullptr ? 0 : kNotFound;
    });
}
FAKE_ENTRY cuLaunchKernel(CUfunction function, unsigned int gridX, unsigned int gridY, unsigned int, unsigned int block,
                          unsigned int, unsigned int, unsigned int, CUstream stream, void** parameters, void**) {
    return InContext("cuLaunchKernel", [=](Driver&) {
        if (gridX == 0 || gridY == 0 || gridY > 65535 || block > 1024) {
            return kInvalidValue;
        }
        const auto& kernel = *reinterpret_cast<const fakecuda::PtxKernel*>(function);
        // Parameters are read when the kernel is launched.
        return Enqueue(stream, [=, &kernel, given = kernel.Read(parameters)] {
            try {
                kernel.Run({gridX, gridY}, block, given, [](std::uint64_t address, const auto& written) {
                    const std::size_t bytes = written.size() * sizeof(written[0]);
                    if (address % bytes != 0 || !IsDevice(address, bytes)) {
                        TheDriver().lost = address % bytes != 0 ? kMisalignedAddress : kIllegalAddress;
                    } else {
                        std::memcpy(Pointer(address), written.data(), bytes);
                    }
                });
            } catch (const std::exception&) {
                TheDriver().lost = kLaunchFailed;
            }
        });
    });
}
