#include "TPixHandleUtilities.h"

#include "ContractReport.h"
#include "HandleMemory.h"
#include "LendingRegistry.h"
#include "RawFrame.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameGeometry.h"

#include <limits>
#include <new>
#include <utility>

namespace VF {
namespace {

using Details::CheckContract;
using Details::LentPixmaps;
using zynmediatypes::FieldType;
using zynmediatypes::PixelAspectRatio;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;
using MemoryRef = BRT::InterfaceRef<IVideoFrameMemoryAccess>;
using RowsRef = BRT::InterfaceRef<IVideoFrame2DPixelMemoryAccess>;

constexpr const char* kSource = "Src/TPixHandleUtilities";
constexpr const char* kFactorySource = "Src/VideoFrameFactory";

KxHandle AsHandle(TPixHand hand) noexcept {
    return reinterpret_cast<KxHandle>(hand);
}

/// A zeroed record, which goes back to the host unless it is lent.
class NewRecord {
public:
    NewRecord() noexcept : mHand(reinterpret_cast<TPixHand>(KxNewHandleClear(sizeof(TPix)))) {}
    ~NewRecord() { KxDisposeHandle(AsHandle(mHand)); }
    NewRecord(const NewRecord&) = delete;
    NewRecord& operator=(const NewRecord&) = delete;

    explicit operator bool() const noexcept { return mHand != nullptr; }
    TPix* operator->() const noexcept { return *mHand; }

    /// The last step, when the record is filled: other threads may find the handle from here on. Null when memory is
    /// exhausted.
    template <class T>
    TPixHand LendFor(const BRT::InterfaceRef<T>& object) {
        return LentPixmaps().Register(mHand, object) ? std::exchange(mHand, nullptr) : nullptr;
    }

private:
    TPixHand mHand;
};

std::uint8_t* BytesAt(void* data, std::int64_t offsetInBytes = 0) noexcept {
    return static_cast<std::uint8_t*>(Details::OffsetPointer(data, offsetInBytes));
}

RECT AsRect(const BRT::ParamRect<BRT::CRect>& bounds) noexcept {
    return {bounds.left, bounds.top, bounds.right, bounds.bottom};
}

std::int64_t FieldModeOf(bool asField, int whichField) noexcept {
    if (!asField) {
        return 0;
    }
    return whichField == 0 ? 1 : 2;
}

/// In thousandths over 1000, in the low 32 bits. What does not fit is 0/1000.
std::uint64_t PackedThousandths(const PixelAspectRatio& ratio) noexcept {
    const double thousandths =
        ratio.denominator == 0 ? 0.0 : static_cast<double>(ratio.numerator) / ratio.denominator * 1000.0;
    const bool fits = thousandths <= std::numeric_limits<std::int32_t>::max();
    const auto numerator = static_cast<std::uint32_t>(fits ? static_cast<std::int32_t>(thousandths) : 0);
    return numerator << 16U | 1000U;
}

std::uint64_t PackedRatio(const PixelAspectRatio& ratio) noexcept {
    return ratio.numerator << 16U | ratio.denominator;
}

/// Where the record looks at: the whole picture, or the field that begins at the first or the second stored row.
void ViewPicture(const NewRecord& record, const FrameRef& frame, const MemoryRef& memory, const RowsRef& rows,
                 bool asField, FieldType fieldType, int whichField) {
    const std::int32_t height = record->bounds.bottom - record->bounds.top;
    std::uint8_t* const row0 = BytesAt(memory->GetData());
    record->bounds.bottom = height;
    record->pixels = record->field0Base = record->field1Base = row0;
    if (asField && rows) {
        std::uint8_t* const row1 = BytesAt(row0, rows->GetRowBytes());
        const bool atRow0 = (fieldType == zynmediatypes::kFieldType_LowerFirst && whichField == 0) ||
                            (fieldType == zynmediatypes::kFieldType_UpperFirst && whichField == 1);
        record->bounds.bottom = atRow0 ? height - height / 2 : height / 2;
        record->pixels = atRow0 ? row0 : row1;
        const bool field0AtRow0 = fieldType == zynmediatypes::kFieldType_LowerFirst;
        record->field0Base = field0AtRow0 ? row0 : row1;
        record->field1Base = field0AtRow0 ? row1 : row0;
    }
    record->fieldsBase = record->pixels;
    record->fieldMode = FieldModeOf(asField, whichField);
    record->pixelAspectRatio = PackedThousandths(frame->GetPixelAspectRatio());
}

/// Row bytes, which wrap, and depth, from the CPU's or a device's rows.
template <class Rows>
void TakeRowsFrom(const NewRecord& record, const Rows& rows, bool everySecond) {
    record->rowbytes = Details::WrappingProduct(rows->GetRowBytes(), everySecond ? 2 : 1);
    record->bitsPerPixel = static_cast<std::int32_t>(rows->GetPixelSize() * 8);
}

/// The sides of a rectangle as the factory takes them: an inverted one is beyond what it makes.
struct Sides {
    explicit Sides(const RECT& rect) noexcept
        : width(static_cast<std::uint32_t>(rect.right) - static_cast<std::uint32_t>(rect.left)),
          height(static_cast<std::uint32_t>(rect.bottom) - static_cast<std::uint32_t>(rect.top)) {}
    bool AreInverted() const noexcept { return ((width | height) & 0x80000000U) != 0; }

