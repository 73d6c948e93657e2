#include "Components.h"
#include "ContractLog.h"
#include "VFResults.h"
#include "VectorFrame.h"
#include "VideoFrameManipulators.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

namespace {

using namespace vftest;
using namespace VF::VideoFrameManipulators;
using namespace zynmediatypes;
using Lines = std::vector<std::string>;
using Row = std::vector<double>;

// The mean as integers round it, halves up; floats as they come.
Row Mean(const Row& a, const Row& b, bool floats) {
    Row mean(a.size());
    std::transform(a.begin(), a.end(), b.begin(), mean.begin(), [floats](double x, double y) {
        return floats ? static_cast<double>(static_cast<float>(x / 2 + y / 2)) : std::floor((x + y + 1) / 2);
    });
    return mean;
}

bool Near(const Row& a, const Row& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](double x, double y) { return std::abs(x - y) <= 1e-6; });
}

// The line, 0 or 1 from the picture's top, at which a field begins: upper field first means that field 0 has the top
// line. The order is told by the field type alone.
int TopLine(int fieldType, int field) {
    return (fieldType == kFieldType_UpperFirst) == (field == 0) ? 0 : 1;
}

class FieldOperations : public LibraryTest, public ::testing::WithParamInterface<PixelFormat> {
protected:
    static bool Floats() { return PrecisionOf(GetParam()) == Precision::Float32; }
};

TEST_P(FieldOperations, DeinterlacingRebuildsTheOtherField) {
    for (const int height : {1, 2, 3, 4, 5, 12, 13}) {
        for (const int type : {1, 2}) {
            for (const int field : {0, 1}) {
                SCOPED_TRACE(testing::Message() << height << " rows, type " << type << ", field " << field);
                const FrameRef frame = MakeNoise(GetParam(), 37, static_cast<std::uint32_t>(height));
                frame->SetFieldType(static_cast<FieldType>(type));
                const auto before = AllComponents(frame);
                DeinterlaceVideoFrame(frame, field);
                EXPECT_EQ(frame->GetFieldType(), kFieldType_Progressive);
                for (int y = 0; y < height; ++y) {
                    const auto row = [&](int n) -> const Row& { return before[static_cast<std::size_t>(n)]; };
                    const bool kept = y % 2 == TopLine(type, field) || height == 1;
                    const Row expected = kept              ? row(y)
                                         : y == 0          ? row(1)
                                         : y + 1 == height ? row(y - 1)
                                                           : Mean(row(y - 1), row(y + 1), Floats());
                    EXPECT_TRUE(Near(Components(frame, y), expected)) << "row " << y;
                }
            }
        }
    }
}

