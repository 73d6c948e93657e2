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
struct CUfunc_st {
    fakecuda::PtxKernel kernel;
};
struct CUmod_st {
    std::map<std::string, CUfunc_st> functions;
};

} // namespace DK::Details

namespace {

constexpr int kInvalidValue = 1, kOutOfMemory = 2, kInvalidDevice = 101, kInvalidContext = 201, kInvalidHandle = 400,
              kNotFound = 500, kNotReady = 600, kIllegalAddress = 700, kMisalignedAddress = 716, kLaunchFailed = 719;
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

// Held for each call; Result is the error that the call ends with before it does anything.
class Call {
public:
    Call(const char* function, Needs needs) : mLock(TheDriver().mutex) {
        Driver& driver = TheDriver();
        if (const auto failure = driver.failures.find(function); failure != driver.failures.end()) {
            result = failure->second;
        } else if (needs != Needs::Nothing && !driver.started) {
            result = 3; // not initialized
        } else if (needs == Needs::Context && (sCurrent.empty() || sCurrent.back()->retained == 0)) {
            result = kInvalidContext;
        } else if (needs == Needs::Context) {
            result = driver.lost;
        }
    }
    int result = 0;

private:
    std::lock_guard<std::recursive_mutex> mLock;
};
#define FAKE_CALL(function, needs)                                                                                     \
    const Call call(function, Needs::needs);                                                                           \
    if (call.result != 0) {                                                                                            \
        return call.result;                                                                                            \
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

// Copies and memory sets are row by row; an address outside loses the device, as it does on the real one.
template <class Row>
int EnqueueRows(CUstream stream, std::size_t height, const Row& row) {
    return Enqueue(stream, [height, row] {
        for (std::size_t n = 0; n < height && TheDriver().lost == 0; ++n) {
            if (!row(n)) {
                TheDriver().lost = kIllegalAddress;
            }
        }
    });
}

template <class Word>
int MemorySet(CUdeviceptr data, std::size_t pitch, Word word, std::size_t width, std::size_t height, CUstream stream) {
    if (data % sizeof(Word) != 0 || (height > 1 && (pitch % sizeof(Word) != 0 || pitch < width * sizeof(Word)))) {
        return kInvalidValue;
    }
    return EnqueueRows(stream, height, [=](std::size_t n) {
        const CUdeviceptr row = data + n * pitch;
        if (!IsDevice(row, width * sizeof(Word))) {
            return false;
        }
        std::fill_n(static_cast<Word*>(Pointer(row)), width, word);
        return true;
    });
}

struct Side {
    std::uint64_t address;
    std::size_t pitch;
    bool device;
    bool Reaches(std::size_t n, std::size_t bytes) const { return !device || IsDevice(address + n * pitch, bytes); }
};

bool CopyRow(const Side& from, const Side& to, std::size_t n, std::size_t bytes) {
    if (!from.Reaches(n, bytes) || !to.Reaches(n, bytes)) {
        return false;
    }
    std::memcpy(Pointer(to.address + n * to.pitch), Pointer(from.address + n * from.pitch), bytes);
    return true;
}

int Copy(const Side& from, const Side& to, std::size_t bytes, std::size_t height, CUstream stream) {
    if (height > 1 && (from.pitch < bytes || to.pitch < bytes)) {
        return kInvalidValue;
    }
    return EnqueueRows(stream, height, [=](std::size_t n) { return CopyRow(from, to, n, bytes); });
}

Side SourceOf(const CUDA_MEMCPY2D& copy) {
    const bool device = copy.srcMemoryType == CU_MEMORYTYPE_DEVICE;
    return {device ? copy.srcDevice : reinterpret_cast<std::uint64_t>(copy.srcHost), copy.srcPitch, device};
}

Side DestinationOf(const CUDA_MEMCPY2D& copy) {
    const bool device = copy.dstMemoryType == CU_MEMORYTYPE_DEVICE;
    return {device ? copy.dstDevice : reinterpret_cast<std::uint64_t>(copy.dstHost), copy.dstPitch, device};
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
    FAKE_CALL("cuInit", Nothing)
    TheDriver().started = true;
    return TheDriver().devices > 0 ? 0 : 100;
}
FAKE_ENTRY cuDriverGetVersion(int* version) {
    FAKE_CALL("cuDriverGetVersion", Nothing)
    *version = 12040;
    return 0;
}
FAKE_ENTRY cuGetErrorName(CUresult error, const char** name) {
    FAKE_CALL("cuGetErrorName", Nothing)
    *name = error == 100 ? "CUDA_ERROR_NO_DEVICE" : nullptr;
    return *name != nullptr ? 0 : kInvalidValue;
}
FAKE_ENTRY cuDeviceGetCount(int* count) {
    FAKE_CALL("cuDeviceGetCount", Start)
    *count = TheDriver().devices;
    return 0;
}
FAKE_ENTRY cuDeviceGet(CUdevice* device, int ordinal) {
    FAKE_CALL("cuDeviceGet", Start)
    *device = ordinal;
    return ordinal < TheDriver().devices ? 0 : kInvalidDevice;
}
FAKE_ENTRY cuDeviceGetName(char* name, int length, CUdevice device) {
    FAKE_CALL("cuDeviceGetName", Start)
    std::strncpy(name, ("Fake GPU " + std::to_string(device)).c_str(), static_cast<std::size_t>(length));
    return 0;
}
FAKE_ENTRY cuDeviceTotalMem_v2(std::size_t* bytes, CUdevice) {
    FAKE_CALL("cuDeviceTotalMem", Start)
    *bytes = kDeviceBytes;
    return 0;
}
FAKE_ENTRY cuDevicePrimaryCtxRetain(CUcontext* context, CUdevice device) {
    FAKE_CALL("cuDevicePrimaryCtxRetain", Start)
    *context = &TheDriver().contexts[device];
    ++(*context)->retained;
    return 0;
}
FAKE_ENTRY cuDevicePrimaryCtxRelease_v2(CUdevice device) {
    FAKE_CALL("cuDevicePrimaryCtxRelease", Start)
    Driver& driver = TheDriver();
    if (--driver.contexts[device].retained == 0) { // a context takes its memory along
        std::erase_if(driver.memory, [&](const auto& block) {
            const bool own = block.second.context == &driver.contexts[device];
            std::free(own ? Pointer(block.first) : nullptr);
            return own;
        });
    }
    return 0;
}
FAKE_ENTRY cuCtxPushCurrent_v2(CUcontext context) {
    FAKE_CALL("cuCtxPushCurrent", Start)
    sCurrent.push_back(context);
    return 0;
}
FAKE_ENTRY cuCtxPopCurrent_v2(CUcontext* context) {
    FAKE_CALL("cuCtxPopCurrent", Start)
    if (sCurrent.empty()) {
        return kInvalidContext;
    }
    *context = sCurrent.back();
    sCurrent.pop_back();
    return 0;
}
FAKE_ENTRY cuMemGetInfo_v2(std::size_t* free, std::size_t* total) {
    FAKE_CALL("cuMemGetInfo", Context)
    *total = *free = kDeviceBytes;
    for (const auto& [address, block] : TheDriver().memory) {
        *free -= block.pinned ? 0 : block.bytes;
    }
    return 0;
}
FAKE_ENTRY cuMemAlloc_v2(CUdeviceptr* data, std::size_t bytes) {
    FAKE_CALL("cuMemAlloc", Context)
    return Allocate(reinterpret_cast<void**>(data), bytes, false);
}
FAKE_ENTRY cuMemFree_v2(CUdeviceptr data) {
    FAKE_CALL("cuMemFree", Context)
    return Free(data, false);
}
FAKE_ENTRY cuMemHostAlloc(void** data, std::size_t bytes, unsigned int) {
    FAKE_CALL("cuMemHostAlloc", Context)
    return Allocate(data, bytes, true);
}
FAKE_ENTRY cuMemFreeHost(void* data) {
    FAKE_CALL("cuMemFreeHost", Context)
    return Free(reinterpret_cast<std::uintptr_t>(data), true);
}
FAKE_ENTRY cuMemsetD2D8Async(CUdeviceptr data, std::size_t pitch, unsigned char value, std::size_t width,
                             std::size_t height, CUstream stream) {
    FAKE_CALL("cuMemsetD2D8Async", Context)
    return MemorySet(data, pitch, value, width, height, stream);
}
FAKE_ENTRY cuMemsetD2D16Async(CUdeviceptr data, std::size_t pitch, unsigned short value, std::size_t width,
                              std::size_t height, CUstream stream) {
    FAKE_CALL("cuMemsetD2D16Async", Context)
    return MemorySet(data, pitch, value, width, height, stream);
}
FAKE_ENTRY cuMemsetD2D32Async(CUdeviceptr data, std::size_t pitch, unsigned int value, std::size_t width,
                              std::size_t height, CUstream stream) {
    FAKE_CALL("cuMemsetD2D32Async", Context)
    return MemorySet(data, pitch, value, width, height, stream);
}
FAKE_ENTRY cuMemcpyHtoDAsync_v2(CUdeviceptr to, const void* from, std::size_t bytes, CUstream stream) {
    FAKE_CALL("cuMemcpyHtoDAsync", Context)
    return Copy({reinterpret_cast<std::uint64_t>(from), 0, false}, {to, 0, true}, bytes, 1, stream);
}
FAKE_ENTRY cuMemcpyDtoHAsync_v2(void* to, CUdeviceptr from, std::size_t bytes, CUstream stream) {
    FAKE_CALL("cuMemcpyDtoHAsync", Context)
    return Copy({from, 0, true}, {reinterpret_cast<std::uint64_t>(to), 0, false}, bytes, 1, stream);
}
FAKE_ENTRY cuMemcpyDtoDAsync_v2(CUdeviceptr to, CUdeviceptr from, std::size_t bytes, CUstream stream) {
    FAKE_CALL("cuMemcpyDtoDAsync", Context)
    return Copy({from, 0, true}, {to, 0, true}, bytes, 1, stream);
}
FAKE_ENTRY cuMemcpy2DAsync_v2(const CUDA_MEMCPY2D* copy, CUstream stream) {
    FAKE_CALL("cuMemcpy2DAsync", Context)
    if (copy->srcMemoryType == copy->dstMemoryType) {
        return kInvalidValue; // may be refused within a device
    }
    return Copy(SourceOf(*copy), DestinationOf(*copy), copy->WidthInBytes, copy->Height, stream);
}
FAKE_ENTRY cuMemcpy2DUnaligned_v2(const CUDA_MEMCPY2D* copy) {
    FAKE_CALL("cuMemcpy2DUnaligned", Context)
    for (std::size_t n = 0; n < copy->Height && TheDriver().lost == 0; ++n) {
        if (!CopyRow(SourceOf(*copy), DestinationOf(*copy), n, copy->WidthInBytes)) {
            TheDriver().lost = kIllegalAddress;
        }
    }
    return TheDriver().lost;
}
FAKE_ENTRY cuStreamCreate(CUstream* stream, unsigned int) {
    FAKE_CALL("cuStreamCreate", Context)
    return Give(TheDriver().streams, *stream);
}
FAKE_ENTRY cuStreamSynchronize(CUstream stream) {
    FAKE_CALL("cuStreamSynchronize", Context)
    RunAll(stream);
    return TheDriver().lost;
}
FAKE_ENTRY cuStreamDestroy_v2(CUstream stream) {
    FAKE_CALL("cuStreamDestroy", Context)
    RunAll(stream);
    return TakeBack(TheDriver().streams, stream);
}
FAKE_ENTRY cuEventCreate(CUevent* event, unsigned int) {
    FAKE_CALL("cuEventCreate", Context)
    return Give(TheDriver().events, *event);
}
FAKE_ENTRY cuEventRecord(CUevent event, CUstream stream) {
    FAKE_CALL("cuEventRecord", Context)
    event->complete = std::make_shared<bool>(false);
    event->stream = stream;
    return Enqueue(stream, [complete = event->complete] { *complete = true; });
}
FAKE_ENTRY cuEventQuery(CUevent event) {
    FAKE_CALL("cuEventQuery", Context)
    return *event->complete ? 0 : kNotReady;
}
FAKE_ENTRY cuEventSynchronize(CUevent event) {
    FAKE_CALL("cuEventSynchronize", Context)
    if (!*event->complete) {
        RunAll(event->stream);
    }
    return TheDriver().lost;
}
FAKE_ENTRY cuEventDestroy_v2(CUevent event) {
    FAKE_CALL("cuEventDestroy", Context)
    return TakeBack(TheDriver().events, event);
}
FAKE_ENTRY cuModuleLoadData(CUmodule* module, const void* image) {
    FAKE_CALL("cuModuleLoadData", Context)
    Give(TheDriver().modules, *module);
    for (const auto& [name, kernel] : fakecuda::PtxKernel::Parse(static_cast<const char*>(image))) {
        (*module)->functions[name] = {kernel};
    }
    return 0;
}
FAKE_ENTRY cuModuleUnload(CUmodule module) {
    FAKE_CALL("cuModuleUnload", Context)
    return TakeBack(TheDriver().modules, module);
}
FAKE_ENTRY cuModuleGetFunction(CUfunction* function, CUmodule module, const char* name) {
    FAKE_CALL("cuModuleGetFunction", Context)
    const auto found = module->functions.find(name);
    *function = found != module->functions.end() ? &found->second : nullptr;
    return *function != nullptr ? 0 : kNotFound;
}
FAKE_ENTRY cuLaunchKernel(CUfunction function, unsigned int gridX, unsigned int gridY, unsigned int, unsigned int block,
                          unsigned int, unsigned int, unsigned int, CUstream stream, void** parameters, void**) {
    FAKE_CALL("cuLaunchKernel", Context)
    if (gridX == 0 || gridY == 0 || gridY > 65535 || block > 1024) {
        return kInvalidValue;
    }
    // Parameters are read when the kernel is launched.
    std::vector<std::uint64_t> words(function->kernel.ParameterCount());
    for (std::size_t n = 0; n < words.size(); ++n) {
        std::memcpy(&words[n], parameters[n], n < 2 ? 8 : 4);
    }
    return Enqueue(stream, [=]() mutable {
        std::vector<void*> pointers;
        for (std::uint64_t& word : words) {
            pointers.push_back(&word);
        }
        try {
            function->kernel.Run({gridX, gridY}, block, pointers.data(),
                                 [](std::uint64_t address, const auto& written) {
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
}
