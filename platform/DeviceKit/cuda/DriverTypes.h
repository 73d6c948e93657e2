#pragma once

/// The few types of the CUDA Driver API that are used, as its documentation has them.

#include <cstddef>

namespace DK::Details {

using CUresult = int;
using CUdevice = int;
using CUdeviceptr = unsigned long long;
using CUcontext = struct CUctx_st*;
using CUstream = struct CUstream_st*;
using CUevent = struct CUevent_st*;
using CUmodule = struct CUmod_st*;
using CUfunction = struct CUfunc_st*;
using CUarray = struct CUarray_st*;

inline constexpr unsigned int CU_STREAM_DEFAULT = 0;
inline constexpr unsigned int CU_EVENT_BLOCKING_SYNC = 1;
inline constexpr unsigned int CU_EVENT_DISABLE_TIMING = 2;
inline constexpr unsigned int CU_MEMHOSTALLOC_PORTABLE = 1;

enum CUmemorytype : unsigned int { CU_MEMORYTYPE_HOST = 1, CU_MEMORYTYPE_DEVICE = 2 };

struct CUDA_MEMCPY2D {
    std::size_t srcXInBytes = 0;
    std::size_t srcY = 0;
    CUmemorytype srcMemoryType = CU_MEMORYTYPE_HOST;
    const void* srcHost = nullptr;
    CUdeviceptr srcDevice = 0;
    CUarray srcArray = nullptr;
    std::size_t srcPitch = 0;
    std::size_t dstXInBytes = 0;
    std::size_t dstY = 0;
    CUmemorytype dstMemoryType = CU_MEMORYTYPE_HOST;
    void* dstHost = nullptr;
    CUdeviceptr dstDevice = 0;
    CUarray dstArray = nullptr;
    std::size_t dstPitch = 0;
    std::size_t WidthInBytes = 0;
    std::size_t Height = 0;
};
static_assert(sizeof(CUDA_MEMCPY2D) == 128);

} // namespace DK::Details
