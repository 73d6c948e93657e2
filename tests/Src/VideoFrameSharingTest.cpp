// Frames between processes: what arrives, what is refused, and what waiting processes are told.

#include "VideoFrameSharing.h"

#include "../platform/sharehub/BrokerFixture.h"
#include "FrameKinds.h"
#include "SharedMemoryFormat.h"
#include "VFResults.h"
#include "VectorFrame.h"
#include "VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <thread>
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
    std::int32_t rowBytes;
    std::int32_t usedBytes; ///< of a row
    std::size_t rows;
};
const Layout kLayouts[] = {
    {{kPixelFormat_BGRA_4444_8u, 7, 5}, 28, 28, 5},
    {{kPixelFormat_VUYA_4444_32f_709, 3, 4}, 48, 48, 4},
    {{kPixelFormat_UYVY_422_8u, 7, 5}, 16, 16, 5},
    {{kPixelFormat_V210_422_10u, 50, 3}, 256, 144, 3},
    {{kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 7, 5}, 59, 59, 1},
    {{kPixelFormat_NTSCDV25, 720, 480}, 120000, 120000, 1},
    {{kCustom, 4, 4, 37}, 37, 37, 1},
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
        SharedMemoryVideoFrameHeader expected{};
        expected.headerSize = 128;
        expected.version = 6;
        expected.blockSize = static_cast<std::uint32_t>(128 + layout.rowBytes * static_cast<int>(layout.rows));
        expected.pixelFormat = layout.picture.format;
        expected.originX = 7;
        expected.originY = 9;
        expected.width = static_cast<std::int32_t>(layout.picture.width);
        expected.height = static_cast<std::int32_t>(layout.picture.height);
        expected.fieldType = 2;
        expected.alphaType = copied ? 1 : 2;
        expected.alphaBounds = {1, 1, 4, 3};
        expected.aspectRatio = {12, 11};
        expected.rowBytes = layout.rowBytes;
        expected.userRect = {-3, 2, 14, 20};
        expected.renderTime = copied ? 0 : 9;
        const std::uint8_t* const pixels = Pixels(frame);
        bool same = std::memcmp(pixels - 128, &expected, 128) == 0;
        for (std::size_t i = 0; i < layout.rows * static_cast<std::size_t>(layout.rowBytes); ++i) {
            const bool used =
                i % static_cast<std::size_t>(layout.rowBytes) < static_cast<std::size_t>(layout.usedBytes);
            same = same && (!used || pixels[i] == Pattern(i));
        }
        return same;
    }
};

TEST_F(VideoFrameSharing, EveryKindOfFrameArrivesWhole) {
    for (const FrameKind& kind : kFrameKinds) {
        for (const Layout& layout : kLayouts) {
            SCOPED_TRACE(kind.name + std::to_string(layout.picture.format.name));
            const FrameRef frame = kind.make(layout.picture, [&](const FrameRef& made) {
                SetProperties(made);
                for (std::size_t i = 0; i < layout.rows * static_cast<std::size_t>(layout.rowBytes); ++i) {
                    Pixels(made)[i] = Pattern(i);
                }
            });
            const std::uint64_t blocks = framebroker::GetClientStatistics().blocksMade;
            const Guid first = Guid::Generate();
            const Guid second = Guid::Generate();
            Writable reference;
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

TEST_F(VideoFrameSharing, TheBufferMustHoldTheCopy) {
    for (const Layout& layout : kLayouts) {
        SCOPED_TRACE(layout.picture.format.name);
        const FrameRef frame = MakeRecycled(layout.picture, [](const FrameRef& made) { SetProperties(made); });
        std::uint64_t size = 0;
        EXPECT_EQ(VF::GetRequiredSharedMemorySizeForVideoFrame(frame, size), 0);
        EXPECT_EQ(size, 128 + static_cast<std::uint64_t>(layout.rowBytes) * layout.rows);
        std::vector<std::uint8_t> buffer(size + 9, 0xAA);
        const std::vector<std::uint8_t> untouched = buffer;
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.data(), size - 1), VF::kResult_BufferTooSmall);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, nullptr, size), VF::kResult_BufferTooSmall);
        EXPECT_EQ(buffer, untouched);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.data() + 1, size), 0) << "at any address";
        EXPECT_EQ(buffer.front(), 0xAA);
        EXPECT_EQ(buffer[size + 1], 0xAA);
        EXPECT_EQ(VF::CopyVideoFrameIntoSharedMemoryBuffer(frame, buffer.data(), size + 9), 0);
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
    const auto customWithRows = [](VectorFrame& f) { f.rowBytes = -2, f.dataSize = 3; };
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
        {"custom, what its row bytes hold", kCustom, 2, 2, customWithRows, 131, 0, 3, {0, 1, 0}},
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
    Writable reference = kept;
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
    for (const FrameKind& kind : kFrameKinds) {
        const FrameRef frame = kind.make({kPixelFormat_BGRA_4444_8u, 9, 9}, nothing);
        EXPECT_EQ(VF::PublishVideoFrame(frame, taken), VF::kResult_Failed) << kind.name;
        EXPECT_EQ(VF::PublishVideoFrame(frame, Guid()), VF::kResult_Failed) << kind.name;
        EXPECT_EQ(Wrap(taken)->GetBounds(), (Rect{0, 0, 4, 4}));
        EXPECT_EQ(GenerationError(taken), 0);
    }
    // The alias of a block whose own name somebody removed.
    const Guid gone = Guid::Generate();
    const Guid alias = Guid::Generate();
    const FrameRef published = MakePublished({kPixelFormat_BGRA_4444_8u, 4, 4}, nothing, gone);
    std::filesystem::remove(std::filesystem::path(framebroker::GetDirectory()) / gone.ToString());
    EXPECT_EQ(VF::PublishVideoFrame(published, alias), VF::kResult_Failed);
    EXPECT_EQ(GenerationError(alias), -1);
}

