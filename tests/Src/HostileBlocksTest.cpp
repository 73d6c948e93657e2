// Blocks that another process filled with whatever it liked.

#include "../platform/sharehub/BrokerFixture.h"
#include "ExactBlock.h"
#include "SharedMemoryFormat.h"
#include "TestFrames.h"
#include "VFResults.h"
#include "VideoFrameManipulators.h"
#include "VideoFrameSharing.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

namespace {

using namespace vftest;
using VF::SharedMemoryVideoFrameHeader;
using zyncore::utility::Guid;
using namespace zynmediatypes;
namespace Manipulators = VF::VideoFrameManipulators;

constexpr std::uint64_t kAnySize = std::numeric_limits<std::uint64_t>::max();
constexpr PixelFormat kCustom{FourCharacterCode("@own"), kPixelFormatProperties_Custom};

class HostileBlocks : public LibraryTest {};

FrameRef Wrap(const boost::shared_ptr<framebroker::BinaryReference>& reference, const Guid& id) {
    FrameRef frame;
    EXPECT_EQ(VF::WrapVideoFrameAroundBinaryReference(reference, id, frame), 0);
    return frame;
}

/// The header of a 4 x 4 picture right behind which its 64 bytes lie.
SharedMemoryVideoFrameHeader SmallHeader() {
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    SharedMemoryVideoFrameHeader header{};
    std::memcpy(&header, Pixels(frame) - 128, 128);
    return header;
}

// Runs what reads a frame beside the copies; none may leave the block, and those that need what it lacks may throw.
void ReadInEveryWay(const FrameRef& frame) {
    const FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    Rect bounds;
    std::vector<std::uint8_t> buffer(64);
    const std::function<void()> operations[] = {
        [&] { Manipulators::CopyField(frame, destination, 0, kRenderQuality_Low); },
        [&] { Manipulators::InterpFieldToFrame(frame, destination, 1); },
        [&] { Manipulators::VerticalConvolve(frame, destination); },
        [&] { Manipulators::SwapFields(frame, destination); },
        [&] { Manipulators::MergePulldownFrames(destination, frame); },
        [&] { Manipulators::MergePulldownFrames(MakeFrame(kPixelFormat_PALDV25, 720, 576), frame); },
        [&] { Manipulators::CalculateAlphaBounds(frame, bounds); },
        [&] { Manipulators::StoreExternal(frame, buffer.data(), 4, 4, 16); },
    };
    for (const auto& operation : operations) {
        try {
            operation();
        } catch (const BRT::NullInterfaceException&) {
            continue;
        }
    }
}

// Headers that lie: the accessors say what the header says, everything that touches pixels refuses what does not lie in
// the block, and publishing makes an alias whatever is in it.
TEST_F(HostileBlocks, BlocksThatLie) {
    using Header = SharedMemoryVideoFrameHeader;
    struct Case {
        const char* name;
        std::size_t held; ///< bytes of the block
        bool copies;
        void (*change)(Header&);
    };
    const Case cases[] = {
        {"honest", 192, true, [](Header&) {}},
        {"wrong size, version and size of the header", 192, true,
         [](Header& h) { h.headerSize = 7, h.version = 77, h.blockSize = 1; }},
        {"an offset that counts in no old version", 192, true, [](Header& h) { h.version = 5, h.pixelOffset = 99; }},
        {"nothing in it", 128, true, [](Header& h) { h.width = -4; }},
        {"one byte short", 191, false, [](Header&) {}},
        {"nothing but a header", 128, false, [](Header&) {}},
        {"an offset past the end", 192, false, [](Header& h) { h.pixelOffset = 0xFFFFFFFF; }},
        {"an offset of one byte", 192, false, [](Header& h) { h.pixelOffset = 1; }},
        {"huge width", 192, false, [](Header& h) { h.width = INT32_MAX; }},
        {"huge height", 192, false, [](Header& h) { h.height = INT32_MAX; }},
        {"huge rows", 192, false, [](Header& h) { h.rowBytes = INT32_MAX; }},
        {"rows before the pixels", 192, false, [](Header& h) { h.rowBytes = -4096; }},
        {"the most negative rows", 192, false, [](Header& h) { h.rowBytes = INT32_MIN; }},
        {"planar and too large", 192, false,
         [](Header& h) {
             h.pixelFormat = kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, h.width = 16, h.height = 16;
         }},
        {"compressed and too large", 192, false,
         [](Header& h) { h.pixelFormat = kPixelFormat_PALDV25, h.width = 720, h.height = 576; }},
        {"custom and larger than the block", 192, false, [](Header& h) { h.pixelFormat = kCustom, h.blockSize = 193; }},
        {"custom without room for a header", 192, true, [](Header& h) { h.pixelFormat = kCustom, h.blockSize = 1; }},
        {"unknown", 192, false,
         [](Header& h) {
             h.pixelFormat = {FourCharacterCode("what"), 0xFFFFFFFF};
         }},
    };
    const Rect all{0, 0, 4, 4};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Header header = SmallHeader();
        c.change(header);
        // Once as a block of the broker, once as memory that a sanitizer guards.
        const boost::shared_ptr<ExactBlock> exact(new ExactBlock(c.held));
        std::memcpy(exact->bytes.data(), &header, 128);
        framebroker::Writable block;
        ASSERT_EQ(framebroker::GetWritableBinaryData(c.held, block), 0);
        void* const data = block->AcquireDataPointer();
        std::memcpy(data, exact->bytes.data(), c.held);
        block->ReleaseDataPointer(data);
        const Guid id = Guid::Generate();
        ASSERT_EQ(framebroker::PutCompletedBinaryData(id, block), 0);
        const FrameRef guarded = Wrap(exact, id);
        const FrameRef shared = Wrap(framebroker::Open(id), id);
        for (const FrameRef& frame : {guarded, shared}) {
            EXPECT_EQ(frame->GetBounds(), (Rect{0, 0, header.width, header.height}));
            std::vector<std::uint8_t> buffer(192);
            EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.data(), kAnySize),
                      c.copies ? 0 : VF::kResult_NoPixelAccess);
            const FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
            static_cast<void>(Manipulators::CopyFrame(frame, destination, kRenderQuality_Low));
            EXPECT_EQ(Manipulators::CopyRect(frame, all, destination, all, kRenderQuality_Low, 2), 0);
            EXPECT_EQ(PixelAt(destination, 3, 3),
                      c.copies && header.width > 0 && header.pixelFormat != kCustom ? 0U : 0xFF000000U);
            ReadInEveryWay(frame);
            FrameRef view;
            VF::CreateVideoSubFrame(view, frame, all);
            ReadInEveryWay(view);
        }
        const Guid alias = Guid::Generate();
        EXPECT_EQ(VF::PublishVideoFrame(shared, alias), 0);
        EXPECT_TRUE(Wrap(framebroker::Open(alias), alias));
        EXPECT_EQ(VF::PublishVideoFrame(guarded, Guid::Generate()), VF::kResult_Failed) << "no block of the broker";
    }
}

