// What holds for every kind of frame, and what a read-only one refuses.

#include "ContractLog.h"
#include "SharedMemoryVideoFrame/CreateFrames.h"
#include "TestFrames.h"
#include "VFResults.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

using namespace vftest;
using zyncore::utility::Guid;

constexpr const char* kWrite = "!GetReadOnly() && InternalGetWritableData() @ Inc/SharedMemoryVideoFrame:69";

struct Kind {
    const char* name;
    bool publishable;
    bool writable; ///< pixels and properties may be written, whatever the read-only flag says
    FrameRef (*make)(PixelFormat, std::uint32_t, std::uint32_t);
};

FrameRef MakeRecycled(PixelFormat format, std::uint32_t width, std::uint32_t height) {
    return MakeFrame(format, width, height);
}

FrameRef MakePublished(PixelFormat format, std::uint32_t width, std::uint32_t height) {
    FrameRef frame = MakePublishableFrame(format, width, height);
    EXPECT_EQ(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame)->Publish(Guid::Generate()), 0);
    return frame;
}

FrameRef MakeWrapped(PixelFormat format, std::uint32_t width, std::uint32_t height) {
    FrameRef frame = MakePublishableFrame(format, width, height);
    const Guid id = Guid::Generate();
    EXPECT_EQ(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame)->Publish(id), 0);
    boost::shared_ptr<framebroker::BinaryReference> reference;
    EXPECT_EQ(framebroker::GetBinaryDataIfAvailable(id, reference), 0);
    return VF::Details::WrapBinaryReference(reference, id);
}

const Kind kKinds[] = {{"Recycled", false, true, MakeRecycled},
                       {"WritableBlock", true, true, MakePublishableFrame},
                       {"PublishedBlock", true, false, MakePublished},
                       {"WrappedBlock", true, false, MakeWrapped}};

class FrameConformance : public LibraryTest, public ::testing::WithParamInterface<Kind> {
protected:
    static FrameRef Make(PixelFormat format = zynmediatypes::kPixelFormat_BGRA_4444_8u, std::uint32_t width = 16,
                         std::uint32_t height = 9) {
        return GetParam().make(format, width, height);
    }
};

TEST_P(FrameConformance, StartsWithTheDefaults) {
    for (const zynmediatypes::PixelFormatRow& row : zynmediatypes::kPixelFormatTable) {
        SCOPED_TRACE(row.constant);
        FrameRef frame = Make(row.format);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->GetBounds(), (Rect{0, 0, 16, 9}));
        EXPECT_EQ(frame->GetPixelType(), row.format);
        EXPECT_EQ(frame->GetOrigin(), (BRT::ParamPoint<BRT::CPoint>{-1, -1}));
        EXPECT_EQ(frame->GetUserRect(), (Rect{0, 0, 16, 9}));
        EXPECT_EQ(frame->GetFieldType(), zynmediatypes::kFieldType_NotSet);
        EXPECT_EQ(frame->GetAlphaType(), 1U);
        EXPECT_EQ(frame->GetRenderTime(), 0U);
        EXPECT_EQ(frame->GetReadOnly(), !GetParam().writable);
        const bool rows = zynmediatypes::StorageOf(row.format) == zynmediatypes::Storage::Rows;
        const auto memory = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame);
        const auto access = BRT::QueryInterface<VF::IVideoFrame2DPixelMemoryAccess>(frame);
        ASSERT_EQ(static_cast<bool>(access), rows);
        EXPECT_EQ(memory->GetDataSize(), zynmediatypes::PixelFormatSize(row.format, 16, 9));
        EXPECT_EQ(memory->GetBufferSize(), memory->GetDataSize() + 128);
        if (rows) {
            EXPECT_EQ(static_cast<std::uint64_t>(access->GetRowBytes()) * 9, memory->GetDataSize());
            const bool paired = zynmediatypes::ChromaOf(row.format) != zynmediatypes::Chroma::C444;
            const std::uint32_t pixelBytes = static_cast<std::uint32_t>(memory->GetDataSize() / (16U * 9U));
            const bool v210 = zynmediatypes::PrecisionOf(row.format) == zynmediatypes::Precision::Bits10;
            EXPECT_EQ(access->GetPixelSize(), v210 ? 0U : paired ? 2U : pixelBytes);
        }
        EXPECT_EQ(static_cast<bool>(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame)), GetParam().publishable);
        EXPECT_EQ(static_cast<bool>(BRT::QueryInterface<RK::IVideoFrameClearable>(frame)), GetParam().writable);
        EXPECT_EQ(frame->HasAlpha(), zynmediatypes::AlphaOf(row.format) != zynmediatypes::kAlphaType_None);
    }
}

// Setting a property of a read-only frame reports; frames whose block nobody else reads are written all the same.
TEST_P(FrameConformance, SettersOfAReadOnlyFrameReport) {
    FrameRef frame = Make();
    const Rect rect{1, 2, 5, 7};
    const std::vector<std::pair<std::function<void()>, std::function<bool()>>> setters{
        {[&] {
             frame->SetPixelAspectRatio({7, 8});
         },
         [&] {
             return frame->GetPixelAspectRatio() == zynmediatypes::PixelAspectRatio{7, 8};
         }},
        {[&] { frame->SetFieldType(zynmediatypes::kFieldType_LowerFirst); },
         [&] { return frame->GetFieldType() == zynmediatypes::kFieldType_LowerFirst; }},
        {[&] { frame->SetAlphaType(2); }, [&] { return frame->GetAlphaType() == 2; }},
        {[&] {
             frame->SetOrigin({10, 20});
         },
         [&] {
             return frame->GetOrigin() == BRT::ParamPoint<BRT::CPoint>{10, 20};
         }},
        {[&] { frame->SetUserRect(rect); }, [&] { return frame->GetUserRect() == rect; }},
        {[&] { frame->SetAlphaBounds(rect); },
         [&] {
             Rect bounds;
             return frame->GetAlphaBounds(bounds) && bounds == rect;
         }},
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

TEST_P(FrameConformance, CompatibleFramesCarryTheMetadata) {
    FrameRef source = MakeRecycled(zynmediatypes::kPixelFormat_ARGB_4444_15u, 6, 4);
    if (GetParam().writable) {
        source = Make(zynmediatypes::kPixelFormat_ARGB_4444_15u, 6, 4);
    }
    source->SetOrigin({3, 4});
    source->SetUserRect({1, 2, 3, 4});
    source->SetFieldType(zynmediatypes::kFieldType_UpperFirst);
    source->SetAlphaType(2);
    source->SetAlphaBounds({1, 1, 2, 2});
    source->SetRenderTime(9);
    source->SetPixelAspectRatio({12, 11});
    source->SetReadOnly(true);
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
    EXPECT_EQ(copy->GetRenderTime(), 0U) << "the render time stays with its frame";
}

INSTANTIATE_TEST_SUITE_P(EveryKind, FrameConformance, ::testing::ValuesIn(kKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

} // namespace
