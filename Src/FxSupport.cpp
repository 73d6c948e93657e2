#include "FxSupport.h"

#include "ContractReport.h"
#include "LendingRegistry.h"
#include "PixelFormatUtilities.h"
#include "VideoFrameFactory.h"
#include "VideoFrameGeometry.h"

#include <new>

namespace VF {
namespace {

using Details::CheckContract;
using Details::LentWorlds;
using Details::WrappingProduct;
using zynmediatypes::FieldType;
using zynmediatypes::PixelFormat;
using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr const char* kSource = "Src/FxSupport";

/// A frame as a world sees it. A missing part is reported, and raises where it is used.
struct WorldFrame {
    explicit WorldFrame(FrameRef inFrame, int line = __builtin_LINE())
        : frame(std::move(inFrame)), memory(BRT::QueryInterface<IVideoFrameMemoryAccess>(frame)),
          rows(BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(frame)) {
        CheckContract(static_cast<bool>(memory), "memoryAccesibleVideoFrame != NULL", kSource, line);
        CheckContract(static_cast<bool>(rows), "memory2DPixelAccesibleVideoFrame != NULL", kSource, line);
    }

    FrameRef frame;
    BRT::InterfaceRef<IVideoFrameMemoryAccess> memory;
    BRT::InterfaceRef<IVideoFrame2DPixelMemoryAccess> rows;
};

EW_Pixel* LineAt(void* row0, std::int32_t rowBytes, std::int32_t row) noexcept {
    return static_cast<EW_Pixel*>(Details::OffsetPointer(row0, WrappingProduct(rowBytes, row)));
}

void BeginRecord(EW_LayerDef& world, const FrameRef& frame) {
    world.reserved0 = 0;
    world.reserved8 = 0;
    world.worldFlags = PixelFormatComponentPrecision(frame->GetPixelType()) == 16 ? 1 : 0;
}

/// What all worlds have of their frame.
void DescribeFrame(EW_LayerDef& world, const FrameRef& frame) {
    const BRT::ParamRect<BRT::CRect> bounds = frame->GetBounds();
    world.width = bounds.Width();
    world.height = bounds.Height();
    world.frameRect = {bounds.left, bounds.top, bounds.right, bounds.bottom};
    const zynmediatypes::PixelAspectRatio ratio = frame->GetPixelAspectRatio();
    world.aspectNumerator = ratio.numerator;
    world.aspectDenominator = ratio.denominator;
    world.reserved64 = 0;
    world.reserved116 = 0;
}

/// The lines of one field, top line first.
void ShowField(EW_LayerDef& world, const WorldFrame& source, FieldType fieldType, int whichField) {
    const FieldType own = source.frame->GetFieldType();
    if (own != zynmediatypes::kFieldType_Progressive && own != zynmediatypes::kFieldType_NotSet) {
        fieldType = own;
    }
    const bool lower = (fieldType == zynmediatypes::kFieldType_LowerFirst && whichField == 0) ||
                       (fieldType == zynmediatypes::kFieldType_UpperFirst && whichField == 1);
    const std::int32_t height = world.height;
    const std::int32_t lineMore = lower ? 0 : height % 2;
    world.data = LineAt(source.memory->GetData(), source.rows->GetRowBytes(), height - (lower ? 2 : 1));
    world.height = height / 2 + lineMore;
    world.frameRect.bottom = world.frameRect.bottom / 2 + lineMore;
    world.rowbytes = WrappingProduct(source.rows->GetFieldRowBytes(), -1);
}

} // namespace

void NewEW_WorldFromExistingVideoFrame(FrameRef inVideoFrame, EW_LayerDef& outWorld, bool inAsField,
                                       FieldType inFieldType, int inWhichField) {
    const WorldFrame source(std::move(inVideoFrame));
    BeginRecord(outWorld, source.frame);

    // The rest is written when nothing can fail any more.
    EW_LayerDef world = outWorld;
    DescribeFrame(world, source.frame);
    if (inAsField) {
        ShowField(world, source, inFieldType, inWhichField);
    } else {
        const std::int32_t rowBytes = source.rows->GetRowBytes();
        world.data = LineAt(source.memory->GetData(), rowBytes, world.height - 1);
        world.rowbytes = WrappingProduct(rowBytes, -1);
    }
    world.pixelFormat = BEToSDKPixelFormat(source.frame->GetPixelType());
    if (!LentWorlds().Register(world.data, source.frame)) {
        throw std::bad_alloc();
    }
    outWorld = world;
}

bool NewEW_WorldWithNewVideoFrame(unsigned int inWidth, unsigned int inHeight, PixelFormat inPixelFormat,
                                  const zynmediatypes::PixelAspectRatio& inPixelAspectRatio, EW_LayerDef& outWorld) {
    FrameRef frame;
    if (CreateVideoFrame(frame, inPixelFormat, inWidth, inHeight, inPixelAspectRatio, false, false) < 0 || !frame) {
        return false;
    }
    const WorldFrame source(std::move(frame));
    if (!source.memory || !source.rows) {
        return false;
    }
    EW_LayerDef world = outWorld;
    BeginRecord(world, source.frame);
    DescribeFrame(world, source.frame);
    world.data = static_cast<EW_Pixel*>(source.memory->GetData());
    world.rowbytes = source.rows->GetRowBytes();
    if (!LentWorlds().Register(world.data, source.frame)) {
        return false;
    }
    outWorld = world;
    return true;
}

void DisposeEW_WorldFromVideoFrame(EW_Pixel* inData) {
    CheckContract(inData != nullptr, "inData != NULL", kSource);
    if (inData) {
        LentWorlds().Take(inData);
    }
}

bool GetEWWorldVideoFramePixelType(EW_Pixel* inData, PixelFormat inDefault, PixelFormat& outPixelFormat) {
    CheckContract(inData != nullptr, "inData != NULL", kSource);
    outPixelFormat = inDefault;
    const auto frame =
        inData ? BRT::QueryInterface<RK::IVideoFrame>(LentWorlds().Find(inData)) : BRT::InterfaceRef<RK::IVideoFrame>();
    if (!frame) {
        return false;
    }
    outPixelFormat = frame->GetPixelType();
    return true;
}

PixelFormat GetEWWorldVideoFramePixelType(EW_Pixel* inData) {
    PixelFormat format;
    GetEWWorldVideoFramePixelType(inData, zynmediatypes::kPixelFormat_BGRA_4444_8u, format);
    return format;
}

BRT::InterfaceRef<IVideoFrameMemoryAccess> GetEWWorldFrameMapping(EW_Pixel* inData) {
    return BRT::QueryInterface<IVideoFrameMemoryAccess>(LentWorlds().FindOrInsert(inData));
}

} // namespace VF
