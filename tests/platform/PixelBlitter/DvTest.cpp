#include "DvReference.h"
#include "TestHelpers.h"
#include "TestPicture.h"

extern "C" {
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cmath>

namespace {

constexpr int kQuality = 4;
const DvKind& kNtsc = kDvKinds[0];
const DvKind& kPal = kDvKinds[1];

int FromDv(const DvKind& kind, const DvFrame& frame, TestPicture& to, int field = 0) {
    return PB_ScaleConvert(frame.data(), static_cast<int>(kind.bytes), kind.width, kind.height, kind.value, field,
                           to.base, to.RowBytes(), to.width, to.height, to.format.value, field, kQuality);
}
int ToDv(const TestPicture& from, const DvKind& kind, DvFrame& frame, int field = 0) {
    return PB_ScaleConvert(from.base, from.RowBytes(), from.width, from.height, from.format.value, field, frame.data(),
                           static_cast<int>(kind.bytes), kind.width, kind.height, kind.value, field, kQuality);
}

// A real picture as a frame of any kind.
DvFrame RealFrame(const DvKind& kind) {
    const bool ntsc = kind.value == kNtsc.value;
    DvFrame frame = ReadDvFrame(ntsc ? "cockatoo-ntsc.dv" : "city-pal.dv");
    if (ntsc || kind.value == kPal.value) {
        return frame;
    }
    DvFrame other(kind.bytes);
    EXPECT_EQ(PB_ScaleConvert(frame.data(), 144000, 720, 576, kPal.value, 2, other.data(), static_cast<int>(kind.bytes),
                              kind.width, kind.height, kind.value, 1, kQuality),
              0);
    return other;
}

class Dv : public testing::TestWithParam<DvKind> {};
INSTANTIATE_TEST_SUITE_P(EveryKind, Dv, testing::ValuesIn(kDvKinds));

void ExpectExact(const DvKind& kind, const DvFrame& frame) {
    const DvPlanes planes = DecodeDv(kind, frame);
    const reference::Picture full = FullSize(kind, planes);
    for (const std::int32_t value : {0x4, 0x84, 0x905, 0xB05}) {
        TestPicture picture(value, kind.width, kind.height, 12, value == 0x84);
        ASSERT_EQ(FromDv(kind, frame, picture), 0);
        EXPECT_TRUE(picture.PaddingUntouched());
        const auto want =
            reference::Convert(reference::Format(kind.uyvy == 0x811 ? 0x905 : 0xB05), picture.format, full);
        const auto got = picture.Codes();
        for (int c = 0; c < 4; ++c) {
            double worst = 0;
            for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
                worst = std::max(worst, std::abs(got.plane[c].samples[i] - want.plane[c].samples[i]));
            }
            EXPECT_LE(worst, picture.format.layout == reference::Layout::Floats ? 2e-6 : 0.51) << std::hex << value;
        }
    }
}

TEST_P(Dv, DecodesExactly) {
    ExpectExact(GetParam(), RealFrame(GetParam()));
}

TEST(DvVariant, Decodes625LinesOf411) {
    DvKind kind = kPal;
    kind.chromaColumns = 4;
    kind.chromaRows = 1;
    TestPicture picture(0x811, 720, 576);
    ASSERT_EQ(FromDv(kPal, RealFrame(kPal), picture), 0);
    const DvFrame frame = EncodeDv(kind, PlanesOf422(kind, picture.Codes()));
    ExpectExact(kind, frame);
}

TEST_P(Dv, EncodesAsTheCodecWouldItself) {
    const DvKind& kind = GetParam();
    TestPicture first(kind.uyvy, kind.width, kind.height, 8), second(kind.uyvy, kind.width, kind.height);
    DvFrame frame = ReadDvFrame("city-pal.dv"), again(kind.bytes);
    ASSERT_EQ(FromDv(kPal, frame, first), 0);
    frame.assign(kind.bytes, 0);
    ASSERT_EQ(ToDv(first, kind, frame), 0);
    EXPECT_TRUE(frame == EncodeDv(kind, PlanesOf422(kind, first.Codes())));
    ASSERT_EQ(FromDv(kind, frame, second), 0);
    ASSERT_EQ(ToDv(second, kind, again), 0);
    EXPECT_TRUE(again == EncodeDv(kind, PlanesOf422(kind, second.Codes())));
}

TEST_P(Dv, MergesTheFieldsOfTwoFrames) {
    const DvKind& kind = GetParam();
    DvFrame a = RealFrame(kind);
    for (std::size_t i = 0; i < a.size(); ++i) { // sound and time code of a's own
        a[i] = i % 80 >= 3 && (a[i / 80 * 80] >> 5 == 3 || a[i / 80 * 80] >> 5 == 1) ? 0x5A : a[i];
    }
    DvPlanes woven = DecodeDv(kind, a), mirrored(kind);
    for (int p = 0; p < 3; ++p) { // turned round, lines stay in their field or change it together
        std::reverse_copy(woven.plane[p].samples.begin(), woven.plane[p].samples.end(),
                          mirrored.plane[p].samples.begin());
    }
    const DvFrame b = EncodeDv(kind, mirrored);
    mirrored = DecodeDv(kind, b);
    for (int p = 0; p < 3; ++p) {
        for (int y = kind.upperFirst ? 1 : 0; y < woven.plane[p].height; y += 2) { // the second field
            std::copy_n(&mirrored.plane[p].At(0, y), woven.plane[p].width, &woven.plane[p].At(0, y));
        }
    }
    DvFrame expected = a;
    if (kind.interlaced) {
        const DvFrame encoded = EncodeDv(kind, woven);
        for (std::size_t i = 0; i < a.size(); ++i) {
            expected[i] = a[i / 80 * 80] >> 5 == 4 ? encoded[i] : a[i];
        }
    }
    const auto merge = [&](const DvFrame& x, const DvFrame& y, DvFrame& to) {
        return PB_MergeDVCPRO(x.data(), y.data(), to.data(), kind.value, 4);
    };
    DvFrame merged(kind.bytes);
    ASSERT_EQ(merge(a, b, merged), 0);
    EXPECT_TRUE(merged == expected);
    if (kind.chromaColumns * kind.chromaRows == 4) {
        ASSERT_EQ(PB_MergeDV(a.data(), b.data(), merged.data(), kind.bytes, 4), 0);
        EXPECT_TRUE(merged == expected);
    }
    DvFrame inPlace[2] = {a, b};
    ASSERT_EQ(merge(inPlace[0], b, inPlace[0]) | merge(a, inPlace[1], inPlace[1]), 0);
    EXPECT_TRUE(inPlace[0] == expected && inPlace[1] == expected);
    if (!kind.interlaced) {
        return;
    }
    const DvFrame noise(kind.bytes, 0x96), before = merged;
    EXPECT_EQ(merge(noise, b, merged), kPB_BadData);
    EXPECT_EQ(merge(a, noise, merged), kPB_BadData);
    EXPECT_EQ(PB_MergeDVCPRO(a.data(), b.data(), merged.data(), kind.uyvy, 4), kPB_UnsupportedFormat);
    EXPECT_EQ(PB_MergeDVCPRO(a.data(), nullptr, merged.data(), kind.value, 4), kPB_BadArgument);
    EXPECT_EQ(PB_MergeDV(a.data(), b.data(), merged.data(), kind.bytes - 1, 4), kPB_BadArgument);
    EXPECT_TRUE(merged == before);
}

TEST_P(Dv, FillsItsRasterOnly) {
    const DvKind& kind = GetParam();
    const int bytes = static_cast<int>(kind.bytes);
    const auto check = [&](int result, const GuardedBuffer& frame, const std::uint8_t(&bgra)[4]) {
        ASSERT_EQ(result, 0);
        TestPicture picture(0x4, kind.width, kind.height);
        ASSERT_EQ(FromDv(kind, {frame.data(), frame.data() + bytes}, picture), 0);
        const auto pixels = picture.Pixels();
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            ASSERT_NEAR(pixels[i], bgra[i % 4], bgra[i % 4] % 255 == 0 ? 0 : 2);
        }
    };
    const GuardedBuffer frame(kind.bytes);
    for (int round = 0; round < 2; ++round) { // encoded, then remembered
        check(PB_FillWithOpaqueWhite(frame.data(), bytes, kind.width, kind.height, kind.value), frame,
              {255, 255, 255, 255});
        check(PB_FillWithOpaqueBlack(frame.data(), 0, kind.width, kind.height, kind.value), frame, {0, 0, 0, 255});
    }
    const std::uint8_t orange[4] = {40, 120, 200, 255};
    check(PB_FillWithColor(frame.data(), -bytes, kind.width, kind.height, kind.value, orange, 0x4), frame,
          {40, 120, 200, 255});
    const DvFrame before(frame.data(), frame.data() + bytes);
    const auto fill = [&](auto function, int stride, int height) {
        return function(frame.data(), stride, kind.width, height, kind.value);
    };
    EXPECT_EQ(fill(PB_FillWithTransparentBlack, bytes, kind.height), kPB_UnsupportedFormat);
    EXPECT_EQ(fill(PB_FillWithOpaqueBlack, bytes, kind.height / 2), kPB_UnsupportedGeometry);
    EXPECT_EQ(fill(PB_FillWithOpaqueBlack, bytes - 1, kind.height), kPB_BadArgument);
    EXPECT_TRUE(DvFrame(frame.data(), frame.data() + bytes) == before);
}

