// What holds for every kind of frame, and what a read-only one refuses.

#include "ContractLog.h"
#include "FrameKinds.h"
#include "SharedMemoryVideoFrame/SharedMemoryVideoFrameBase.h"
#include "VFResults.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameSharing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

namespace {

using namespace vftest;
using zyncore::utility::Guid;

constexpr const char* kWrite = "!GetReadOnly() && InternalGetWritableData() @ Inc/SharedMemoryVideoFrame:69";

void SetEverything(const FrameRef& frame) {
    frame->SetOrigin({3, 4});
    frame->SetUserRect({1, 2, 3, 4});
    frame->SetFieldType(zynmediatypes::kFieldType_UpperFirst);
    frame->SetAlphaType(2);
    frame->SetAlphaBounds({1, 1, 2, 2});
    frame->SetRenderTime(9);
    frame->SetUserTriple({1, 2, 3});
    frame->SetPixelAspectRatio({12, 11});
}

class FrameConformance : public LibraryTest, public ::testing::WithParamInterface<FrameKind> {
protected:
    static FrameRef Make(
        const Picture& picture = {zynmediatypes::kPixelFormat_BGRA_4444_8u, 16, 9},
        const Prepare& prepare = [](const FrameRef&) {}) {
        return GetParam().make(picture, prepare);
    }
};

TEST_P(FrameConformance, StartsWithTheDefaults) {
    for (const zynmediatypes::PixelFormatRow& row : zynmediatypes::kPixelFormatTable) {
        SCOPED_TRACE(row.constant);
        const bool rows = zynmediatypes::StorageOf(row.format) == zynmediatypes::Storage::Rows;
        const bool view = GetParam().view;
        if (view && !rows) {
            continue; // there is no part of such a picture
        }
        FrameRef frame = Make({row.format, 16, 9});
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->GetBounds(), (Rect{0, 0, 16, 9}));
        EXPECT_EQ(frame->GetPixelType(), row.format);
        const BRT::ParamPoint<BRT::CPoint> nowhere{-1, -1};
        EXPECT_EQ(frame->GetOrigin(), view ? (BRT::ParamPoint<BRT::CPoint>{0, 0}) : nowhere);
        EXPECT_EQ(frame->GetUserRect(), view ? ViewRect(16, 9) : (Rect{0, 0, 16, 9}));
        EXPECT_EQ(frame->GetFieldType(), zynmediatypes::kFieldType_NotSet);
        EXPECT_EQ(frame->GetAlphaType(), GetParam().device ? zynmediatypes::AlphaOf(row.format) : 1U);
        EXPECT_EQ(frame->GetRenderTime(), 0U);
        EXPECT_EQ(frame->GetReadOnly(), !GetParam().writable);
        const auto memory = AccessOf<VF::IVideoFrameMemoryAccess, VF::IGPUVideoFrameMemoryAccess>(frame);
        const auto access = AccessOf<VF::IVideoFrame2DPixelMemoryAccess, VF::IGPUVideoFrame2DPixelMemoryAccess>(frame);
        ASSERT_EQ(static_cast<bool>(access), rows);
        const std::uint64_t imageBytes = zynmediatypes::PixelFormatSize(row.format, 16, 9);
        if (rows) {
            const bool paired = zynmediatypes::ChromaOf(row.format) != zynmediatypes::Chroma::C444;
            const std::uint32_t pixelBytes = static_cast<std::uint32_t>(imageBytes / (16U * 9U));
            const bool v210 = zynmediatypes::PrecisionOf(row.format) == zynmediatypes::Precision::Bits10;
            EXPECT_EQ(access->GetPixelSize(), v210 ? 0U : paired ? 2U : pixelBytes);
        }
        if (view) {
            EXPECT_EQ(memory->GetDataSize(), std::uint64_t{access->GetPixelSize()} * 16 * 9);
            EXPECT_GT(memory->GetBufferSize(), imageBytes + 128);
        } else {
            EXPECT_EQ(memory->GetDataSize(), imageBytes);
            EXPECT_EQ(memory->GetBufferSize(), imageBytes + (GetParam().device ? 0 : 128));
            EXPECT_TRUE(!rows || static_cast<std::uint64_t>(access->GetRowBytes()) * 9 == imageBytes);
        }
        EXPECT_EQ(static_cast<bool>(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame)), GetParam().publishable);
        EXPECT_EQ(static_cast<bool>(BRT::QueryInterface<RK::IVideoFrameClearable>(frame)), view || GetParam().writable);
        EXPECT_EQ(frame->HasAlpha(), zynmediatypes::AlphaOf(row.format) != zynmediatypes::kAlphaType_None);
    }
}

