#include "RawFrame.h"

#include "ContractLog.h"
#include "TestFrames.h"
#include "VFResults.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace VF {
namespace {

TEST(RawFrame, BlocksAndTheirAlignment) {
    struct Case {
        std::uint64_t size;
        std::uint64_t alignment;
        std::int32_t result;
    };
    for (const Case& c :
         {Case{100, 16, 0}, Case{1, 1, 0}, Case{5000, 4096, 0}, Case{64, 0, 0}, Case{100, 24, kResult_BufferTooSmall},
          Case{std::numeric_limits<std::uint64_t>::max(), 16, kResult_BufferTooSmall},
          Case{std::uint64_t{1} << 62, 0, kResult_BufferTooSmall}}) {
        BRT::InterfaceRef<RawFrame> frame(new RawFrame);
        EXPECT_EQ(frame->Initialize(c.size, c.alignment), c.result) << c.size << "/" << c.alignment;
        if (c.result != 0) {
            EXPECT_EQ(frame->GetData(), nullptr);
            continue;
        }
        EXPECT_EQ(frame->GetDataSize(), c.size);
        EXPECT_EQ(frame->GetBufferSize(), c.size + c.alignment);
        if (c.alignment != 0) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(frame->GetData()) % c.alignment, 0U);
        }
        std::memset(frame->GetData(), 0x5A, c.size);
    }
}

TEST(RawFrame, ZeroSizeIsReportedAndGoesOn) {
    vftest::ContractLog log;
    BRT::InterfaceRef<RawFrame> frame(new RawFrame);
    EXPECT_EQ(frame->Initialize(0, 32), 0);
    EXPECT_EQ(frame->GetBufferSize(), 32U);
    EXPECT_EQ(log.Take(), (std::vector<std::string>{"inSize @ Src/RawFrame:60"}));
}

TEST(RawFrame, AnswersMemoryAccessItsClassAndNothingElse) {
    BRT::InterfaceRef<RawFrame> frame(new RawFrame);
    ASSERT_EQ(frame->Initialize(16, 0), 0);
    void* found = nullptr;
    for (const auto& id :
         {IVideoFrameMemoryAccess::kInterfaceID, RawFrame::kInterfaceID, BRT::BRTUnknown::kInterfaceID}) {
        EXPECT_EQ(frame->QueryInterface(id, &found), 0);
        EXPECT_EQ(found, frame.GetPtr());
        frame->Release();
    }
    EXPECT_EQ(frame->QueryInterface(RK::IVideoFrame::kInterfaceID, &found), kResult_NoSuchInterface);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(frame->GetSelfReference(), frame);
    const vftest::FrameRef video = vftest::MakeFrame(zynmediatypes::kPixelFormat_BGRA_4444_8u, 4, 4, false);
    EXPECT_FALSE(BRT::QueryInterface<RawFrame>(video)) << "a frame with memory access is no raw block";
}

} // namespace
} // namespace VF
