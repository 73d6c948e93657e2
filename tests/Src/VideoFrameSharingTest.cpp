// Frames between processes: what arrives, what is refused, and what waiting processes are told.

#include "VideoFrameSharing.h"

#include "../platform/sharehub/BrokerFixture.h"
#include "ExactBlock.h"
#include "FrameKinds.h"
#include "SharedMemoryFormat.h"
#include "VFResults.h"
#include "VectorFrame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

namespace {

using namespace vftest;
using VF::SharedMemoryVideoFrameHeader;
using zyncore::utility::Guid;
using namespace zynmediatypes;
using Readable = boost::shared_ptr<framebroker::BinaryReference>;
using Writable = boost::shared_ptr<framebroker::WritableBinaryReference>;

constexpr std::uint64_t kAnySize = std::numeric_limits<std::uint64_t>::max();
constexpr PixelFormat kCustom{FourCharacterCode("@own"), kPixelFormatProperties_Custom};

/// The frame that a reader gets under an identifier, empty without one.
FrameRef Wrap(const Guid& id) {
    FrameRef frame;
    static_cast<void>(VF::WrapVideoFrameAroundBinaryReference(framebroker::Open(id), id, frame));
    return frame;
}

std::int32_t GenerationError(const Guid& id) {
    std::int32_t code = 0;
    static_cast<void>(framebroker::GetGenerationError(id, code));
    return code;
}

std::uint8_t Pattern(std::size_t offset) {
    return static_cast<std::uint8_t>(offset * 131 + (offset >> 8) * 7);
}

/// A picture with the layout of its packed copy.
struct Layout {
    Picture picture;
    std::uint32_t rowBytes;
    std::uint32_t rows;
    std::uint32_t BlockBytes() const { return 128 + rowBytes * rows; }
};
const Layout kLayouts[] = {
    {{kPixelFormat_BGRA_4444_8u, 7, 5}, 28, 5},
    {{kPixelFormat_VUYA_4444_32f_709, 3, 4}, 48, 4},
    {{kPixelFormat_UYVY_422_8u, 7, 5}, 16, 5},
    {{kPixelFormat_V210_422_10u, 48, 3}, 128, 3},
    {{kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 7, 5}, 59, 1},
    {{kPixelFormat_NTSCDV25, 720, 480}, 120000, 1},
    {{kCustom, 4, 4, 37}, 37, 1},
};

class VideoFrameSharing : public LibraryTest {
protected:
    static void SetProperties(const FrameRef& frame) {
        frame->SetOrigin({7, 9});
        frame->SetFieldType(kFieldType_LowerFirst);
        frame->SetAlphaType(2);
        frame->SetAlphaBounds({1, 1, 5, 4});
        frame->SetPixelAspectRatio({12, 11});
        frame->SetUserRect({-3, 2, 11, 22});
        frame->SetRenderTime(9);
    }
    static bool Arrived(const FrameRef& frame, const Layout& layout, bool copied) {
        if (!frame || !frame->GetReadOnly()) {
            return false;
        }
        const auto& [format, w, h, dataBytes] = layout.picture;
        const std::uint32_t alpha = copied ? 1 : 2;
        const std::uint32_t time = copied ? 0 : 9;
        // clang-format off
        const std::uint32_t header[32] = {128, 6, layout.BlockBytes(), format.name, format.properties, 7, 9, w, h, 2,
                                          alpha, 1, 1, 4, 3, 12, 11, layout.rowBytes, ~2U, 2, 14, 20, time};
        // clang-format on
        const std::uint8_t* const pixels = Pixels(frame);
        bool same = std::memcmp(pixels - 128, header, 128) == 0;
        for (std::size_t i = 0; i < layout.BlockBytes() - 128; ++i) {
            same = same && pixels[i] == Pattern(i);
        }
        return same;
    }
};

TEST_F(VideoFrameSharing, EveryKindOfFrameArrivesWhole) {
    for (const FrameKind& kind : kBlockKinds) {
        for (const Layout& layout : kLayouts) {
            SCOPED_TRACE(kind.name + std::to_string(layout.picture.format.name));
            const FrameRef frame = kind.make(layout.picture, [&](const FrameRef& made) {
                SetProperties(made);
                for (std::size_t i = 0; i < layout.BlockBytes() - 128; ++i) {
                    Pixels(made)[i] = Pattern(i);
                }
            });
            const std::uint64_t blocks = framebroker::GetClientStatistics().blocksMade;
            const Guid first = Guid::Generate();
            const Guid second = Guid::Generate();
            Writable reference;
            std::uint64_t size = 0;
            EXPECT_EQ(VF::GetRequiredSharedMemorySizeForVideoFrame(frame, size), 0);
            EXPECT_EQ(size, layout.BlockBytes());
            EXPECT_EQ(VF::PublishVideoFrameProvidingReference(frame, first, reference), 0);
            EXPECT_EQ(reference == nullptr, kind.publishable);
            const FrameRef wrapped = Wrap(first);
            EXPECT_TRUE(Arrived(wrapped, layout, !kind.publishable));
            EXPECT_EQ(VF::PublishVideoFrame(wrapped, second), 0) << "a further name";
            EXPECT_EQ(framebroker::GetClientStatistics().blocksMade - blocks, kind.publishable ? 0U : 1U);
            EXPECT_TRUE(framebroker::TrueInClientProcess([&] {
                return Arrived(Wrap(first), layout, !kind.publishable) &&
                       Arrived(Wrap(second), layout, !kind.publishable);
            }));
        }
    }
}

// Frames that other modules bring answer for themselves.
TEST_F(VideoFrameSharing, FramesOfOtherModules) {
    constexpr PixelFormat kBgra = kPixelFormat_BGRA_4444_8u;
    using Bytes = std::vector<std::uint8_t>;
    struct Case {
        const char* name;
        PixelFormat format;
        int width, height;
        void (*change)(VectorFrame&);
        std::uint64_t size;    ///< required
        int result;            ///< of the copy
        std::int32_t rowBytes; ///< in the copy's header
        Bytes pixels;
    };
    const auto asItIs = [](VectorFrame&) {};
    const auto withoutRows = [](VectorFrame& f) { f.rows = false; };
    const auto customOf3 = [](VectorFrame& f) { f.rows = false, f.dataSize = 3; };
    const auto padded = [](VectorFrame& f) { f.rowBytes = 12; };
    const auto upwards = [](VectorFrame& f) { f.rowBytes = -8, f.start = 16; };
    const auto strideOf4 = [](VectorFrame& f) { f.rowBytes = 4; };
    const int failed = VF::kResult_NoPixelAccess;
    const PixelFormat planar = kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601;
    const Bytes firstColumn{0, 1, 2, 3, 12, 13, 14, 15, 24, 25, 26, 27};
    const Bytes upwardColumn{16, 17, 18, 19, 8, 9, 10, 11, 0, 1, 2, 3};
    const Case cases[] = {
        {"padded rows", kBgra, 1, 3, padded, 140, 0, 4, firstColumn},
        {"rows at decreasing addresses", kBgra, 1, 3, upwards, 140, 0, 4, upwardColumn},
        {"one row of any stride", kBgra, 2, 1, strideOf4, 136, 0, 8, {0, 1, 2, 3, 4, 5, 6, 7}},
        {"no rows although the format has them", kBgra, 1, 1, withoutRows, 132, 0, 4, {0, 1, 2, 3}},
        {"a stride below a row", kBgra, 2, 2, strideOf4, 144, failed, 8, {}},
        {"planar", planar, 2, 2, withoutRows, 134, 0, 6, {0, 1, 2, 3, 4, 5}},
        {"custom", kCustom, 2, 2, customOf3, 131, 0, 3, {0, 1, 2}},
        {"nothing in it", kBgra, 0, 5, asItIs, 128, 0, 0, {}},
        {"unknown to the converter", kPixelFormat_BGRA_4444_16u, 1, 1, asItIs, 136, failed, 0, {}},
        {"invalid", kPixelFormat_Invalid, 1, 1, asItIs, 128, failed, 0, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VectorFrame frame(c.format, c.width, c.height, 64);
        for (std::size_t i = 0; i < frame.bytes.size(); ++i) {
            frame.bytes[i] = static_cast<std::uint8_t>(i);
        }
        c.change(frame);
        std::uint64_t size = 0;
        EXPECT_EQ(VF::GetRequiredSharedMemorySizeForVideoFrame(frame.Ref(), size), 0);
        EXPECT_EQ(size, c.size);
        Bytes buffer(c.size);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame.Ref(), buffer.data(), size - 1),
                  VF::kResult_BufferTooSmall);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame.Ref(), nullptr, size), VF::kResult_BufferTooSmall);
        EXPECT_EQ(buffer, Bytes(c.size));
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame.Ref(), buffer.data(), c.size), c.result);
        SharedMemoryVideoFrameHeader header{};
        std::memcpy(&header, buffer.data(), 128);
        EXPECT_EQ(header.version, 6U);
        EXPECT_EQ(header.rowBytes, c.rowBytes);
        EXPECT_TRUE(c.result != 0 || Bytes(buffer.begin() + 128, buffer.end()) == c.pixels);
        const Guid id = Guid::Generate();
        EXPECT_EQ(VF::PublishVideoFrame(frame.Ref(), id), c.result == 0 ? 0 : VF::kResult_Failed);
        EXPECT_EQ(GenerationError(id), c.result == 0 ? 0 : -1);
        EXPECT_EQ(frame.References(), 0U);
    }
    // Alpha bounds that the frame does not vouch for travel all the same.
    VectorFrame unsure(kBgra, 2, 2);
    unsure.SetAlphaBounds({1, 0, 2, 2});
    unsure.knowsAlphaBounds = false;
    const Guid id = Guid::Generate();
    EXPECT_EQ(VF::PublishVideoFrame(unsure.Ref(), id), 0);
    Rect bounds;
    EXPECT_TRUE(Wrap(id)->GetAlphaBounds(bounds));
    EXPECT_EQ(bounds, (Rect{1, 0, 2, 2}));
}