TEST_P(FieldOperations, VerticalBlur) {
    for (const int height : {1, 2, 3, 7}) {
        const FrameRef source = MakeNoise(GetParam(), 37, static_cast<std::uint32_t>(height));
        const FrameRef blurred = MakeFrame(GetParam(), 37, static_cast<std::uint32_t>(height));
        VerticalConvolve(source, blurred);
        for (int y = 0; y < height; ++y) {
            const Row above = Components(source, std::max(y - 1, 0));
            const Row here = Components(source, y);
            const Row below = Components(source, std::min(y + 1, height - 1));
            const Row sides = y == 0 ? below : y + 1 == height ? above : Mean(above, below, Floats());
            const Row expected = height == 1 ? here : Mean(sides, here, Floats());
            EXPECT_TRUE(Near(Components(blurred, y), expected)) << height << " rows, row " << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryPixelFormat, FieldOperations, ::testing::ValuesIn(PixelFormats()),
                         [](const auto& format) { return "Format" + std::to_string(format.index); });

class FieldTest : public LibraryTest {
protected:
    // Row y of the source as it appears in the destination: copying between equal formats keeps it.
    static bool SameRow(const FrameRef& a, int yOfA, const FrameRef& b, int yOfB) {
        return std::memcmp(RowAt(a, yOfA), RowAt(b, yOfB), static_cast<std::size_t>(RowBytes(a))) == 0;
    }
};

// Each frame finds the field's rows by its own field type; the rows of the other field stay.
TEST_F(FieldTest, CopiesOneField) {
    const PixelFormat bgra = kPixelFormat_BGRA_4444_8u;
    for (const int height : {2, 7, 8, 1081}) {
        for (const int types : {11, 12, 21, 22, 30}) {
            for (const int field : {0, 1, -3}) {
                SCOPED_TRACE(testing::Message() << height << " rows, types " << types << ", field " << field);
                const FrameRef source = MakeNoise(bgra, 9, static_cast<std::uint32_t>(height), 1);
                const FrameRef destination = MakeNoise(bgra, 9, static_cast<std::uint32_t>(height), 2);
                const FrameRef before = MakeNoise(bgra, 9, static_cast<std::uint32_t>(height), 2);
                source->SetFieldType(static_cast<FieldType>(types / 10));
                destination->SetFieldType(static_cast<FieldType>(types % 10));
                EXPECT_EQ(CopyField(source, destination, field, kRenderQuality_High), 0);
                const int from = TopLine(types / 10, field);
                const int to = TopLine(types % 10, field);
                for (int y = 0; y < height; ++y) {
                    // Rows pair off from the end of the picture, where memory begins.
                    const int last = height - 1;
                    const int step = (last - y) - ((last - to) % 2);
                    const int sourceRow = last - ((last - from) % 2) - step;
                    const bool copied = y % 2 == to && sourceRow >= 0;
                    EXPECT_TRUE(copied ? SameRow(destination, y, source, sourceRow)
                                       : SameRow(destination, y, before, y))
                        << "row " << y;
                }
            }
        }
    }
}

TEST_F(FieldTest, CopiesConvertAndScale) {
    // From pairs and planes through an addressable copy; the rows that are not copied stay black.
    for (const PixelFormat& format : {kPixelFormat_UYVY_422_8u, kPixelFormat_V210_422_10u_709,
                                      kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601}) {
        const FrameRef source = MakeFrame(format, 24, 8);
        BRT::QueryInterface<RK::IVideoFrameClearable>(source)->FillWithOpaqueWhite();
        source->SetFieldType(kFieldType_LowerFirst);
        for (const bool rebuild : {false, true}) {
            const FrameRef destination = MakeFrame(kPixelFormat_BGRA_4444_8u, 48, 8);
            destination->SetFieldType(kFieldType_LowerFirst);
            EXPECT_EQ(rebuild ? InterpFieldToFrame(source, destination, 0)
                              : CopyField(source, destination, 0, kRenderQuality_Highest),
                      0);
            for (int y = 0; y < 8; ++y) {
                EXPECT_EQ(PixelAt(destination, 47, y), rebuild || y % 2 == 1 ? 0xFFFFFFFFU : 0xFF000000U) << y;
            }
            EXPECT_EQ(destination->GetFieldType(), rebuild ? kFieldType_Progressive : kFieldType_LowerFirst);
        }
    }
    // Fields of other heights are scaled after a report. A field that is given one row more than it has, because the
    // source's field begins with the first row, is written as far as it goes.
    ContractLog log;
    for (const int sourceHeight : {7, 9}) {
        VectorFrame short_(kPixelFormat_BGRA_4444_8u, 4, 7, 4 * 4 * 7 + 64); // 64 bytes behind the frame
        short_.bytes.assign(short_.bytes.size(), 0x5A);
        short_.SetFieldType(kFieldType_LowerFirst);
        const FrameRef odd = MakeNoise(kPixelFormat_BGRA_4444_8u, 4, static_cast<std::uint32_t>(sourceHeight));
        odd->SetFieldType(kFieldType_UpperFirst);
        EXPECT_EQ(CopyField(odd, short_.Ref(), 0, kRenderQuality_High), 0);
        EXPECT_EQ(log.TakeConditions(),
                  Lines(sourceHeight == 9 ? 1 : 0, "theSrcRect.Height() == theDestRect.Height()"));
        EXPECT_NE(short_.bytes[static_cast<std::size_t>(4 * 4 * 5)], 0x5A);
        EXPECT_TRUE(std::all_of(short_.bytes.end() - 64 - 16, short_.bytes.end(), [](int b) { return b == 0x5A; }));
    }
    const FrameRef frame = MakeFrame(kPixelFormat_BGRA_4444_8u, 16, 16);
    EXPECT_EQ(CopyField(frame, MakeFrame(kPixelFormat_BGRA_4444_16u, 16, 16), 0, kRenderQuality_High),
              VF::kResult_Failed);
    EXPECT_LT(CopyField(MakeFrame(kPixelFormat_PALDV25, 16, 16, false), frame, 0, kRenderQuality_High), 0);
}

TEST_F(FieldTest, SwappingMovesThePictureDown) {
    for (const PixelFormat& format :
         {kPixelFormat_BGRA_4444_32f, kPixelFormat_UYVY_422_8u, kPixelFormat_V210_422_10u}) {
        for (const std::uint32_t height : {1U, 2U, 7U}) {
            const FrameRef source = MakeNoise(format, 48, height);
            const FrameRef destination = MakeNoise(format, 48, height, 2);
            SwapFields(source, destination);
            for (int y = 0; y < static_cast<int>(height); ++y) {
                EXPECT_TRUE(SameRow(destination, y, source, std::max(y - 1, 0))) << y;
            }
        }
    }
}

// What has no pixels that can be mixed stays as it is, its field type too.
TEST_F(FieldTest, FormatsWithoutPixelsStay) {
    for (const PixelFormat& format : {kPixelFormat_UYVY_422_8u, kPixelFormat_V210_422_10u}) {
        const FrameRef frame = MakeNoise(format, 48, 4, 1);
        const FrameRef other = MakeNoise(format, 48, 4, 2);
        frame->SetFieldType(kFieldType_UpperFirst);
        DeinterlaceVideoFrame(frame, 0);
        VerticalConvolve(other, frame);
        EXPECT_EQ(frame->GetFieldType(), kFieldType_UpperFirst);
        for (int y = 0; y < 4; ++y) {
            EXPECT_TRUE(SameRow(frame, y, MakeNoise(format, 48, 4, 1), y));
        }
    }
}

TEST_F(FieldTest, MergesPulldownPairs) {
    const FrameRef a = MakeNoise(kPixelFormat_VUYA_4444_32f, 9, 6, 1);
    const FrameRef b = MakeNoise(kPixelFormat_VUYA_4444_32f, 9, 6, 2);
    a->SetFieldType(kFieldType_UpperFirst);
    b->SetFieldType(kFieldType_UpperFirst);
    EXPECT_EQ(MergePulldownFrames(a, b), 0);
    for (int y = 0; y < 6; ++y) {
        EXPECT_TRUE(SameRow(a, y, y % 2 == 1 ? b : MakeNoise(kPixelFormat_VUYA_4444_32f, 9, 6, 1), y)) << y;
    }

    // A block with fewer bytes than its format has is left alone, on either side.
    constexpr std::size_t kBytes = 144000;
    std::vector<std::uint8_t> first(kBytes), second(kBytes), merged(kBytes);
    EXPECT_EQ(PB_FillWithOpaqueBlack(first.data(), 0, 720, 576, 0x2000821), 0);
    EXPECT_EQ(PB_FillWithOpaqueWhite(second.data(), 0, 720, 576, 0x2000821), 0);
    ASSERT_EQ(PB_MergeDV(first.data(), second.data(), merged.data(), kBytes, 4), 0);
    ASSERT_NE(merged, first);
    const auto load = [](const std::vector<std::uint8_t>& picture, std::size_t held) {
        FrameRef frame;
        VF::CreateCustomVideoFrame(frame, kPixelFormat_PALDV25, 720, 576, static_cast<std::int32_t>(held), {1, 1});
        std::memcpy(Pixels(frame), picture.data(), held);
        return frame;
    };
    for (const std::size_t heldByA : {kBytes, kBytes - 1}) {
        for (const std::size_t heldByB : {kBytes, kBytes - 1}) {
            const FrameRef whole = load(first, heldByA);
            EXPECT_EQ(MergePulldownFrames(whole, load(second, heldByB)), 0);
            const bool done = heldByA == kBytes && heldByB == kBytes;
            EXPECT_EQ(std::memcmp(Pixels(whole), (done ? merged : first).data(), heldByA), 0);
        }
    }
    ContractLog log;
    EXPECT_EQ(MergePulldownFrames(load(first, kBytes), b), 0);
    EXPECT_EQ(log.TakeConditions(), Lines{"inSourceFrameA->GetPixelType() == inSourceFrameB->GetPixelType()"});
}

TEST_F(FieldTest, ReportsAndThenGoesOnOrThrows) {
    const FrameRef source = MakeNoise(kPixelFormat_BGRA_4444_8u, 4, 4);
    const FrameRef locked = MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4);
    locked->SetReadOnly(true);
    const FrameRef planar = MakeFrame(kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601, 4, 4);
    const std::string dest = "inDestFrame->GetReadOnly() == false";
    const std::string video = "inVideoFrame->GetReadOnly() == false";
    const std::string copyRect = "destVideoFrame->GetReadOnly() == false";
    const std::string setter = "!GetReadOnly() && InternalGetWritableData()";
    const std::pair<std::function<void()>, Lines> written[] = {
        {[&] { CopyField(source, locked, 0, kRenderQuality_High); }, {dest}},
        {[&] { InterpFieldToFrame(source, locked, 0); }, {dest, dest, video, setter}},
        {[&] { DeinterlaceVideoFrame(locked, 0); }, {video, setter}},
        {[&] { VerticalConvolve(source, locked); }, {dest}},
        {[&] { SwapFields(source, locked); }, {dest, copyRect, copyRect}},
        {[&] { MergePulldownFrames(locked, source); }, {dest}},
    };
    ContractLog log;
    for (const auto& [operation, lines] : written) {
        operation();
        EXPECT_EQ(log.TakeConditions(), lines);
    }
    EXPECT_NE(AllComponents(locked), AllComponents(MakeFrame(kPixelFormat_BGRA_4444_8u, 4, 4)))
        << "nobody else reads the frame, so it is written";
    EXPECT_THROW(CopyField(source, planar, 0, kRenderQuality_High), BRT::NullInterfaceException);
    EXPECT_THROW(DeinterlaceVideoFrame(planar, 0), BRT::NullInterfaceException);
    EXPECT_THROW(VerticalConvolve(planar, source), BRT::NullInterfaceException);
    EXPECT_THROW(SwapFields(nullptr, source), BRT::NullInterfaceException);
    // A destination of another layout is addressed as the source is, but never outside its own rows.
    VectorFrame small(kPixelFormat_BGRA_4444_32f, 4, 4, 4 * 4 * 16 + 64);
    small.bytes.assign(small.bytes.size(), 0x5A);
    VerticalConvolve(MakeNoise(kPixelFormat_BGRA_4444_8u, 16, 16), small.Ref());
    VerticalConvolve(MakeNoise(kPixelFormat_BGRA_4444_8u, 64, 1), small.Ref());
    EXPECT_TRUE(std::all_of(small.bytes.end() - 64, small.bytes.end(), [](int b) { return b == 0x5A; }));
}

} // namespace
