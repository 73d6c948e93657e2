#include "SharedMemoryVideoFrameBase.h"

#include "../BlockHeader.h"
#include "../ContractReport.h"
#include "../InterfaceAnswer.h"
#include "PixelFormatUtilities.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameGeometry.h"

namespace VF {
namespace {

constexpr const char* kAccessorSource = "Inc/SharedMemoryVideoFrame";
constexpr const char* kWritableCondition = "!GetReadOnly() && InternalGetWritableData()";
constexpr const char* kReadableCondition = "InternalGetData()";

// One load: another process may write the word at any moment, so it is never read twice for one decision.
template <class T>
T Load(const T& word) noexcept {
    T value;
    __atomic_load(&word, &value, __ATOMIC_RELAXED);
    return value;
}

template <class T>
void Store(T& word, T value) noexcept {
    __atomic_store(&word, &value, __ATOMIC_RELAXED);
}

BRT::ParamRect<BRT::CRect> LoadRect(const SharedMemoryRect& rect) noexcept {
    const auto add = [](std::int32_t a, std::int32_t b) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
    };
    const std::int32_t x = Load(rect.x);
    const std::int32_t y = Load(rect.y);
    return {x, y, add(x, Load(rect.width)), add(y, Load(rect.height))};
}

void StoreRect(SharedMemoryRect& rect, const BRT::ParamRect<BRT::CRect>& value) noexcept {
    const SharedMemoryRect stored = Details::ToHeaderRect(value);
    Store(rect.x, stored.x);
    Store(rect.y, stored.y);
    Store(rect.width, stored.width);
    Store(rect.height, stored.height);
}

zynmediatypes::PixelFormat LoadFormat(const SharedMemoryVideoFrameHeader& header) noexcept {
    return {Load(header.pixelFormat.name), Load(header.pixelFormat.properties)};
}

std::uint64_t PixelsBehindStart(const SharedMemoryVideoFrameHeader& header) noexcept {
    // Blocks of version 5 and older have no pixel offset.
    const std::uint32_t offset = Load(header.version) > 5 ? Load(header.pixelOffset) : 0;
    return kSharedMemoryHeaderSize + std::uint64_t{offset};
}

} // namespace

std::uint32_t SharedMemoryVideoFrameBase::AddRef() {
    return mReferenceCount.Increment();
}

std::uint32_t SharedMemoryVideoFrameBase::Release() {
    const std::uint32_t count = mReferenceCount.Decrement();
    if (count == 0) {
        DeletingDestructor(1);
    }
    return count;
}

std::int32_t SharedMemoryVideoFrameBase::QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) {
    bool offered = true;
    if (inID == IPublishableVideoFrame::kInterfaceID) {
        offered = CanPublish();
    } else if (inID == RK::IVideoFrameClearable::kInterfaceID) {
        offered = !GetReadOnly() && !IsCustomBEPixelFormat(GetPixelType());
    } else if (inID == IVideoFrame2DPixelMemoryAccess::kInterfaceID) {
        const zynmediatypes::PixelFormat format = GetPixelType();
        offered = Details::IsRowAddressable(format) && !IsCustomBEPixelFormat(format);
    }
    return Details::AnswerInterface<RK::IVideoFrame, IVideoFrameMemoryAccess, IPublishableVideoFrame,
                                    RK::IVideoFrameClearable, IVideoFrame2DPixelMemoryAccess, Details::IFrameBlock>(
        *this, inID, offered, outInterface);
}

BRT::InterfaceRef<RK::IVideoFrame> SharedMemoryVideoFrameBase::GetSelfReference() {
    return BRT::InterfaceRef<RK::IVideoFrame>(this);
}

const SharedMemoryVideoFrameHeader* SharedMemoryVideoFrameBase::ReadableHeader() {
    const void* const block = InternalGetData();
    Details::CheckContract(block != nullptr, kReadableCondition, kAccessorSource, 74);
    return static_cast<const Header*>(block);
}

// The header for a setter: null when the block must not be written, which is after the report of a read-only frame
// whose block other processes read.
SharedMemoryVideoFrameHeader* SharedMemoryVideoFrameBase::WritableHeader() {
    void* const block = InternalGetWritableData();
    Details::CheckContract(!GetReadOnly() && block, kWritableCondition, kAccessorSource, 69);
    return MayWritePixels() ? static_cast<Header*>(block) : nullptr;
}

void* SharedMemoryVideoFrameBase::WritablePixels() {
    void* const block = InternalGetWritableData();
    Details::CheckContract(!GetReadOnly() && block, kWritableCondition, kAccessorSource, 80);
    return Details::OffsetPointer(block, static_cast<std::int64_t>(PixelsBehindStart(*static_cast<Header*>(block))));
}

const void* SharedMemoryVideoFrameBase::ReadablePixels() {
    const void* const block = InternalGetData();
    Details::CheckContract(block != nullptr, kReadableCondition, kAccessorSource, 86);
    return Details::OffsetPointer(const_cast<void*>(block),
                                  static_cast<std::int64_t>(PixelsBehindStart(*static_cast<const Header*>(block))));
}