// Row bytes that no signed 32-bit word holds are refused before a byte behind the header is written.
TEST_F(VideoFrameSharing, PicturesTooLargeForAHeader) {
    struct Case {
        PixelFormat format;
        int width, height;
        std::uint64_t dataSize, size;
    };
    constexpr PixelFormat kPlanar = kPixelFormat_YUV_420_MPEG4_FRAME_PICTURE_PLANAR_8u_709;
    for (const Case& c :
         {Case{kPixelFormat_BGRA_4444_8u, 1 << 29, 2, 0, (1ULL << 32) + 128},
          Case{kPixelFormat_BGRA_4444_32f, INT32_MAX, 2, 0, 32ULL * INT32_MAX + 128},
          Case{kPlanar, 1 << 16, 1 << 16, (3ULL << 31), (3ULL << 31) + 128},
          Case{kCustom, 4, 4, 1ULL << 31, (1ULL << 31) + 128}, Case{kCustom, 4, 4, kAnySize - 127, kAnySize}}) {
        SCOPED_TRACE(c.size);
        VectorFrame frame(c.format, c.width, c.height, 16);
        frame.rows = c.dataSize == 0;
        frame.dataSize = c.dataSize;
        std::uint64_t size = 0;
        EXPECT_EQ(VF::GetRequiredSharedMemorySizeForVideoFrame(frame.Ref(), size), 0);
        EXPECT_EQ(size, c.size);
        std::vector<std::uint8_t> header(128);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame.Ref(), header.data(), kAnySize),
                  VF::kResult_NoPixelAccess);
        EXPECT_EQ(header[4], 6);
        if (c.size == kAnySize) {
            EXPECT_EQ(VF::PublishVideoFrame(frame.Ref(), Guid::Generate()), VF::kResult_Failed);
        }
    }
}