TEST_P(Dv, RefusesWhatIsNoFrameOfItsKind) {
    const DvKind& kind = GetParam();
    const int bytes = static_cast<int>(kind.bytes);
    static std::atomic<int> sShown; // several threads decode
    sShown = 0;
    testing::internal::CaptureStderr();
    TestPicture picture(0x4, kind.width, kind.height);
    GuardedBuffer source(kind.bytes);
    const auto refuses = [&](int expected, int stride, int width, int height, std::int32_t to = 0x4) {
        EXPECT_EQ(PB_ScaleConvert(source.data(), stride, width, height, kind.value, 0, picture.base, picture.RowBytes(),
                                  kind.width, kind.height, to, 0, 3),
                  expected);
        EXPECT_TRUE(picture.Untouched());
    };
    for (const DvKind& other : kDvKinds) {
        if (other.value != kind.value && other.bytes <= kind.bytes) {
            DvFrame frame(other.bytes);
            ASSERT_EQ(PB_FillWithOpaqueBlack(frame.data(), 0, other.width, other.height, other.value), 0);
            for (std::size_t i = 0; i < kind.bytes; ++i) { // whole blocks in the right order up to the end
                source.data()[i] = frame[i % other.bytes];
            }
            refuses(kPB_BadData, bytes, kind.width, kind.height);
        }
    }
    std::minstd_rand random(7);
    for (const int mask : {0, 0x96, 0xFF, -1}) {
        std::generate_n(source.data(), kind.bytes,
                        [&] { return static_cast<std::uint8_t>(mask < 0 ? random() >> 9 : unsigned(mask)); });
        refuses(kPB_BadData, bytes, kind.width, kind.height);
    }
    const DvFrame frame = RealFrame(kind);
    std::copy(frame.begin(), frame.end(), source.data());
    refuses(kPB_BadArgument, bytes - 1, kind.width, kind.height);
    refuses(kPB_UnsupportedGeometry, bytes, kind.width / 2, kind.height / 2);
    refuses(kPB_UnsupportedFormat, bytes, kind.width, kind.height, kPB_CustomFormat);
    // A few damaged blocks are concealed, and said to nobody, whatever the process does with the codec's messages.
    av_log_set_callback([](void*, int level, const char*, va_list) { sShown += level <= AV_LOG_TRACE; });
    for (int i = 0; i < 3000; ++i) {
        const std::size_t at = random() % kind.bytes;
        source.data()[at] = at % 80 < 3 ? source.data()[at] : static_cast<std::uint8_t>(random());
    }
    EXPECT_EQ(FromDv(kind, {source.data(), source.data() + bytes}, picture), 0);
    av_log_set_callback(av_log_default_callback);
    TestPicture same(0x4, kind.width, kind.height);
    EXPECT_EQ(FromDv(kind, {source.data(), source.data() + bytes}, same), 0);
    EXPECT_TRUE(picture.Pixels() == same.Pixels());
    EXPECT_EQ(sShown, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    std::uint8_t two[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    for (const int stride : {8, bytes}) {
        EXPECT_EQ(PB_Convert(picture.base, 8, 0x4, two, stride, kind.value, 2, 1, 0), kPB_UnsupportedGeometry);
        EXPECT_EQ(PB_FillWithOpaqueWhite(two, stride, 2, 1, kind.value), kPB_UnsupportedGeometry);
    }
    EXPECT_EQ(PB_Convert(picture.base, picture.RowBytes(), 0x4, two, 8, kind.value, kind.width, kind.height, 0),
              kPB_BadArgument);
    EXPECT_EQ(std::count(two, two + 8, 7), 8);
}

TEST(DvPlan, TellsItsSteps) {
    const auto plan = [](const DvKind& from, std::int32_t to, int width, int height, int field = 3) {
        return PB_PlanScaleConvert(from.width, from.height, from.value, field, width, height, to, field, 4);
    };
    EXPECT_EQ(plan(kPal, 0x4, 720, 576).path, "DV decode, float tiles");
    EXPECT_EQ(plan(kPal, 0x4, 360, 288, 2).path, "DV decode, scale fields");
    EXPECT_EQ(plan(kPal, kNtsc.value, 720, 480).path, "DV decode, scale, DV encode");
    const PB_Plan encode = PB_PlanScaleConvert(720, 480, 0x4, 3, 720, 480, kNtsc.value, 3, 4);
    EXPECT_EQ(encode.path, "float tiles, DV encode");
    EXPECT_GT(encode.temporaryBytes, 120000U + 720 * 480 * 3 / 2);
    EXPECT_EQ(encode.bytesMoved, 120000U + 720 * 480 * 4);
}

TEST(DvMemory, RunsOutWithItsOwnError) {
    const DvFrame frame = RealFrame(kNtsc);
    const TestPicture source(0x4, 720, 480);
    int failures = 0;
    for (std::size_t limit = 64; limit < 8U << 20; limit *= 2) { // of a single block of the codec
        PB_Initialize();
        PB_Terminate(); // no open codec is at hand
        av_max_alloc(limit);
        TestPicture decoded(0x4, 720, 480);
        DvFrame encoded(kNtsc.bytes, TestPicture::kUntouched);
        const int results[2] = {FromDv(kNtsc, frame, decoded), ToDv(source, kNtsc, encoded)};
        av_max_alloc(INT_MAX);
        for (const int result : results) {
            EXPECT_TRUE(result == kPB_OutOfMemory || result == kPB_Success) << result << " at " << limit;
            failures += result == kPB_OutOfMemory ? 1 : 0;
        }
        EXPECT_TRUE(results[0] == 0 || decoded.Untouched());
        EXPECT_TRUE(results[1] == 0 || encoded == DvFrame(kNtsc.bytes, TestPicture::kUntouched));
    }
    EXPECT_GT(failures, 10);
}

TEST(DvThreads, ShareOpenCodecs) {
    std::vector<DvFrame> frames, encoded;
    std::vector<std::vector<std::uint8_t>> decoded;
    for (const DvKind& kind : kDvKinds) {
        TestPicture picture(kind.uyvy, kind.width, kind.height);
        frames.push_back(RealFrame(kind));
        ASSERT_EQ(FromDv(kind, frames.back(), picture), 0);
        decoded.push_back(picture.Pixels());
        encoded.emplace_back(kind.bytes);
        ASSERT_EQ(ToDv(picture, kind, encoded.back()), 0);
    }
    OnThreads(4, [&](unsigned thread) {
        for (std::size_t n = thread; n < thread + 12; ++n) {
            const std::size_t i = n % kDvKinds.size();
            const DvKind& kind = kDvKinds[i];
            TestPicture picture(kind.uyvy, kind.width, kind.height);
            DvFrame frame(kind.bytes), white(kind.bytes);
            PB_Initialize();
            EXPECT_EQ(FromDv(kind, frames[i], picture), 0);
            EXPECT_EQ(ToDv(picture, kind, frame), 0);
            EXPECT_EQ(PB_FillWithOpaqueWhite(white.data(), 0, kind.width, kind.height, kind.value), 0);
            PB_Terminate();
            EXPECT_TRUE(picture.Pixels() == decoded[i] && frame == encoded[i]);
        }
    });
}

} // namespace
