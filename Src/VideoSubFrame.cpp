#include "VideoSubFrame.h"

#include "ContractReport.h"
#include "InterfaceAnswer.h"
#include "VFResults.h"
#include "VideoFrameFactory.h"
#include "VideoFrameGeometry.h"

#include <algorithm>
#include <new>

namespace VF {
namespace {

constexpr const char* kSource = "Src/VideoFrame";
constexpr const char* kFactorySource = "Src/VideoFrameFactory";
constexpr const char* kMemoryCondition = "memoryAccesibleVideoFrame != NULL";
constexpr const char* kRowsCondition = "memory2DPixelAccesibleVideoFrame != NULL";
constexpr const char* kClearableCondition = "clearableVideoFrame != NULL";

} // namespace

std::int32_t CreateVideoSubFrame(BRT::InterfaceRef<RK::IVideoFrame>& outSubFrame,
                                 BRT::InterfaceRef<RK::IVideoFrame> inParent,
                                 const BRT::ParamRect<BRT::CRect>& inSubRectBounds) {
    Details::CheckContract(inSubRectBounds.Width() != 0, "inSubRectBounds.Width() != 0", kFactorySource, 185);
    Details::CheckContract(inSubRectBounds.Height() != 0, "inSubRectBounds.Height() != 0", kFactorySource, 186);
    const bool complete = BRT::QueryInterface<IVideoFrameMemoryAccess>(inParent) &&
                          BRT::QueryInterface<RK::IVideoFrameClearable>(inParent);
    auto* const view = new (std::nothrow) VideoSubFrame;
    if (!view) {
        return kResult_MemoryExhausted;
    }
    const BRT::InterfaceRef<RK::IVideoFrame> frame(view);
    view->Initialize(inParent, inSubRectBounds);
    outSubFrame = frame;
    return complete ? kResult_Success : -1;
}

VideoSubFrame::FrameRef VideoSubFrame::GetSelfReference() {
    return FrameRef(this);
}

void VideoSubFrame::Initialize(const FrameRef& inParent, const Rect& inSubRect) {
    const auto rows = BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(inParent);
    Details::CheckContract(rows != nullptr, kRowsCondition, kSource, 179);
    mSubRect = inSubRect;
    mUserRect = inSubRect;
    mParent = inParent;
}

std::uint32_t VideoSubFrame::AddRef() {
    return mReferenceCount.Increment();
}

std::uint32_t VideoSubFrame::Release() {
    const std::uint32_t count = mReferenceCount.Decrement();
    if (count == 0) {
        DeletingDestructor(1);
    }
    return count;
}

void* VideoSubFrame::DeletingDestructor(unsigned int inFlags) {
    this->~VideoSubFrame();
    if ((inFlags & 1) != 0) {
        ::operator delete(this);
    }
    return this;
}

// Every access is offered, whatever the parent offers at the moment.
std::int32_t VideoSubFrame::QueryInterface(const zyncore::utility::Guid& inID, void** outInterface) {
    return Details::AnswerInterface<RK::IVideoFrame, IVideoFrameMemoryAccess, IVideoFrame2DPixelMemoryAccess,
                                    RK::IVideoFrameClearable, Details::IFrameBlock>(*this, inID, true, outInterface);
}

VideoSubFrame::Rect VideoSubFrame::GetBounds() {
    return {0, 0, mSubRect.Width(), mSubRect.Height()};
}

bool VideoSubFrame::IsRectNative(const Rect& inRect) {
    return inRect == GetBounds();
}

zynmediatypes::PixelAspectRatio VideoSubFrame::GetPixelAspectRatio() {
    return mParent->GetPixelAspectRatio();
}

void VideoSubFrame::SetPixelAspectRatio(const zynmediatypes::PixelAspectRatio& /*inAspectRatio*/) {
    throw IllegalVideoSubFrameOperation();
}

zynmediatypes::PixelFormat VideoSubFrame::GetPixelType() {
    return mParent->GetPixelType();
}

bool VideoSubFrame::GetReadOnly() {
    return mParent->GetReadOnly();
}

void VideoSubFrame::SetReadOnly(bool /*inReadOnly*/) {
    throw IllegalVideoSubFrameOperation();
}

zynmediatypes::FieldType VideoSubFrame::GetFieldType() {
    return mParent->GetFieldType();
}

void VideoSubFrame::SetFieldType(zynmediatypes::FieldType /*inFieldType*/) {}

std::uint32_t VideoSubFrame::GetAlphaType() {
    return mParent->GetAlphaType();
}

void VideoSubFrame::SetAlphaType(std::uint32_t inAlphaType) {
    if (mParent->GetAlphaType() != zynmediatypes::kAlphaType_Straight) {
        mParent->SetAlphaType(inAlphaType);
    }
}

bool VideoSubFrame::HasAlpha() {
    return mParent->HasAlpha();
}

BRT::ParamPoint<BRT::CPoint> VideoSubFrame::GetOrigin() {
    return mOrigin;
}

void VideoSubFrame::SetOrigin(const BRT::ParamPoint<BRT::CPoint>& inOrigin) {
    mOrigin = inOrigin;
}

VideoSubFrame::Rect VideoSubFrame::GetUserRect() {
    return mUserRect;
}

void VideoSubFrame::SetUserRect(const Rect& inRect) {
    mUserRect = inRect;
}

RK::UserTriple VideoSubFrame::GetUserTriple() {
    return mUserTriple;
}

void VideoSubFrame::SetUserTriple(const RK::UserTriple& inTriple) {
    mUserTriple = inTriple;
}

std::uint32_t VideoSubFrame::GetRenderTime() {
    return mRenderTime;
}

void VideoSubFrame::SetRenderTime(std::uint32_t inRenderTime) {
    mRenderTime = inRenderTime;
}

VideoSubFrame::FrameRef VideoSubFrame::CreateCompatibleFrame() {
    auto* const view = new (std::nothrow) VideoSubFrame;
    FrameRef frame(view);
    if (view) {
        view->Initialize(mParent, mSubRect);
        view->mOrigin = mOrigin;
        view->mUserRect = mUserRect;
    }
    return frame;
}

bool VideoSubFrame::GetAlphaBounds(Rect& outBounds) {
    outBounds = mAlphaBoundsKnown ? mAlphaBounds : mSubRect;
    return mAlphaBoundsKnown;
}

void VideoSubFrame::SetAlphaBounds(const Rect& inBounds) {
    mAlphaBoundsKnown = true;
    mAlphaBounds = {std::max(inBounds.left, mSubRect.left), std::max(inBounds.top, mSubRect.top),
                    std::min(inBounds.right, mSubRect.right), std::min(inBounds.bottom, mSubRect.bottom)};
}

void VideoSubFrame::ResetAlphaBounds() {
    mAlphaBoundsKnown = false;
}

BRT::InterfaceRef<IVideoFrame2DPixelMemoryAccess> VideoSubFrame::ParentRows(int contractLine) {
    auto rows = BRT::QueryInterface<IVideoFrame2DPixelMemoryAccess>(mParent);
    Details::CheckContract(rows != nullptr, kRowsCondition, kSource, contractLine);
    return rows;
}

// The rectangle's rows count from the start of the parent's memory.
void* VideoSubFrame::GetData() {
    const auto memory = BRT::QueryInterface<IVideoFrameMemoryAccess>(mParent);
    Details::CheckContract(memory != nullptr, kMemoryCondition, kSource, 215);
    const auto rows = ParentRows(218);
    void* const parentData = memory->GetData();
    const std::int64_t rowOffset = Details::WrappingProduct(mSubRect.top, rows->GetRowBytes());
    const std::int64_t columnOffset =
        Details::WrappingProduct(mSubRect.left, static_cast<std::int32_t>(rows->GetPixelSize()));
    return Details::OffsetPointer(parentData, rowOffset + columnOffset);
}

// An inverted rectangle is the caller's mistake and may give any size; the product must only not overflow.
std::uint64_t VideoSubFrame::GetDataSize() {
    const auto width = static_cast<std::uint64_t>(std::int64_t{mSubRect.Width()});
    const auto height = static_cast<std::uint64_t>(std::int64_t{mSubRect.Height()});
    return ParentRows(194)->GetPixelSize() * width * height;
}

std::uint64_t VideoSubFrame::GetBufferSize() {
    return BRT::QueryInterface<IVideoFrameMemoryAccess>(mParent)->GetBufferSize();
}

std::uint32_t VideoSubFrame::GetPixelSize() {
    return ParentRows(387)->GetPixelSize();
}

std::int32_t VideoSubFrame::GetRowBytes() {
    return ParentRows(398)->GetRowBytes();
}

void* VideoSubFrame::FieldData(std::uint32_t field) {
    const auto firstLine = static_cast<std::int32_t>(GetFieldFirstLine(field));
    void* const data = GetData();
    return Details::OffsetPointer(data, Details::WrappingProduct(firstLine, GetRowBytes()));
}

void* VideoSubFrame::GetField0Data() {
    return FieldData(0);
}

void* VideoSubFrame::GetField1Data() {
    return FieldData(1);
}

std::int32_t VideoSubFrame::GetFieldRowBytes() {
    return Details::WrappingProduct(2, GetRowBytes());
}

// Not the rule of other frames: the height counts for upper field first alone, and every type that names no field order
// starts field 0 at row 1.
std::uint32_t VideoSubFrame::GetFieldFirstLine(std::uint32_t inField) {
    const zynmediatypes::FieldType fieldType = GetFieldType();
    const bool odd = (mSubRect.Height() & 1) != 0;
    const bool firstFieldStartsAtRow0 =
        fieldType == zynmediatypes::kFieldType_LowerFirst || (fieldType == zynmediatypes::kFieldType_UpperFirst && odd);
    return firstFieldStartsAtRow0 == (inField == 0) ? 0 : 1;
}

std::int32_t VideoSubFrame::FillParent(Fill fill, int contractLine) {
    const auto clearable = BRT::QueryInterface<RK::IVideoFrameClearable>(mParent);
    Details::CheckContract(clearable != nullptr, kClearableCondition, kSource, contractLine);
    return ((*clearable).*fill)();
}

std::int32_t VideoSubFrame::FillWithOpaqueBlack() {
    return FillParent(&RK::IVideoFrameClearable::FillWithOpaqueBlack, 409);
}

std::int32_t VideoSubFrame::FillWithOpaqueWhite() {
    return FillParent(&RK::IVideoFrameClearable::FillWithOpaqueWhite, 420);
}

std::int32_t VideoSubFrame::FillWithTransparentBlack() {
    return FillParent(&RK::IVideoFrameClearable::FillWithTransparentBlack, 431);
}

std::int32_t VideoSubFrame::FillWithTransparentWhite() {
    return FillParent(&RK::IVideoFrameClearable::FillWithTransparentWhite, 442);
}

bool VideoSubFrame::MayWritePixels() {
    return Details::MayWritePixels(mParent);
}

Details::BlockExtent VideoSubFrame::GetBlockExtent() {
    return Details::RowsExtent(mParent);
}

} // namespace VF
