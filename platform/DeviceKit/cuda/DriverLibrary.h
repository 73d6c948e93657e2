#pragma once

/// The CUDA driver, loaded when devices are first asked for.

#include "DriverTypes.h"

#include <cstdint>
#include <string>

namespace DK::Details {

// The function, the symbol of its current version, its parameters.
// clang-format off
#define DEVICEKIT_DRIVER_FUNCTIONS(X)                                                                                  \
    X(cuInit,                  "cuInit",                       (unsigned int flags))                                   \
    X(cuDriverGetVersion,      "cuDriverGetVersion",           (int* version))                                         \
    X(cuGetErrorName,          "cuGetErrorName",               (CUresult error, const char** name))                    \
    X(cuDeviceGetCount,        "cuDeviceGetCount",             (int* count))                                           \
    X(cuDeviceGet,             "cuDeviceGet",                  (CUdevice* device, int ordinal))                        \
    X(cuDeviceGetName,         "cuDeviceGetName",              (char* name, int length, CUdevice device))              \
    X(cuDeviceTotalMem,        "cuDeviceTotalMem_v2",          (std::size_t* bytes, CUdevice device))                  \
    X(cuDevicePrimaryCtxRetain,  "cuDevicePrimaryCtxRetain",   (CUcontext* context, CUdevice device))                  \
    X(cuDevicePrimaryCtxRelease, "cuDevicePrimaryCtxRelease_v2", (CUdevice device))                                    \
    X(cuCtxPushCurrent,        "cuCtxPushCurrent_v2",          (CUcontext context))                                    \
    X(cuCtxPopCurrent,         "cuCtxPopCurrent_v2",           (CUcontext* context))                                   \
    X(cuMemGetInfo,            "cuMemGetInfo_v2",              (std::size_t* free, std::size_t* total))                \
    X(cuMemAlloc,              "cuMemAlloc_v2",                (CUdeviceptr* data, std::size_t bytes))                 \
    X(cuMemFree,               "cuMemFree_v2",                 (CUdeviceptr data))                                     \
    X(cuMemHostAlloc,          "cuMemHostAlloc",               (void** data, std::size_t bytes, unsigned int flags))   \
    X(cuMemFreeHost,           "cuMemFreeHost",                (void* data))                                           \
    X(cuMemsetD2D8Async,       "cuMemsetD2D8Async",                                                                    \
      (CUdeviceptr data, std::size_t pitch, unsigned char value, std::size_t width, std::size_t height, CUstream stream))  \
    X(cuMemsetD2D16Async,      "cuMemsetD2D16Async",                                                                   \
      (CUdeviceptr data, std::size_t pitch, unsigned short value, std::size_t width, std::size_t height, CUstream stream)) \
    X(cuMemsetD2D32Async,      "cuMemsetD2D32Async",                                                                   \
      (CUdeviceptr data, std::size_t pitch, unsigned int value, std::size_t width, std::size_t height, CUstream stream))   \
    X(cuMemcpyHtoDAsync,       "cuMemcpyHtoDAsync_v2",                                                                 \
      (CUdeviceptr destination, const void* source, std::size_t bytes, CUstream stream))                               \
    X(cuMemcpyDtoHAsync,       "cuMemcpyDtoHAsync_v2",                                                                 \
      (void* destination, CUdeviceptr source, std::size_t bytes, CUstream stream))                                     \
    X(cuMemcpyDtoDAsync,       "cuMemcpyDtoDAsync_v2",                                                                 \
      (CUdeviceptr destination, CUdeviceptr source, std::size_t bytes, CUstream stream))                               \
    X(cuMemcpy2DAsync,         "cuMemcpy2DAsync_v2",           (const CUDA_MEMCPY2D* copy, CUstream stream))           \
    X(cuMemcpy2DUnaligned,     "cuMemcpy2DUnaligned_v2",       (const CUDA_MEMCPY2D* copy))                            \
    X(cuStreamCreate,          "cuStreamCreate",               (CUstream* stream, unsigned int flags))                 \
    X(cuStreamSynchronize,     "cuStreamSynchronize",          (CUstream stream))                                      \
    X(cuStreamDestroy,         "cuStreamDestroy_v2",           (CUstream stream))                                      \
    X(cuEventCreate,           "cuEventCreate",                (CUevent* event, unsigned int flags))                   \
    X(cuEventRecord,           "cuEventRecord",                (CUevent event, CUstream stream))                       \
    X(cuEventQuery,            "cuEventQuery",                 (CUevent event))                                        \
    X(cuEventSynchronize,      "cuEventSynchronize",           (CUevent event))                                        \
    X(cuEventDestroy,          "cuEventDestroy_v2",            (CUevent event))                                        \
    X(cuModuleLoadData,        "cuModuleLoadData",             (CUmodule* module, const void* image))                  \
    X(cuModuleUnload,          "cuModuleUnload",               (CUmodule module))                                      \
    X(cuModuleGetFunction,     "cuModuleGetFunction",          (CUfunction* function, CUmodule module, const char* name)) \
    X(cuLaunchKernel,          "cuLaunchKernel",                                                                       \
      (CUfunction function, unsigned int gridX, unsigned int gridY, unsigned int gridZ, unsigned int blockX,           \
       unsigned int blockY, unsigned int blockZ, unsigned int sharedBytes, CUstream stream, void** parameters,         \
       void** extra))
// clang-format on

struct DriverLibrary {
#define DEVICEKIT_MEMBER(function, symbol, parameters) CUresult(*function) parameters = nullptr;
    DEVICEKIT_DRIVER_FUNCTIONS(DEVICEKIT_MEMBER)
#undef DEVICEKIT_MEMBER

    /// Loads a library and finds the functions in it. False when it is not there or lacks one of them.
    bool Load(const char* name) noexcept;
};

/// The process's driver, loaded by the first call and kept for good; null where there is none.
const DriverLibrary* TheDriver() noexcept;

/// GPUs that the driver offers; 0 without a driver.
std::uint32_t CountDevices() noexcept;

/// The driver's version, or why there is no GPU.
std::string DriverText();

} // namespace DK::Details
