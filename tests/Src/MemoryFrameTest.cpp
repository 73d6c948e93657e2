// Frames on blocks: the header's bytes, publication, other processes, and blocks that lie.

#include "ContractLog.h"
#include "FrameKinds.h"
#include "SharedMemoryFormat.h"
#include "SharedMemoryVideoFrame/MemoryRecyclerVideoFrame.h"
#include "VFResults.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <vector>

namespace {

using namespace vftest;
using VF::SharedMemoryVideoFrameHeader;
using zyncore::utility::Guid;
using zynmediatypes::kPixelFormat_BGRA_4444_8u;

std::uint32_t Word(const FrameRef& frame, std::size_t offset, std::size_t pixelOffset = 0) {
    std::uint32_t word = 0;
    std::memcpy(&word, Pixels(frame) - pixelOffset - 128 + offset, 4);
    return word;
}

std::int32_t Publish(const FrameRef& frame, const Guid& id) {
    return BRT::QueryInterface<VF::IPublishableVideoFrame>(frame)->Publish(id);
}

class MemoryFrame : public LibraryTest {};

TEST_F(MemoryFrame, HeaderBytesLieAtTheirOffsets) {
    FrameRef frame;
    ASSERT_EQ(VF::CreateVideoFrame(frame, kPixelFormat_BGRA_4444_8u, 5, 3, {10, 11}, false, false), 0);
    frame->SetUserRect({1, 2, 11, 22});
    frame->SetAlphaBounds({1, 1, 4, 3});
    frame->SetRenderTime(0x01020304);
    const std::uint32_t unset = 0xFFFFFFFFU;
    const std::uint32_t expected[32] = {128,   6,     188,        0x61726762, kPixelFormat_BGRA_4444_8u.properties,
                                        unset, unset, 5,          3,          3,
                                        1,     1,     1,          3,          2,
                                        10,    11,    20,         1,          2,
                                        10,    20,    0x01020304, 0};
    for (std::size_t word = 0; word < 32; ++word) {
        EXPECT_EQ(Word(frame, 4 * word), expected[word]) << "offset " << 4 * word;
    }
    // The origin is one fact: a negative half hides the other, and the header keeps what was set.
    frame->SetOrigin({-5, 10});
    EXPECT_EQ(frame->GetOrigin(), (BRT::ParamPoint<BRT::CPoint>{-1, -1}));
    EXPECT_EQ(Word(frame, 20), static_cast<std::uint32_t>(-5));
    EXPECT_EQ(Word(frame, 24), 10U);

    FrameRef planar = MakeFrame(zynmediatypes::kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 6, 4);
    EXPECT_EQ(Word(planar, 68), 36U) << "formats without rows count the whole image";
}

TEST_F(MemoryFrame, ARecyclerFrameCannotBePublished) {
    FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    void* found = &frame;
    EXPECT_EQ(frame->QueryInterface(VF::IPublishableVideoFrame::kInterfaceID, &found), VF::kResult_NoSuchInterface);
    EXPECT_EQ(found, nullptr);
    ContractLog log;
    auto* const object = static_cast<VF::MemoryRecyclerVideoFrame*>(frame.GetPtr());
    EXPECT_EQ(object->Publish(Guid::Generate()), VF::kResult_Failed);
    FrameRef dv = MakeFrame(zynmediatypes::kPixelFormat_NTSCDV25, 720, 480);
    auto* const opaque = static_cast<VF::MemoryRecyclerVideoFrame*>(dv.GetPtr());
    EXPECT_EQ(opaque->GetField0Data(), Pixels(dv));
    EXPECT_NE(opaque->GetField1Data(), nullptr);
    EXPECT_EQ(log.Take(), (std::vector<std::string>{"false @ Src/SharedMemoryVideoFrame:397",
                                                    "IsRowAddressable() @ Src/SharedMemoryVideoFrame:652",
                                                    "IsRowAddressable() @ Src/SharedMemoryVideoFrame:658"}));
}

TEST_F(MemoryFrame, PublishingMakesItReadOnlyForGood) {
    FrameRef frame = MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 8, 6);
    PaintCoordinates(frame);
    const Guid id = Guid::Generate();
    EXPECT_EQ(Publish(frame, id), 0);
    EXPECT_EQ(Publish(frame, id), VF::kResult_Failed) << "the name is alive";
    frame->SetReadOnly(false);
    EXPECT_TRUE(frame->GetReadOnly());
    EXPECT_FALSE(BRT::QueryInterface<RK::IVideoFrameClearable>(frame));
    FrameRef copy = VF::MakeWriteableVideoFrame(Receive(id), zynmediatypes::kRenderQuality_High);
    ASSERT_TRUE(copy);
    EXPECT_FALSE(copy->GetReadOnly());
    EXPECT_EQ(PixelAt(copy, 7, 5), PixelAt(frame, 7, 5));
    EXPECT_EQ(VF::MakeWriteableVideoFrame(copy, zynmediatypes::kRenderQuality_High), copy);
}

TEST_F(MemoryFrame, AFailedPublicationLeavesTheFrameWritable) {
    FrameRef taken = MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    FrameRef frame = MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    const Guid id = Guid::Generate();
    ASSERT_EQ(Publish(taken, id), 0);
    EXPECT_EQ(Publish(frame, id), VF::kResult_Failed);
    EXPECT_FALSE(frame->GetReadOnly());
    EXPECT_EQ(Publish(frame, Guid::Generate()), 0);
    EXPECT_TRUE(frame->GetReadOnly());
}

// A broker whose folder is somebody else's is no broker: frames live in recycled memory.
TEST(MemoryFrameWithoutBroker, FallsBackToRecycledMemory) {
    std::string name = (std::filesystem::temp_directory_path() / "vf-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    chmod(name.c_str(), 0777);
    setenv("VF_SHAREHUB_DIR", name.c_str(), 1);
    VF::Initialize();
    FrameRef frame = MakePublishableFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    EXPECT_TRUE(frame);
    EXPECT_FALSE(BRT::QueryInterface<VF::IPublishableVideoFrame>(frame));
    VF::SetCreatePublishableCustomVideoFrames(true);
    EXPECT_EQ(VF::CreateCustomVideoFrame(frame, {zynmediatypes::FourCharacterCode("@own"), 0}, 4, 4, 10, {1, 1}), 0);
    EXPECT_TRUE(frame);
    VF::SetCreatePublishableCustomVideoFrames(false);
    VF::Shutdown();
    std::filesystem::remove_all(name);
}

} // namespace
