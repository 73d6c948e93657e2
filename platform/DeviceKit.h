#pragma once

/// The suite's device library: GPUs, their memory, page-locked host memory, fills, copies of rows and completion
/// events.
///
/// - A device is a GPU, reached through the CUDA driver, or the host device, whose memory is the CPU's. The driver
///   (libcuda.so.1) is looked for at run time; nothing of it is needed to build. Where there is none, or it has no
///   device, there is the host device alone, which does everything here as the converter does it.
/// - Results are CUDA's error codes (CUresult), 0 for success. The driver may answer others than those named here. Once
///   a GPU is lost or a program on it has failed, every call on it answers that error and no memory can be had any more
///   until the process ends; the host device stays usable.
/// - A GPU's own work (fills and copies) runs in order on one queue, a CUDA stream that the default stream waits for
/// and
///   that waits for it. Its context is the device's primary one, so addresses are valid in everything else that uses
///   CUDA in the process. The caller's current context stays as it is. The host device has done its work when a call
///   returns.
/// - All functions may be called from any thread. None throws unless it says so. A process that forks after it touched
///   a GPU must not use GPUs in the child.

#include "SymbolVisibility.h"
#include "zynmediatypes.h"

#include <boost/shared_ptr.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#if defined(DeviceKit_EXPORTS)
#define DEVICEKIT_API VF_SYMBOL_EXPORT
#else
#define DEVICEKIT_API VF_SYMBOL_IMPORT
#endif

namespace DK {

namespace Details {
class Backend;
class MemoryPool;
struct DeviceInternals;
} // namespace Details

inline constexpr int kResult_Success = 0;
inline constexpr int kResult_InvalidValue = 1;     ///< null, a stride below a row, rows that leave the device's memory
inline constexpr int kResult_OutOfMemory = 2;      ///< of the device or of the host
inline constexpr int kResult_NoDevice = 100;       ///< no driver, or none of its devices
inline constexpr int kResult_NotReady = 600;       ///< of a query: not completed yet
inline constexpr int kResult_NotSupported = 801;   ///< a format or size that cannot be filled
inline constexpr int kResult_UnknownFailure = 999; ///< anything else

/// A point in a device's work, or in somebody's, which is complete or not. An event that was never recorded is
/// complete. It keeps what it needs of its device, but not the device.
class VF_SYMBOL_EXPORT Event {
public:
    /// Records the end of what is on the device's own queue now, instead of what was recorded before.
    int Record() { return RecordOnStream(nullptr); }

    /// The same for a CUDA stream (CUstream) of the device's primary context; null is the device's own queue.
    virtual int RecordOnStream(void* inStream) = 0;

    /// 0 when what was recorded is complete, kResult_NotReady while it is not, otherwise the error it ended with.
    virtual int Query() = 0;

    /// Waits until the event is complete, without occupying a processor. 0, or the error it ended with.
    virtual int Wait() = 0;

    virtual ~Event() = default;

protected:
    Event() = default;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
};

/// An event for work that no device does, such as a thread that still reads a pinned frame: whoever does the work
/// completes it.
class DEVICEKIT_API UserEvent final : public Event {
public:
    UserEvent();
    ~UserEvent() override;

    /// Not complete from here on; the stream is not looked at. 0.
    int RecordOnStream(void* inStream) override;
    int Query() override;
    int Wait() override;

    /// Complete, with 0 or the error that the work ended with.
    void Complete(int inResult = kResult_Success);

    /// Keeps an object until the event is complete or nobody is left to complete it.
    void KeepUntilComplete(const boost::shared_ptr<void>& inObject);

private:
    struct State;
    std::unique_ptr<State> mState;
};

/// Bytes of memory of one kind that a device has given out or keeps for reuse, as taken from the system.
struct PoolStatistics {
    std::uint64_t bytesInUse = 0;   ///< given out
    std::uint64_t bytesWaiting = 0; ///< freed, but with an event that is not complete
    std::uint64_t bytesIdle = 0;    ///< kept for reuse
};

/// A GPU or the host device. Obtained from the functions below; memory keeps no device, so hold one while there is
/// memory of it. Dropping the last reference waits for the device's work and gives its memory back; memory that waits
/// for a UserEvent then goes with that.
class DEVICEKIT_API Device {
public:
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// Its place among EnumerateDevices: GPUs in the driver's order, then the host device.
    std::uint32_t GetIndex() const noexcept { return mIndex; }
    /// Name as the driver has it; "host memory". Throws std::bad_alloc.
    std::string GetName() const;
    bool IsHost() const noexcept;

    /// Bytes of the device's memory, and how many of them are free for every process. 0 or an error.
    int GetMemorySize(std::uint64_t& outTotal, std::uint64_t& outFree) noexcept;

    /// Device memory, aligned to at least 64 bytes, contents undefined. Null when the device has none left, also after
    /// its idle memory has been given back, and for 0 bytes. On a GPU the address is not the CPU's to use.
    void* AllocateCUDAMemory(std::uint64_t inBytes) noexcept;

    /// Frees device memory; it is used again only after the event is complete (an empty one counts as complete). Memory
    /// whose event ended with an error is not used again. Null and addresses that this device did not give out, or that
    /// are free already, are ignored.
    void FreeCUDAMemory(void* inData, const boost::shared_ptr<Event>& inEvent) noexcept;

    /// The same for page-locked host memory, which copies to and from a GPU at full speed and which the CPU can
    /// address. Of the host device it is ordinary memory.
    void* AllocatePinnedMemory(std::uint64_t inBytes) noexcept;
    void FreePinnedMemory(void* inData, const boost::shared_ptr<Event>& inEvent) noexcept;