BRT::ParamRect<BRT::CRect> SharedMemoryVideoFrameBase::GetBounds() {
    const Header* const header = ReadableHeader();
    return {0, 0, Load(header->width), Load(header->height)};
}

bool SharedMemoryVideoFrameBase::IsRectNative(const BRT::ParamRect<BRT::CRect>& inRect) {
    return IsRectNativeToFrame(inRect, GetBounds(), GetPixelType());
}

zynmediatypes::PixelAspectRatio SharedMemoryVideoFrameBase::GetPixelAspectRatio() {
    const Header* const header = ReadableHeader();
    return {Load(header->aspectRatio.numerator), Load(header->aspectRatio.denominator)};
}

void SharedMemoryVideoFrameBase::SetPixelAspectRatio(const zynmediatypes::PixelAspectRatio& inAspectRatio) {
    if (Header* const header = WritableHeader()) {
        Store(header->aspectRatio.numerator, inAspectRatio.numerator);
        Store(header->aspectRatio.denominator, inAspectRatio.denominator);
    }
}

zynmediatypes::PixelFormat SharedMemoryVideoFrameBase::GetPixelType() {
    return LoadFormat(*ReadableHeader());
}

zynmediatypes::FieldType SharedMemoryVideoFrameBase::GetFieldType() {
    return static_cast<zynmediatypes::FieldType>(Load(ReadableHeader()->fieldType));
}

void SharedMemoryVideoFrameBase::SetFieldType(zynmediatypes::FieldType inFieldType) {
    if (Header* const header = WritableHeader()) {
        Store(header->fieldType, static_cast<std::uint32_t>(inFieldType));
    }
}

std::uint32_t SharedMemoryVideoFrameBase::GetAlphaType() {
    return Load(ReadableHeader()->alphaType);
}

void SharedMemoryVideoFrameBase::SetAlphaType(std::uint32_t inAlphaType) {
    if (Header* const header = WritableHeader()) {
        Store(header->alphaType, inAlphaType);
    }
}

bool SharedMemoryVideoFrameBase::HasAlpha() {
    return Details::FormatHasAlpha(GetPixelType()) && GetAlphaType() != zynmediatypes::kAlphaType_None;
}

BRT::ParamPoint<BRT::CPoint> SharedMemoryVideoFrameBase::GetOrigin() {
    const Header* const header = ReadableHeader();
    const BRT::ParamPoint<BRT::CPoint> origin{Load(header->originX), Load(header->originY)};
    return origin.x < 0 || origin.y < 0 ? BRT::ParamPoint<BRT::CPoint>{-1, -1} : origin;
}

void SharedMemoryVideoFrameBase::SetOrigin(const BRT::ParamPoint<BRT::CPoint>& inOrigin) {
    // The header keeps origin and size as one rectangle, which is written whole.
    const BRT::ParamRect<BRT::CRect> bounds = GetBounds();
    if (Header* const header = WritableHeader()) {
        Store(header->originX, inOrigin.x);
        Store(header->originY, inOrigin.y);
        Store(header->width, bounds.right);
        Store(header->height, bounds.bottom);
    }
}

BRT::ParamRect<BRT::CRect> SharedMemoryVideoFrameBase::GetUserRect() {
    return LoadRect(ReadableHeader()->userRect);
}

void SharedMemoryVideoFrameBase::SetUserRect(const BRT::ParamRect<BRT::CRect>& inRect) {
    if (Header* const header = WritableHeader()) {
        StoreRect(header->userRect, inRect);
    }
}

// The header has no room for the triple, so nothing is written and nothing reported.
RK::UserTriple SharedMemoryVideoFrameBase::GetUserTriple() {
    return {};
}

void SharedMemoryVideoFrameBase::SetUserTriple(const RK::UserTriple& /*inTriple*/) {}

std::uint32_t SharedMemoryVideoFrameBase::GetRenderTime() {
    return Load(ReadableHeader()->renderTime);
}

void SharedMemoryVideoFrameBase::SetRenderTime(std::uint32_t inRenderTime) {
    if (GetReadOnly()) {
        return;
    }
    if (auto* const header = static_cast<Header*>(InternalGetWritableData())) {
        Store(header->renderTime, inRenderTime);
    }
}

BRT::InterfaceRef<RK::IVideoFrame> SharedMemoryVideoFrameBase::CreateCompatibleFrame() {
    const zynmediatypes::PixelFormat format = GetPixelType();
    const BRT::ParamRect<BRT::CRect> bounds = GetBounds();
    const auto width = static_cast<std::uint32_t>(bounds.right);
    const auto height = static_cast<std::uint32_t>(bounds.bottom);
    BRT::InterfaceRef<RK::IVideoFrame> frame;
    const std::int32_t result =
        IsCustomBEPixelFormat(format)
            ? CreateCustomVideoFrame(frame, format, width, height, static_cast<std::int32_t>(GetDataSize()),
                                     GetPixelAspectRatio())
            : CreateVideoFrame(frame, format, width, height, GetPixelAspectRatio(), false, false);
    if (result < 0 || !frame) {
        return nullptr;
    }
    frame->SetOrigin(GetOrigin());
    frame->SetUserRect(GetUserRect());
    frame->SetReadOnly(false);
    frame->SetFieldType(GetFieldType());
    frame->SetAlphaType(GetAlphaType());
    if (BRT::ParamRect<BRT::CRect> alphaBounds; GetAlphaBounds(alphaBounds)) {
        frame->SetAlphaBounds(alphaBounds);
    }
    return frame;
}