// Frames that keep their properties themselves, in the header of their block.
using BlockConformance = FrameConformance;

// Setting a property of a read-only frame reports; frames whose block nobody else reads are written all the same.
TEST_P(BlockConformance, SettersOfAReadOnlyFrameReport) {
    FrameRef frame = Make();
    const Rect rect{1, 2, 5, 7};
    Rect bounds;
    using Point = BRT::ParamPoint<BRT::CPoint>;
    const zynmediatypes::PixelAspectRatio ratio{7, 8};
    const std::pair<std::function<void()>, std::function<bool()>> setters[] = {
        {[&] { frame->SetPixelAspectRatio(ratio); }, [&] { return frame->GetPixelAspectRatio() == ratio; }},
        {[&] { frame->SetFieldType(zynmediatypes::kFieldType_LowerFirst); },
         [&] { return frame->GetFieldType() == zynmediatypes::kFieldType_LowerFirst; }},
        {[&] { frame->SetAlphaType(2); }, [&] { return frame->GetAlphaType() == 2; }},
        {[&] { frame->SetOrigin(Point(10, 20)); }, [&] { return frame->GetOrigin() == Point(10, 20); }},
        {[&] { frame->SetUserRect(rect); }, [&] { return frame->GetUserRect() == rect; }},
        {[&] { frame->SetAlphaBounds(rect); }, [&] { return frame->GetAlphaBounds(bounds) && bounds == rect; }},
    };
    frame->SetReadOnly(true);
    ContractLog log;
    for (const auto& [set, isSet] : setters) {
        set();
        EXPECT_EQ(isSet(), GetParam().writable);
        EXPECT_EQ(log.Take(), std::vector<std::string>{kWrite});
    }
    frame->SetRenderTime(5);
    frame->SetUserTriple({1, 2, 3});
    EXPECT_EQ(frame->GetRenderTime(), 0U);
    EXPECT_EQ(frame->GetUserTriple(), RK::UserTriple{});
    EXPECT_EQ(log.Take(), std::vector<std::string>{}) << "two setters write nothing and report nothing";
    frame->ResetAlphaBounds();
    EXPECT_EQ(log.Take(), std::vector<std::string>{kWrite});

    frame->SetReadOnly(false);
    EXPECT_EQ(frame->GetReadOnly(), !GetParam().writable);
    frame->SetRenderTime(5);
    EXPECT_EQ(frame->GetRenderTime(), GetParam().writable ? 5U : 0U);
}

// All frames but views, which are compatible with their parents.
using CompatibleFrames = FrameConformance;

TEST_P(CompatibleFrames, CarryTheMetadata) {
    FrameRef source = Make({zynmediatypes::kPixelFormat_ARGB_4444_15u, 6, 4}, [](const FrameRef& frame) {
        SetEverything(frame);
        frame->SetReadOnly(true);
    });
    FrameRef copy = source->CreateCompatibleFrame();
    ASSERT_TRUE(copy);
    EXPECT_NE(copy, source);
    EXPECT_FALSE(copy->GetReadOnly());
    EXPECT_EQ(copy->GetPixelType(), source->GetPixelType());
    EXPECT_EQ(copy->GetBounds(), source->GetBounds());
    EXPECT_EQ(copy->GetPixelAspectRatio(), source->GetPixelAspectRatio());
    EXPECT_EQ(copy->GetOrigin(), source->GetOrigin());
    EXPECT_EQ(copy->GetUserRect(), source->GetUserRect());
    EXPECT_EQ(copy->GetFieldType(), source->GetFieldType());
    EXPECT_EQ(copy->GetAlphaType(), 2U);
    Rect bounds;
    EXPECT_TRUE(copy->GetAlphaBounds(bounds));
    EXPECT_EQ(bounds, (Rect{1, 1, 2, 2}));
    EXPECT_EQ(copy->GetRenderTime(), GetParam().device ? 9U : 0U) << "a block keeps the time of its own frame";
}