TEST_F(VideoFrameSharing, FailuresAreToldToWaitingProcesses) {
    VectorFrame without(kPixelFormat_BGRA_4444_8u, 4, 4);
    without.memory = false;
    VectorFrame throwing(kPixelFormat_BGRA_4444_8u, 4, 4);
    throwing.throws = true;
    const FrameRef good = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    std::uint64_t size = 5;
    std::vector<std::uint8_t> buffer(256, 0xAA);
    for (const FrameRef& frame : {FrameRef(), without.Ref()}) {
        EXPECT_EQ(VF::GetRequiredSharedMemorySizeForVideoFrame(frame, size), VF::kResult_Failed);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.data(), 256), VF::kResult_NoPixelAccess);
    }
    EXPECT_THROW(VF::CopyVideoFrameIntoSharedMemoryBuffer(throwing.Ref(), buffer.data(), 256), std::runtime_error);
    EXPECT_EQ(size, 5U);
    EXPECT_EQ(buffer, std::vector<std::uint8_t>(256, 0xAA));

    const Writable kept = framebroker::MakeBlock(10, 1);
    Writable reference = kept; // replaced only by success
    for (const FrameRef& frame : {FrameRef(), without.Ref(), throwing.Ref()}) {
        const Guid id = Guid::Generate();
        if (frame == throwing.Ref()) {
            EXPECT_THROW(VF::PublishVideoFrameProvidingReference(frame, id, reference), std::runtime_error);
        } else {
            EXPECT_EQ(VF::PublishVideoFrameProvidingReference(frame, id, reference), VF::kResult_Failed);
        }
        EXPECT_EQ(GenerationError(id), -1);
        EXPECT_EQ(reference, kept);
        EXPECT_EQ(VF::PublishVideoFrame(good, id), 0) << "data replaces the error";
        EXPECT_EQ(GenerationError(id), 0);
    }
    EXPECT_EQ(without.References() + throwing.References(), 0U);

    // A name in use keeps its data, whoever wants it. A name that nobody can have is an error too.
    const Guid taken = Guid::Generate();
    const auto nothing = [](const FrameRef&) {};
    ASSERT_EQ(VF::PublishVideoFrameProvidingReference(good, taken, reference), 0);
    EXPECT_NE(reference, kept);
    for (const FrameKind& kind : AllKinds()) {
        const FrameRef frame = kind.make({kPixelFormat_BGRA_4444_8u, 9, 9}, nothing);
        EXPECT_EQ(VF::PublishVideoFrame(frame, taken), VF::kResult_Failed) << kind.name;
        EXPECT_EQ(VF::PublishVideoFrame(frame, Guid()), VF::kResult_Failed) << kind.name;
        EXPECT_EQ(Wrap(taken)->GetBounds(), (Rect{0, 0, 4, 4}));
        EXPECT_EQ(GenerationError(taken), 0);
    }
}