bool SharedMemoryVideoFrameBase::GetAlphaBounds(BRT::ParamRect<BRT::CRect>& outBounds) {
    outBounds = LoadRect(ReadableHeader()->alphaBounds);
    return true;
}

void SharedMemoryVideoFrameBase::SetAlphaBounds(const BRT::ParamRect<BRT::CRect>& inBounds) {
    if (Header* const header = WritableHeader()) {
        StoreRect(header->alphaBounds, inBounds);
    }
}

void SharedMemoryVideoFrameBase::ResetAlphaBounds() {
    SetAlphaBounds(GetBounds());
}

std::int32_t SharedMemoryVideoFrameBase::FillWith(Fill fill) {
    const PB_PixelFormat format = BEPixelFormatToPBPixelFormat(GetPixelType());
    if (format == kPB_NoFormat) {
        return -1;
    }
    const BRT::ParamRect<BRT::CRect> bounds = GetBounds();
    std::int32_t rowBytes = GetRowBytes();
    if (rowBytes == 0) {
        rowBytes = static_cast<std::int32_t>(GetDataSize());
    }
    const Details::PixelImage image{GetData(), rowBytes, bounds.right, bounds.bottom, format};
    if (!MayWritePixels() || !Details::LiesInBlock(image, GetBlockExtent())) {
        return -1;
    }
    return fill(image.data, image.rowBytes, image.width, image.height, image.format) == 0 ? 0 : -1;
}

std::int32_t SharedMemoryVideoFrameBase::FillWithOpaqueBlack() {
    return FillWith(PB_FillWithOpaqueBlack);
}

std::int32_t SharedMemoryVideoFrameBase::FillWithOpaqueWhite() {
    return FillWith(PB_FillWithOpaqueWhite);
}

std::int32_t SharedMemoryVideoFrameBase::FillWithTransparentBlack() {
    return FillWith(PB_FillWithTransparentBlack);
}

std::int32_t SharedMemoryVideoFrameBase::FillWithTransparentWhite() {
    return FillWith(PB_FillWithTransparentWhite);
}

void* SharedMemoryVideoFrameBase::GetData() {
    return GetReadOnly() ? const_cast<void*>(ReadablePixels()) : WritablePixels();
}

std::uint64_t SharedMemoryVideoFrameBase::GetDataSize() {
    const zynmediatypes::PixelFormat format = GetPixelType();
    if (IsCustomBEPixelFormat(format)) {
        // A word that is too small for the header itself comes from a block that lies.
        const std::uint64_t blockSize = GetBufferSize();
        return blockSize < kSharedMemoryHeaderSize ? 0 : blockSize - kSharedMemoryHeaderSize;
    }
    const BRT::ParamRect<BRT::CRect> bounds = GetBounds();
    return zynmediatypes::PixelFormatSize(format, bounds.right, bounds.bottom);
}

std::uint64_t SharedMemoryVideoFrameBase::GetBufferSize() {
    return Load(ReadableHeader()->blockSize);
}

std::uint32_t SharedMemoryVideoFrameBase::GetPixelSize() {
    return Details::PixelSize(GetPixelType());
}

std::int32_t SharedMemoryVideoFrameBase::GetRowBytes() {
    return Load(ReadableHeader()->rowBytes);
}

void* SharedMemoryVideoFrameBase::FieldData(std::uint32_t field, int contractLine) {
    Details::CheckContract(Details::IsRowAddressable(GetPixelType()), "IsRowAddressable()",
                           "Src/SharedMemoryVideoFrame", contractLine);
    const auto firstLine = static_cast<std::int32_t>(GetFieldFirstLine(field));
    return Details::OffsetPointer(GetData(), Details::WrappingProduct(firstLine, GetRowBytes()));
}

void* SharedMemoryVideoFrameBase::GetField0Data() {
    return FieldData(0, 652);
}

void* SharedMemoryVideoFrameBase::GetField1Data() {
    return FieldData(1, 658);
}

std::int32_t SharedMemoryVideoFrameBase::GetFieldRowBytes() {
    return Details::WrappingProduct(2, GetRowBytes());
}

std::uint32_t SharedMemoryVideoFrameBase::GetFieldFirstLine(std::uint32_t inField) {
    return Details::FieldFirstLine(GetFieldType(), GetBounds().bottom, inField);
}

Details::BlockExtent SharedMemoryVideoFrameBase::GetBlockExtent() {
    return {InternalGetData(), GetBlockSize()};
}

} // namespace VF