    std::uint32_t width;
    std::uint32_t height;
};

TPixHand LendRawFrame(NewRecord& record, const BRT::InterfaceRef<RawFrame>& raw) {
    record->pixels = record->fieldsBase = BytesAt(raw->GetData());
    return record.LendFor(raw);
}

bool CheckHandle(TPixHand hand, int line = __builtin_LINE()) {
    CheckContract(hand != nullptr, "inTPixHand != NULL", kSource, line);
    return hand != nullptr;
}

FrameRef FrameOf(const Details::LendingRegistry::Object& object) noexcept {
    return BRT::QueryInterface<RK::IVideoFrame>(object);
}

} // namespace

TPixHand NewTPixFromVideoFrame(FrameRef inVideoFrame, bool inAsField, FieldType inFieldType, int inWhichField) {
    CheckContract(static_cast<bool>(inVideoFrame), "inVideoFrame != NULL", kFactorySource);
    NewRecord record;
    if (!record) {
        return nullptr;
    }
    record->bounds = AsRect(inVideoFrame->GetBounds());
    const auto memory = BRT::QueryInterface<IVideoFrameMemoryAccess>(inVideoFrame);
    const auto rows = BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(inVideoFrame);
    if (memory) {
        ViewPicture(record, inVideoFrame, memory, rows, inAsField, inFieldType, inWhichField);
    }
    if (rows) {
        TakeRowsFrom(record, rows, inAsField);
    } else if (const auto deviceRows = BRT::QueryInterface<IGPUVideoFrame2DPixelMemoryAccess>(inVideoFrame)) {
        TakeRowsFrom(record, deviceRows, false);
    }
    return record.LendFor(inVideoFrame);
}

TPixHand NewTPixFromVideoFrame(FrameRef inVideoFrame) {
    return NewTPixFromVideoFrame(std::move(inVideoFrame), false, static_cast<FieldType>(4), 0);
}

TPixHand NewTPixWithVideoFrame(RECT* inBounds, zynmediatypes::PixelFormat inPixelFormat, bool inAsField,
                               int inWhichField, const PixelAspectRatio& inPixelAspectRatio, int inA, int inB,
                               int inC) {
    CheckContract(inBounds != nullptr, "bounds", kFactorySource);
    if (!inBounds) {
        return nullptr;
    }
    NewRecord record;
    if (!record) {
        return nullptr;
    }
    const Sides sides(*inBounds);
    FrameRef frame;
    const std::int32_t status = CreateDiskAlignedVideoFrame(frame, inPixelFormat, sides.width, sides.height,
                                                            inPixelAspectRatio, inA, inB, inC, false, false);
    if (status < 0 || sides.AreInverted()) {
        return nullptr;
    }
    const auto memory = BRT::QueryInterface<IVideoFrameMemoryAccess>(frame);
    const auto rows = BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(frame);
    CheckContract(static_cast<bool>(memory), "memoryAccesibleVideoFrame != NULL", kFactorySource);

    record->bounds = AsRect(frame->GetBounds());
    if (inAsField) {
        const std::int32_t height = record->bounds.bottom - record->bounds.top;
        record->bounds.bottom = inWhichField == 0 ? height / 2 : height - height / 2;
    }
    // The new frame has no field type yet, so its fields start where those of an unset one do.
    if (inAsField && rows) {
        record->field0Base = BytesAt(rows->GetField0Data());
        record->field1Base = BytesAt(rows->GetField1Data());
        record->pixels = inWhichField == 0 ? record->field1Base : record->field0Base;
    } else {
        record->pixels = record->field0Base = record->field1Base = BytesAt(memory->GetData());
    }
    record->fieldsBase = record->pixels;
    record->fieldMode = FieldModeOf(inAsField, inWhichField);
    frame->SetFieldType(static_cast<FieldType>(record->fieldMode));
    record->pixelAspectRatio = PackedRatio(inPixelAspectRatio);
    if (rows) {
        record->rowbytes = inAsField ? rows->GetFieldRowBytes() : rows->GetRowBytes();
        record->bitsPerPixel = static_cast<std::int32_t>(rows->GetPixelSize() * 8);
    }
    return record.LendFor(frame);
}

TPixHand NewTPixWithRawFrame(std::uint64_t inSize, std::uint64_t inAlignment) {
    NewRecord record;
    if (!record) {
        return nullptr;
    }
    BRT::InterfaceRef<RawFrame> raw;
    try {
        raw = BRT::InterfaceRef<RawFrame>(new RawFrame);
        if (raw->Initialize(inSize, inAlignment) < 0) {
            return nullptr;
        }
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return LendRawFrame(record, raw);
}

TPixHand NewTPixFromVideoMemoryAccess(MemoryRef inMemoryAccess) {
    if (const auto raw = BRT::QueryInterface<RawFrame>(inMemoryAccess)) {
        if (NewRecord record; record) {
            return LendRawFrame(record, raw);
        }
    }
    const auto frame = BRT::QueryInterface<RK::IVideoFrame>(inMemoryAccess);
    return frame ? NewTPixFromVideoFrame(frame) : nullptr;
}

TPixHand NewCustomTPixWithVideoFrame(RECT* inBounds, zynmediatypes::PixelFormat inPixelFormat, int inCustomArg,
                                     const PixelAspectRatio& inPixelAspectRatio) {
    CheckContract(inBounds != nullptr, "bounds", kFactorySource);
    if (!inBounds) {
        return nullptr;
    }
    const Sides sides(*inBounds);
    FrameRef frame;
    const std::int32_t status =
        CreateCustomVideoFrame(frame, inPixelFormat, sides.width, sides.height, inCustomArg, inPixelAspectRatio);
    if (status < 0 || sides.AreInverted()) {
        return nullptr;
    }
    return NewTPixFromVideoFrame(frame);
}

void DisposeTPixFromVideoFrame(TPixHand inTPixHand) {
    CheckContract(inTPixHand != nullptr, "tpixHandle != NULL", kFactorySource);
    if (!KxIsHandle(inTPixHand)) {
        LentPixmaps().Take(inTPixHand); // a look-up may have added it
        return;
    }
    if (!*inTPixHand) {
        return;
    }
    const auto object = LentPixmaps().Take(inTPixHand); // outlives the record that points into it
    KxDisposeHandle(AsHandle(inTPixHand));
}

bool GetUnderlyingVideoFrameReadOnly(TPixHand inTPixHand) {
    if (!CheckHandle(inTPixHand)) {
        return true;
    }
    const auto object = LentPixmaps().FindOrInsert(inTPixHand);
    if (const FrameRef frame = FrameOf(object)) {
        return frame->GetReadOnly();
    }
    const auto raw = BRT::QueryInterface<RawFrame>(object);
    return !raw || raw->GetReadOnly();
}

unsigned int GetUnderlyingVideoFrameRenderTime(TPixHand inTPixHand) {
    if (!CheckHandle(inTPixHand)) {
        return 0;
    }
    const FrameRef frame = GetVideoFrameFromTPix(inTPixHand);
    return frame ? frame->GetRenderTime() : 0;
}

void GetUnderlyingVideoFrameAspectRatio(TPixHand inTPixHand, unsigned int* outAspectNum, unsigned int* outAspectDen) {
    const bool hasHandle = CheckHandle(inTPixHand);
    CheckContract(outAspectNum && outAspectDen, "outAspectNum != NULL && outAspectDen != NULL", kSource);
    PixelAspectRatio ratio;
    if (hasHandle) {
        if (const FrameRef frame = GetVideoFrameFromTPix(inTPixHand)) {
            ratio = frame->GetPixelAspectRatio();
        }
    }
    if (outAspectNum && outAspectDen) {
        *outAspectNum = ratio.numerator;
        *outAspectDen = ratio.denominator;
    }
}

zynmediatypes::PixelFormat GetUnderlyingVideoFramePixelFormat(TPixHand inTPixHand) {
    const FrameRef frame = CheckHandle(inTPixHand) ? FrameOf(LentPixmaps().Find(inTPixHand)) : nullptr;
    return frame ? frame->GetPixelType() : zynmediatypes::kPixelFormat_BGRA_4444_8u;
}

FieldType GetUnderlyingVideoFrameFieldType(TPixHand inTPixHand) {
    const FrameRef frame = CheckHandle(inTPixHand) ? FrameOf(LentPixmaps().Find(inTPixHand)) : nullptr;
    return frame ? frame->GetFieldType() : zynmediatypes::kFieldType_NotSet;
}

FrameRef GetVideoFrameFromTPix(TPixHand inTPixHand) {
    return CheckHandle(inTPixHand) ? FrameOf(LentPixmaps().FindOrInsert(inTPixHand)) : nullptr;
}

BRT::InterfaceRef<BRT::BRTUnknown> GetTPixHandFrameMapping(TPixHand inTPixHand) {
    return CheckHandle(inTPixHand) ? LentPixmaps().FindOrInsert(inTPixHand) : nullptr;
}

} // namespace VF