    /// A new event of this device; empty when it cannot be made.
    boost::shared_ptr<Event> CreateEvent() noexcept;

    /// Waits for everything on the device's own queue. 0, or the first error.
    int Synchronize() noexcept;

    PoolStatistics GetCUDAMemoryStatistics() const noexcept;
    PoolStatistics GetPinnedMemoryStatistics() const noexcept;

    /// Limits of idle bytes. Memory beyond them is given back when it is freed and complete, the longest idle first. At
    /// first a GPU keeps an eighth of its memory, at most 1 GiB, and 256 MiB of pinned memory. The host device keeps
    /// none, because what it gives back goes to the memory recycler.
    void SetIdleLimits(std::uint64_t inCUDAMemory, std::uint64_t inPinnedMemory) noexcept;

    /// Gives all idle memory back whose event is complete.
    void ReleaseIdleMemory() noexcept;

private:
    friend struct Details::DeviceInternals;
    Device(std::uint32_t inIndex, const boost::shared_ptr<Details::Backend>& inBackend);

    const std::uint32_t mIndex;
    const boost::shared_ptr<Details::Backend> mBackend;
    const std::unique_ptr<Details::MemoryPool> mCUDAMemory;
    const std::unique_ptr<Details::MemoryPool> mPinnedMemory;
};

/// All devices, the host device last. A device is the same object for everybody as long as somebody holds it. Throws
/// std::bad_alloc.
DEVICEKIT_API std::vector<boost::shared_ptr<Device>> EnumerateDevices();

/// The device at an index; empty when there is none. Throws std::bad_alloc, as do the next three.
DEVICEKIT_API boost::shared_ptr<Device> GetDevice(std::uint32_t inIndex);

/// The host device, which is always there.
DEVICEKIT_API boost::shared_ptr<Device> GetHostDevice();

/// The first GPU, or the host device where there is none.
DEVICEKIT_API boost::shared_ptr<Device> GetDefaultDevice();

/// What is known of the driver, for people: its version, or why there is no GPU.
DEVICEKIT_API std::string DescribeDriver();

/// Fill a picture in device memory with the bytes that the converter's fills give a frame: black and white of the
/// format's own range. The rows start at inData and follow each other at inRowBytes, which may be negative and which is
/// not looked at for height 1 and for planar and DV formats. Done when they return. A width or height of 0 or less is
/// nothing to do. Formats without alpha refuse transparent black; formats that the converter does not fill are refused.
DEVICEKIT_API int FillWithOpaqueBlack(const boost::shared_ptr<Device>& inDevice, const void* inData, int inRowBytes,
                                      zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight) noexcept;
DEVICEKIT_API int FillWithOpaqueWhite(const boost::shared_ptr<Device>& inDevice, const void* inData, int inRowBytes,
                                      zynmediatypes::PixelFormat inFormat, int inWidth, int inHeight) noexcept;
DEVICEKIT_API int FillWithTransparentBlack(const boost::shared_ptr<Device>& inDevice, const void* inData,
                                           int inRowBytes, zynmediatypes::PixelFormat inFormat, int inWidth,
                                           int inHeight) noexcept;

/// Rows of bytes in memory. Rows follow each other at rowBytes, which may be negative and which is not looked at for a
/// single row. A picture without rows is one row of all its bytes.
struct Rows {
    void* data = nullptr;
    std::int64_t rowBytes = 0;
};

/// The same, only read.
struct ConstRows {
    ConstRows(const Rows& inRows)
        : data(inRows.data), rowBytes(inRows.rowBytes) {} // NOLINT(google-explicit-constructor)
    ConstRows(const void* inData, std::int64_t inRowBytes) : data(inData), rowBytes(inRowBytes) {}
    const void* data;
    std::int64_t rowBytes;
};

/// Copy inHeight rows, inUsedRowBytes of each: from host memory to a device, from a device to host memory, and within a
/// device, where source and destination must not overlap. Host memory may be pinned or not.
///
/// Without an event a copy is complete when the function returns. With an event of this device (CreateEvent) it may go
/// on after that, and the event is recorded behind it; until the event is complete the source must not change, nor the
/// destination be read, nor either be freed without that event. Copies and fills of one device run in the order of
/// their calls. Work on other streams has to be waited for first.
///
/// Copies of 0 rows or bytes are nothing to do. A magnitude of a stride below the used bytes, null addresses, rows that
/// reach beyond memory of the device, an event of another kind, and an empty device give kResult_InvalidValue, and
/// nothing is copied. Addresses that are not the device's are taken as they are.
DEVICEKIT_API int CopyRowsToDevice(const boost::shared_ptr<Device>& inDevice, const Rows& inDeviceRows,
                                   const ConstRows& inHostRows, std::uint64_t inUsedRowBytes, int inHeight,
                                   const boost::shared_ptr<Event>& inEvent = {}) noexcept;
DEVICEKIT_API int CopyRowsToHost(const boost::shared_ptr<Device>& inDevice, const Rows& inHostRows,
                                 const ConstRows& inDeviceRows, std::uint64_t inUsedRowBytes, int inHeight,
                                 const boost::shared_ptr<Event>& inEvent = {}) noexcept;
DEVICEKIT_API int CopyRowsOnDevice(const boost::shared_ptr<Device>& inDevice, const Rows& inDestination,
                                   const ConstRows& inSource, std::uint64_t inUsedRowBytes, int inHeight,
                                   const boost::shared_ptr<Event>& inEvent = {}) noexcept;

} // namespace DK
