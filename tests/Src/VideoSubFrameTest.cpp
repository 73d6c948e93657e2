#include "ContractLog.h"
#include "TestFrames.h"
#include "VFResults.h"
#include "VectorFrame.h"
#include "VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace vftest;
using namespace zynmediatypes;
namespace Manipulators = VF::VideoFrameManipulators;

class VideoSubFrameTest : public LibraryTest {
protected:
    static FrameRef View(const FrameRef& parent, const Rect& rect, std::int32_t expected = 0) {
        FrameRef view;
        EXPECT_EQ(VF::CreateVideoSubFrame(view, parent, rect), expected);
        return view;
    }
    static VF::IVideoFrame2DPixelMemoryAccess& Rows(const FrameRef& frame) {
        return *BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame);
    }
    static VF::IVideoFrameMemoryAccess& Memory(const FrameRef& frame) {
        return *BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame);
    }
    static RK::IVideoFrameClearable& Clearable(const FrameRef& frame) {
        return *BRT::QueryInterface<RK::IVideoFrameClearable>(frame);
    }
};

TEST_F(VideoSubFrameTest, ShowsItsRectangleOfMemory) {
    const FrameRef parent = MakeFrame(kPixelFormat_BGRA_4444_8u, 720, 480);
    FrameRef view = View(parent, {100, 50, 300, 150});
    EXPECT_EQ(view->GetBounds(), (Rect{0, 0, 200, 100}));
    EXPECT_EQ(Rows(view).GetRowBytes(), 2880);
    EXPECT_EQ(Pixels(view), Pixels(parent) + 50 * 2880 + 100 * 4);
    EXPECT_EQ(Memory(view).GetDataSize(), 80000U);
    EXPECT_EQ(Memory(view).GetBufferSize(), Memory(parent).GetBufferSize());
    EXPECT_TRUE(view->IsRectNative({0, 0, 200, 100}));
    EXPECT_FALSE(view->IsRectNative({0, 0, 100, 50}));
    // A view of a view adds up, and keeps both alive.
    view = View(view, {10, 20, 15, 29});
    EXPECT_EQ(Pixels(view), Pixels(parent) + 70 * 2880 + 110 * 4);
    EXPECT_EQ(Rows(view).GetFieldRowBytes(), 5760);
    // Rows and columns that are no 32-bit product wrap.
    FrameRef far = View(parent, {1 << 30, 1 << 30, (1 << 30) + 1, (1 << 30) + 2});
    EXPECT_EQ(Pixels(far), Pixels(parent)) << "both products are multiples of 2^32";
    EXPECT_EQ(Memory(View(parent, {8, 8, 4, 4})).GetDataSize(), 64U);
    EXPECT_EQ(Memory(View(parent, {8, 8, 4, 12})).GetDataSize(), static_cast<std::uint64_t>(-64));
}

TEST_F(VideoSubFrameTest, FieldsCountInItsOwnRows) {
    const FrameRef parent = MakeFrame(kPixelFormat_BGRA_4444_8u, 8, 9);
    const std::uint32_t firstLineOfField0[4][2] = {{1, 1}, {1, 0}, {0, 0}, {1, 1}}; // by field type, even or odd height
    for (const int type : {0, 1, 2, 3}) {
        parent->SetFieldType(static_cast<FieldType>(type));
        for (const int odd : {0, 1}) {
            const FrameRef view = View(parent, {0, 1, 8, 5 + odd});
            const std::uint32_t first = firstLineOfField0[type][odd];
            EXPECT_EQ(Rows(view).GetFieldFirstLine(0), first) << type << odd;
            EXPECT_EQ(Rows(view).GetFieldFirstLine(1), 1 - first) << type << odd;
            EXPECT_EQ(Rows(view).GetFieldFirstLine(7), 1 - first) << type << odd;
            EXPECT_EQ(Rows(view).GetField0Data(), Pixels(parent) + 32 + 32 * static_cast<int>(first));
            EXPECT_EQ(Rows(view).GetField1Data(), Pixels(parent) + 32 + 32 * static_cast<int>(1 - first));
        }
    }
}