const auto kNameOfKind = [](const auto& kind) { return std::string(kind.param.name); };
INSTANTIATE_TEST_SUITE_P(EveryKind, FrameConformance, ::testing::ValuesIn(AllKinds()), kNameOfKind);
INSTANTIATE_TEST_SUITE_P(OnTheHostDevice, FrameConformance, ::testing::ValuesIn(kDeviceKinds), kNameOfKind);
INSTANTIATE_TEST_SUITE_P(EveryKind, BlockConformance, ::testing::ValuesIn(kBlockKinds), kNameOfKind);
INSTANTIATE_TEST_SUITE_P(EveryKind, CompatibleFrames, ::testing::ValuesIn(kBlockKinds), kNameOfKind);
INSTANTIATE_TEST_SUITE_P(OnTheHostDevice, CompatibleFrames, ::testing::ValuesIn(kDeviceKinds), kNameOfKind);

std::vector<FrameKind> SharedKinds() {
    std::vector<FrameKind> kinds = AllKinds();
    std::erase_if(kinds, [](const FrameKind& kind) { return kind.writable; });
    return kinds;
}

// What other processes read stays as it was published, whatever is tried on the frame.
class SharedFrame : public LibraryTest, public ::testing::WithParamInterface<FrameKind> {};

TEST_P(SharedFrame, IsNeverWritten) {
    namespace Manipulators = VF::VideoFrameManipulators;
    const FrameRef source = MakeFrame(zynmediatypes::kPixelFormat_ARGB_4444_8u, 16, 9);
    const FrameRef frame = GetParam().make({zynmediatypes::kPixelFormat_BGRA_4444_8u, 16, 9}, PaintCoordinates);
    const auto extent = BRT::QueryInterface<VF::Details::IFrameBlock>(frame)->GetBlockExtent();
    const auto* const first = static_cast<const std::uint8_t*>(extent.start);
    const std::vector<std::uint8_t> before(first, first + extent.sizeInBytes);
    // Kept by a caller since before the frame became read-only.
    const auto clearable =
        GetParam().view
            ? BRT::QueryInterface<RK::IVideoFrameClearable>(frame)
            : BRT::InterfaceRef<RK::IVideoFrameClearable>(static_cast<VF::SharedMemoryVideoFrameBase*>(frame.GetPtr()));
    const Rect bounds = frame->GetBounds();
    const auto quality = zynmediatypes::kRenderQuality_High;
    FrameRef copy;
    const std::function<int()> operations[] = {
        [&] { return clearable->FillWithOpaqueBlack() + 1; },
        [&] { return clearable->FillWithOpaqueWhite() + 1; },
        [&] { return clearable->FillWithTransparentBlack() + 1; },
        [&] { return clearable->FillWithTransparentWhite() + 1; },
        [&] { return SetEverything(frame), 0; },
        [&] { return Manipulators::CopyRect(source, bounds, frame, bounds, quality, 2); },
        [&] { return Manipulators::CopyFrame(source, frame, quality); },
        [&] { return Manipulators::CopyFrameWithFields(source, frame, quality, zynmediatypes::kFieldType_UpperFirst); },
        [&] {
            const FrameRef writeable = VF::MakeWriteableVideoFrame(frame, quality);
            return BRT::QueryInterface<RK::IVideoFrameClearable>(writeable)->FillWithOpaqueWhite();
        },
        [&] { return Manipulators::MakeAddressableVideoFrame(frame, copy, frame->GetPixelType(), quality); },
        [&] { return VF::PublishVideoFrame(frame, Guid::Generate()); },
        [&] { return Manipulators::CopyField(source, frame, 1, quality); },
        [&] { return Manipulators::InterpFieldToFrame(source, frame, 0); },
        [&] { return Manipulators::VerticalConvolve(source, frame), Manipulators::SwapFields(source, frame), 0; },
        [&] { return Manipulators::MergePulldownFrames(frame, source); },
        [&] { return Manipulators::InvertAlpha(frame), Manipulators::OpaqueAlpha(frame), 0; },
        [&] { return Manipulators::LoadExternal(frame, Pixels(source), 16, 9, 64), 0; },
    };
    for (const auto& operation : operations) {
        try {
            EXPECT_EQ(operation(), 0) << &operation - operations;
        } catch (const BRT::Exception&) {
            EXPECT_TRUE(GetParam().view) << &operation - operations;
        }
        EXPECT_EQ(std::memcmp(first, before.data(), before.size()), 0) << "written by " << &operation - operations;
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKind, SharedFrame, ::testing::ValuesIn(SharedKinds()), kNameOfKind);

} // namespace