TEST_F(VideoFrameSharing, TheProvidedReferenceKeepsTheBlock) {
    framebroker::SetPutBudget(0);
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    const Guid id = Guid::Generate();
    Writable reference;
    EXPECT_EQ(VF::PublishVideoFrame(frame, id), 0);
    EXPECT_FALSE(Wrap(id)) << "nobody keeps it";
    EXPECT_EQ(VF::PublishVideoFrameProvidingReference(frame, id, reference), 0);
    FrameRef wrapped = Wrap(id);
    EXPECT_TRUE(wrapped);
    reference.reset();
    EXPECT_TRUE(Wrap(id)) << "the frame keeps it";
    wrapped.Reset();
    EXPECT_FALSE(Wrap(id));
    framebroker::SetPutBudget(framebroker::kDefaultPutBudget);
}

/// A received block in memory that ends where it says, so that a sanitizer sees the first byte read behind it.
class ExactBlock final : public framebroker::BinaryReference {
public:
    explicit ExactBlock(std::size_t size) : bytes(size) {}
    const void* AcquireDataPointer() override {
        if (throws) {
            throw std::bad_alloc();
        }
        ++acquired;
        return empty ? nullptr : bytes.data();
    }
    void ReleaseDataPointer(const void*) override { --acquired; }
    std::uint64_t GetSize() const override { return bytes.size(); }
    std::vector<std::uint8_t> bytes;
    bool empty = false;
    bool throws = false;
    int acquired = 0;
};

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

/// The header of a 4 x 4 picture right behind which its 64 bytes lie.
SharedMemoryVideoFrameHeader SmallHeader() {
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    SharedMemoryVideoFrameHeader header{};
    std::memcpy(&header, Pixels(frame) - 128, 128);
    return header;
}

// Headers that lie: the accessors say what the header says, everything that touches pixels refuses what does not lie in
// the block, and publishing makes an alias whatever is in it.
TEST_F(VideoFrameSharing, BlocksThatLie) {
    namespace Manipulators = VF::VideoFrameManipulators;
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
        Writable block;
        ASSERT_EQ(framebroker::GetWritableBinaryData(c.held, block), 0);
        void* const data = block->AcquireDataPointer();
        std::memcpy(data, exact->bytes.data(), c.held);
        block->ReleaseDataPointer(data);
        const Guid id = Guid::Generate();
        ASSERT_EQ(framebroker::PutCompletedBinaryData(id, block), 0);
        FrameRef guarded;
        EXPECT_EQ(VF::WrapVideoFrameAroundBinaryReference(exact, id, guarded), 0);
        const FrameRef shared = Wrap(id);
        ASSERT_TRUE(shared);
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
        }
        const Guid alias = Guid::Generate();
        EXPECT_EQ(VF::PublishVideoFrame(shared, alias), 0);
        EXPECT_TRUE(Wrap(alias));
        EXPECT_EQ(VF::PublishVideoFrame(guarded, Guid::Generate()), VF::kResult_Failed) << "no block of the broker";
    }
}

// Another process may rewrite the header while a copy is under way.
TEST_F(VideoFrameSharing, HeadersThatChangeDuringTheCopy) {
    const boost::shared_ptr<ExactBlock> block(new ExactBlock(192));
    const SharedMemoryVideoFrameHeader honest = SmallHeader();
    std::memcpy(block->bytes.data(), &honest, 128);
    FrameRef frame;
    ASSERT_EQ(VF::WrapVideoFrameAroundBinaryReference(block, Guid::Generate(), frame), 0);
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
