#pragma once

/// The interfaces through which a frame's pixels are reached, beside RK::IVideoFrame and RK::IVideoFrameClearable.
///
/// A caller holds a frame as BRT::InterfaceRef<RK::IVideoFrame> and asks for these with BRT::QueryInterface. What a
/// frame offers depends on its state at the moment of the query: a read-only frame is not clearable, a format without
/// rows has no 2D access. Table slots and identifiers are fixed. The reference count may be changed from any thread;
/// concurrent setters on one frame are the caller's business unless a class says otherwise.

#include "BRTFoundation.h"
#include "RenderKit.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace DK {
class Event;
} // namespace DK

namespace VF {

/// The pixels of a frame, or of a raw block, as one run of bytes that the CPU can address.
class IVideoFrameMemoryAccess : public BRT::BRTUnknown {
public:
    /// {58D1D4D6-E9FB-4FE0-A8BC-3A3C7634EB3B}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x58D1D4D6, 0xE9FB, 0x4FE0, {0xA8, 0xBC, 0x3A, 0x3C, 0x76, 0x34, 0xEB, 0x3B}};

    /// Slot 4. First byte of pixel data: row formats keep the picture's bottom row there, planar and DV formats the
    /// start of the image. Valid while a reference to the frame is held. Write through it only while the frame is not
    /// read-only.
    virtual void* GetData() = 0;
    /// Slot 5. Bytes of pixel data.
    virtual std::uint64_t GetDataSize() = 0;
    /// Slot 6. Bytes of the whole storage block behind the frame, header and alignment slack included.
    virtual std::uint64_t GetBufferSize() = 0;

protected:
    ~IVideoFrameMemoryAccess() = default;
};

/// The pixels of a frame as rows, bottom row of the picture first. Offered for row-addressable formats only.
class IVideoFrame2DPixelMemoryAccess : public BRT::BRTUnknown {
public:
    /// {282D21CF-D8DA-4E4F-82BE-6E9C176CA796}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x282D21CF, 0xD8DA, 0x4E4F, {0x82, 0xBE, 0x6E, 0x9C, 0x17, 0x6C, 0xA7, 0x96}};

    /// Slot 4. Bytes per pixel; 0 where a pixel has no whole number of bytes.
    virtual std::uint32_t GetPixelSize() = 0;
    /// Slot 5. Bytes from one row to the next.
    virtual std::int32_t GetRowBytes() = 0;
    /// Slots 6 and 7. First row of a field in memory.
    virtual void* GetField0Data() = 0;
    virtual void* GetField1Data() = 0;
    /// Slot 8. Bytes from one row of a field to the next: twice the row bytes.
    virtual std::int32_t GetFieldRowBytes() = 0;
    /// Slot 9. The row in memory, 0 or 1, at which a field begins. Field 0 is field 0, everything else field 1.
    virtual std::uint32_t GetFieldFirstLine(std::uint32_t inField) = 0;

protected:
    ~IVideoFrame2DPixelMemoryAccess() = default;
};

/// A frame that lives on a block which other processes can map.
class IPublishableVideoFrame : public BRT::BRTUnknown {
public:
    /// {3807D999-2D17-4C49-9BC3-41051EBEC079}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x3807D999, 0x2D17, 0x4C49, {0x9B, 0xC3, 0x41, 0x05, 0x1E, 0xBE, 0xC0, 0x79}};

    /// Slot 4. Publishes the frame under an identifier without copying; a frame that is published already gets another
    /// name for the same block. 0 or kResult_Failed. A writable frame is read-only for good after its first success.
    virtual std::int32_t Publish(const zyncore::utility::Guid& inId) = 0;

protected:
    ~IPublishableVideoFrame() = default;
};

/// A frame in the memory of a device.
class IGPUVideoFrame : public BRT::BRTUnknown {
public:
    /// {CF026861-A969-4B32-9A5A-349196DBA591}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0xCF026861, 0xA969, 0x4B32, {0x9A, 0x5A, 0x34, 0x91, 0x96, 0xDB, 0xA5, 0x91}};

    /// Slot 4. Index of the device that owns the memory.
    virtual std::uint32_t GetDeviceIndex() = 0;
    /// Slots 5 and 6. An identifier that travels with the frame; all zeros until set.
    virtual zyncore::utility::Guid GetFrameGuid() = 0;
    virtual void SetFrameGuid(zyncore::utility::Guid inGuid) = 0;

protected:
    ~IGPUVideoFrame() = default;
};

/// Memory access whose pointers are device addresses that the CPU must not touch.
class IGPUVideoFrameMemoryAccess : public IVideoFrameMemoryAccess {
public:
    /// {689AC22C-6831-4C8D-B1FD-0D654DC965BB}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x689AC22C, 0x6831, 0x4C8D, {0xB1, 0xFD, 0x0D, 0x65, 0x4D, 0xC9, 0x65, 0xBB}};

protected:
    ~IGPUVideoFrameMemoryAccess() = default;
};

/// Row access whose pointers are device addresses that the CPU must not touch.
class IGPUVideoFrame2DPixelMemoryAccess : public IVideoFrame2DPixelMemoryAccess {
public:
    /// {5097294E-2EFF-4C04-8861-CC393A73BC5C}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x5097294E, 0x2EFF, 0x4C04, {0x88, 0x61, 0xCC, 0x39, 0x3A, 0x73, 0xBC, 0x5C}};

protected:
    ~IGPUVideoFrame2DPixelMemoryAccess() = default;
};

/// A frame that carries the event after which its memory may be reused.
class ICompletionEventVideoFrame : public BRT::BRTUnknown {
public:
    /// {13E1FF4A-84BA-4B45-9CB7-4F658044ED8A}
    static constexpr zyncore::utility::Guid kInterfaceID{
        0x13E1FF4A, 0x84BA, 0x4B45, {0x9C, 0xB7, 0x4F, 0x65, 0x80, 0x44, 0xED, 0x8A}};

    /// Slots 4 and 5. The event is shared; empty until set.
    virtual void SetCompletionEvent(boost::shared_ptr<DK::Event> inEvent) = 0;
    virtual boost::shared_ptr<DK::Event> GetCompletionEvent() = 0;

protected:
    ~ICompletionEventVideoFrame() = default;
};

} // namespace VF