TEST_F(VideoFrameSharing, WrappingAlwaysReplacesTheFrame) {
    const boost::shared_ptr<ExactBlock> tooShort(new ExactBlock(127));
    const boost::shared_ptr<ExactBlock> empty(new ExactBlock(128));
    empty->empty = true;
    const boost::shared_ptr<ExactBlock> throwing(new ExactBlock(128));
    throwing->throws = true;
    for (const Readable& reference : {Readable(), Readable(tooShort), Readable(empty), Readable(throwing)}) {
        FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
        EXPECT_EQ(VF::WrapVideoFrameAroundBinaryReference(reference, Guid::Generate(), frame), VF::kResult_Failed);
        EXPECT_FALSE(frame);
    }
    EXPECT_EQ(tooShort->acquired, 0);
    const boost::shared_ptr<ExactBlock> block(new ExactBlock(128));
    FrameRef frame;
    EXPECT_EQ(VF::WrapVideoFrameAroundBinaryReference(block, Guid::Generate(), frame), 0);
    EXPECT_EQ(VF::WrapVideoFrameAroundBinaryReference(block, Guid::Generate(), frame), 0);
    EXPECT_EQ(block->acquired, 1);
    frame.Reset();
    EXPECT_EQ(block->acquired, 0);
}

} // namespace