// Another process may rewrite the header while a copy is under way.
TEST_F(HostileBlocks, HeadersThatChangeDuringTheCopy) {
    const boost::shared_ptr<ExactBlock> block(new ExactBlock(192));
    const SharedMemoryVideoFrameHeader honest = SmallHeader();
    std::memcpy(block->bytes.data(), &honest, 128);
    const FrameRef frame = Wrap(block, Guid::Generate());
    auto* const header = reinterpret_cast<SharedMemoryVideoFrameHeader*>(block->bytes.data());
    std::atomic<bool> done{false};
    std::jthread hostile([&] {
        const auto flip = [&](auto& word, auto value, auto other) {
            std::atomic_ref(word).store(value, std::memory_order_relaxed);
            std::atomic_ref(word).store(other, std::memory_order_relaxed);
        };
        while (!done) {
            flip(header->width, 1 << 20, 4);
            flip(header->height, 3000, 4);
            flip(header->rowBytes, -4096, 16);
            flip(header->pixelOffset, 1U << 20, 0U);
            flip(header->pixelFormat.name, FourCharacterCode("@own"), honest.pixelFormat.name);
            flip(header->blockSize, 1U << 30, 192U);
        }
    });
    std::vector<std::uint8_t> buffer(192);
    unsigned copied = 0;
    for (unsigned round = 0; round < 20000; ++round) {
        copied += VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.data(), buffer.size()) == 0 ? 1 : 0;
    }
    done = true;
    EXPECT_GT(copied, 0U);
}

} // namespace