TEST_F(VideoSubFrameTest, OwnSharedAndRefusedProperties) {
    const FrameRef parent = MakeFrame(kPixelFormat_BGRA_4444_8u, 16, 9);
    parent->SetFieldType(kFieldType_LowerFirst);
    const FrameRef view = View(parent, {2, 1, 10, 7});
    EXPECT_THROW(view->SetReadOnly(true), VF::IllegalVideoSubFrameOperation);
    EXPECT_THROW(view->SetPixelAspectRatio({1, 1}), VF::IllegalVideoSubFrameOperation);
    view->SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(view->GetFieldType(), kFieldType_LowerFirst);
    view->SetAlphaType(2);
    EXPECT_EQ(parent->GetAlphaType(), 1U) << "straight alpha stays";
    parent->SetAlphaType(2);
    view->SetAlphaType(3);
    EXPECT_EQ(parent->GetAlphaType(), 3U);
    EXPECT_FALSE(view->HasAlpha());

    EXPECT_EQ(view->GetOrigin(), (BRT::ParamPoint<BRT::CPoint>{0, 0}));
    EXPECT_EQ(view->GetUserRect(), (Rect{2, 1, 10, 7}));
    view->SetOrigin({-5, 6});
    view->SetUserRect({1, 2, 3, 4});
    view->SetRenderTime(11);
    EXPECT_EQ(view->GetRenderTime(), 11U);
    EXPECT_EQ(parent->GetOrigin(), (BRT::ParamPoint<BRT::CPoint>{-1, -1}));
    Rect bounds;
    EXPECT_FALSE(view->GetAlphaBounds(bounds));
    EXPECT_EQ(bounds, (Rect{2, 1, 10, 7}));
    view->SetAlphaBounds({0, 3, 20, 5});
    EXPECT_TRUE(view->GetAlphaBounds(bounds));
    EXPECT_EQ(bounds, (Rect{2, 3, 10, 5}));
    view->SetAlphaBounds({12, 0, 14, 4});
    view->GetAlphaBounds(bounds);
    EXPECT_EQ(bounds, (Rect{12, 1, 10, 4})) << "inverted, as it comes";

    const FrameRef twin = view->CreateCompatibleFrame();
    EXPECT_EQ(Pixels(twin), Pixels(view));
    EXPECT_EQ(twin->GetOrigin(), (BRT::ParamPoint<BRT::CPoint>{-5, 6}));
    EXPECT_EQ(twin->GetUserRect(), (Rect{1, 2, 3, 4}));
    EXPECT_EQ(twin->GetRenderTime(), 0U);
    EXPECT_FALSE(twin->GetAlphaBounds(bounds));
    view->ResetAlphaBounds();
    EXPECT_FALSE(view->GetAlphaBounds(bounds));
    EXPECT_EQ(Clearable(view).FillWithOpaqueWhite(), 0);
    EXPECT_EQ(PixelAt(parent, 0, 0), 0xFFFFFFFFU) << "the fill covers the parent";
}

TEST_F(VideoSubFrameTest, ReportsWhatTheParentLacks) {
    const FrameRef recycled = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    const FrameRef readOnly = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    readOnly->SetReadOnly(true);
    const FrameRef planar = MakeFrame(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 4, 4);
    const std::string memory = "memoryAccesibleVideoFrame != NULL @ Src/VideoFrame:";
    const std::string rows = "memory2DPixelAccesibleVideoFrame != NULL @ Src/VideoFrame:";
    const std::string clearable = "clearableVideoFrame != NULL @ Src/VideoFrame:";
    const std::string factory = " @ Src/VideoFrameFactory:";
    using Lines = std::vector<std::string>;
    ContractLog log;
    View(recycled, {1, 1, 1, 1});
    EXPECT_EQ(log.Take(), (Lines{"inSubRectBounds.Width() != 0" + factory + "185",
                                 "inSubRectBounds.Height() != 0" + factory + "186"}));
    const FrameRef lacking = View(planar, {0, 0, 2, 2});
    EXPECT_EQ(log.Take(), Lines{rows + "179"});
    const FrameRef locked = View(readOnly, {1, 1, 3, 3}, -1);
    EXPECT_EQ(Pixels(locked), Pixels(readOnly) + 20);
    EXPECT_EQ(log.Take(), Lines{});
    const FrameRef orphan = View(nullptr, {0, 0, 2, 2}, -1);
    EXPECT_EQ(log.Take(), Lines{rows + "179"});

    const std::pair<std::function<void()>, Lines> refused[] = {
        {[&] { Memory(orphan).GetData(); }, {memory + "215", rows + "218"}},
        {[&] { Memory(lacking).GetDataSize(); }, {rows + "194"}},
        {[&] { Memory(orphan).GetBufferSize(); }, {}},
        {[&] { Rows(lacking).GetRowBytes(); }, {rows + "398"}},
        {[&] { orphan->GetPixelType(); }, {}},
        {[&] { Clearable(locked).FillWithOpaqueBlack(); }, {clearable + "409"}},
        {[&] { Clearable(orphan).FillWithTransparentWhite(); }, {clearable + "442"}},
    };
    for (const auto& [call, lines] : refused) {
        EXPECT_THROW(call(), BRT::NullInterfaceException) << &lines - &refused[0].second;
        EXPECT_EQ(log.Take(), lines);
    }
}

// Other modules call the table directly: behind the interface lie the object itself, nothing, and the initialiser.
TEST_F(VideoSubFrameTest, Table) {
    const FrameRef parent = MakeFrame(kPixelFormat_BGRA_4444_8u, 16, 9);
    const FrameRef view = View(parent, {2, 1, 10, 7});
    void* const object = view.GetPtr();
    void** const table = *static_cast<void***>(object);
    EXPECT_EQ(reinterpret_cast<FrameRef (*)(void*)>(table[28])(object), view);
    reinterpret_cast<void (*)(void*)>(table[29])(object);
    reinterpret_cast<void (*)(void*, const FrameRef&, const Rect&)>(table[30])(object, parent, {0, 0, 3, 2});
    EXPECT_EQ(view->GetBounds(), (Rect{0, 0, 3, 2}));
    EXPECT_FALSE(BRT::QueryInterface<VF::IPublishableVideoFrame>(view));
}

// A rectangle that the parent does not have: every operation keeps to the bytes of the parent's rows. The parent lies
// in the middle of its vector, so that a step outside is seen.
TEST_F(VideoSubFrameTest, OperationsKeepToTheParentsRows) {
    constexpr std::size_t kGuard = 4096;
    VectorFrame parent(kPixelFormat_BGRA_4444_8u, 16, 8, 2 * kGuard + 16 * 8 * 4);
    parent.start = kGuard;
    parent.bytes.assign(parent.bytes.size(), 0x5A);
    parent.SetFieldType(kFieldType_UpperFirst);
    const FrameRef other = MakeFrame(kPixelFormat_ARGB_4444_8u, 16, 8);
    std::vector<std::uint8_t> block(1 << 16);
    const auto high = kRenderQuality_High;
    for (const Rect& rect : {Rect{0, -1, 16, 7}, Rect{-1, 0, 15, 8}, Rect{0, 1, 16, 9}, Rect{15, 7, 17, 8},
                             Rect{0, 0, 4096, 4096}, Rect{0, 1 << 30, 16, (1 << 30) + 8}, Rect{12, 6, 4, 2}}) {
        FrameRef view;
        VF::CreateVideoSubFrame(view, parent.Ref(), rect);
        FrameRef inner;
        VF::CreateVideoSubFrame(inner, view, {0, 0, 16, 8});
        for (const FrameRef& frame : {view, inner}) {
            const Rect all = frame->GetBounds();
            Rect bounds;
            Manipulators::CopyRect(other, {0, 0, 16, 8}, frame, all, high, 2);
            Manipulators::CopyFrame(other, frame, high);
            for (const int field : {0, 1}) {
                Manipulators::CopyField(other, frame, field, high);
                Manipulators::InterpFieldToFrame(other, frame, field);
            }
            Manipulators::VerticalConvolve(other, frame);
            Manipulators::VerticalConvolve(frame, other);
            Manipulators::SwapFields(other, frame);
            Manipulators::MergePulldownFrames(frame, other);
            Manipulators::InvertAlpha(frame);
            Manipulators::OpaqueAlpha(frame);
            Manipulators::CalculateAlphaBounds(frame, bounds);
            Manipulators::LoadExternal(frame, block.data(), 16, 8, 64);
            Manipulators::StoreExternal(frame, block.data(), 16, 8, 64);
        }
        for (std::size_t i = 0; i < kGuard; ++i) {
            ASSERT_EQ(parent.bytes[i], 0x5A) << rect.left << ',' << rect.top;
            ASSERT_EQ(parent.bytes[parent.bytes.size() - 1 - i], 0x5A) << rect.left << ',' << rect.top;
        }
    }
    EXPECT_EQ(parent.References(), 0U);
}

} // namespace
