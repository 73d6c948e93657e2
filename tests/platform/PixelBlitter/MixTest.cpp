// Mixes of two pictures and replaced alpha, against the definitions in double precision: every format, on every
// processor, wherever the destination lies.

#include "EveryTarget.h"
#include "TestPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <sstream>

namespace {

using reference::Layout;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// Where rows lie in the memory that all pictures of a test share: the first row at so many strides, the next after so
/// many more, and so many bytes further on.
struct Place {
    int firstRow, rowStep, bytes = 0;
};

/// Pictures of one format and size in one piece of memory, with a copy from before the call.
class Arena {
public:
    Arena(std::int32_t value, int pictureWidth, int pictureHeight, std::uint32_t seed)
        : format(value), width(pictureWidth), height(format.HasRows() ? pictureHeight : 1), planarHeight(pictureHeight),
          mStride(static_cast<std::ptrdiff_t>(RowBytes() + (format.HasRows() ? Padding(seed) : 0))),
          mBuffer(static_cast<std::size_t>(mStride) * static_cast<std::size_t>(3 * height) + 64) {
        // Pictures behind one another, so that memory between their rows holds codes as well.
        TestPicture noise(value, width, planarHeight, 0);
        noise.Randomise(seed);
        const auto pixels = noise.Pixels();
        for (std::size_t i = 0; i < mBuffer.size(); ++i) {
            mBuffer.data()[i] = pixels[(i / 4 * 28 + i % 4) % pixels.size()];
        }
        if (format.layout == Layout::Floats && pixels.size() > 96) {
            for (const float special : {kNaN, kInfinity, -kInfinity, -0.0F}) {
                std::memcpy(mBuffer.data() + (seed++ * 20 % pixels.size()) / 4 * 4, &special, 4);
            }
        }
        mBefore.assign(mBuffer.data(), mBuffer.data() + mBuffer.size());
    }
    std::uint8_t* At(const Place& place) { return mBuffer.data() + Offset(place); }
    int Stride(const Place& place) const { return static_cast<int>(place.rowStep * mStride); }
    reference::Picture Before(const Place& place) const { return Codes(place, mBefore.data()); }
    reference::Picture After(const Place& place) const { return Codes(place, mBuffer.data()); }
    std::vector<std::uint8_t> Bytes() const { return {mBuffer.data(), mBuffer.data() + mBuffer.size()}; }
    void Restore() { std::copy(mBefore.begin(), mBefore.end(), mBuffer.data()); }

    /// Whether all bytes but the rows at the place are what they were.
    bool OthersUntouched(const Place& place) const {
        auto now = Bytes();
        for (int row = 0; row < height; ++row) {
            const auto at = Offset(place) + row * Stride(place);
            std::copy_n(mBefore.begin() + at, RowBytes(), now.begin() + at);
        }
        return now == mBefore;
    }

    reference::Format format;
    int width, height, planarHeight;

private:
    std::size_t RowBytes() const {
        return format.HasRows() ? format.RowBytes(width) : format.ImageBytes(width, planarHeight);
    }
    // Strides of V210 are larger than its rows; others move rows off every alignment that their elements do not need.
    std::size_t Padding(std::uint32_t seed) const {
        return format.StrideUnit(width) - RowBytes() + seed % 3 * (format.layout == Layout::Floats ? 4U : 2U);
    }
    std::ptrdiff_t Offset(const Place& place) const { return place.firstRow * mStride + place.bytes; }
    reference::Picture Codes(const Place& place, const std::uint8_t* memory) const {
        return reference::ReadCodes(format, memory + Offset(place), Stride(place), width, planarHeight);
    }
    std::ptrdiff_t mStride;
    GuardedBuffer mBuffer;
    std::vector<std::uint8_t> mBefore;
};

struct Layouts {
    const char* name;
    Place a, b, destination;
};
// Of pictures of height h.
std::vector<Layouts> LayoutsOf(int h) {
    return {{"apart", {0, 1}, {h, 1}, {2 * h, 1}},
            {"one source", {0, 1}, {0, 1}, {2 * h, 1}},
            {"in place of a", {0, 1}, {h, 1}, {0, 1}},
            {"in place of b", {0, 1}, {3 * h - 1, -1}, {3 * h - 1, -1}},
            {"between", {0, 2}, {2, 2}, {1, 2}},
            {"turned over", {0, 1}, {h, 1}, {h - 1, -1}},
            {"rows moved", {0, 1}, {h, 1}, {1, 1}},
            {"bytes moved", {0, 1}, {h, 1}, {0, 1, 16}},
            {"bytes moved back", {h, 1}, {0, 1, 16}, {0, 1}},
            {"other stride", {0, 1}, {0, 2}, {h / 2, 2}}};
}

// Whether a code is the exact value, rounded.
bool IsRounded(const reference::Format& format, double got, double exact, double magnitude, bool halvesUp) {
    if (std::isnan(exact) || std::isinf(exact)) {
        return std::isnan(exact) ? std::isnan(got) : got == exact;
    }
    if (format.layout == Layout::Floats) {
        return std::abs(got - exact) <= magnitude * 0x1p-23;
    }
    return halvesUp ? got == std::floor(exact + 0.5) : std::abs(got - exact) <= 0.51;
}

class RowsOfEveryFormat : public testing::TestWithParam<std::int32_t> {
protected:
    /// Calls with the kernels of every processor. Each gives the same bytes and touches none but those of the place,
    /// and there isRight holds for each code: its plane, its number and the code.
    static void Expect(Arena& arena, const Place& to, const std::function<int()>& call,
                       const std::function<bool(int, std::size_t, double)>& isRight) {
        std::vector<std::uint8_t> first;
        OnEveryTarget([&] {
            arena.Restore();
            ASSERT_EQ(call(), kPB_Success);
            ASSERT_TRUE(arena.OthersUntouched(to));
            if (!first.empty()) {
                ASSERT_EQ(arena.Bytes(), first);
                return;
            }
            first = arena.Bytes();
            const reference::Picture got = arena.After(to);
            for (int c = 0; c < (arena.format.Is444() ? 4 : 3); ++c) {
                for (std::size_t i = 0; i < got.plane[c].samples.size(); ++i) {
                    ASSERT_TRUE(isRight(c, i, got.plane[c].samples[i])) << c << ": " << got.plane[c].samples[i];
                }
            }
        });
    }
};
INSTANTIATE_TEST_SUITE_P(Mix, RowsOfEveryFormat,
                         testing::ValuesIn(reference::AllFormats().begin(), reference::AllFormats().end()),
                         [](const auto& format) {
                             std::ostringstream name;
                             name << std::hex << format.param;
                             return name.str();
                         });

TEST_P(RowsOfEveryFormat, IsMixedAsDefined) {
    constexpr int kWidths[] = {1, 2, 5, 6, 7, 16, 31, 48, 65, 131, 200};
    constexpr float kWeights[] = {0.5F, 0.25F, 0.3F,  0.9F, 0.49999997F, 0.0001F, 0.999999F,
                                  0.5F, 0.0F,  -0.1F, 1.0F, 2.0F,        kNaN,    0.7431F};
    auto turn = static_cast<std::uint32_t>(GetParam() % 97);
    for (const int height : {1, 4, 7}) {
        for (const Layouts& layout : LayoutsOf(height)) {
            for (int round = 0; round < 4; ++round, ++turn) {
                Arena arena(GetParam(), kWidths[turn % std::size(kWidths)], height, turn);
                const bool planar = !arena.format.HasRows();
                if (planar && (layout.a.rowStep != 1 || layout.destination.firstRow % height != 0)) {
                    continue; // has no rows
                }
                const auto scaled = [&](Place place) { // a planar image is one row
                    place.firstRow /= planar ? height : 1;
                    return place;
                };
                const Place a = scaled(layout.a), b = scaled(layout.b), to = scaled(layout.destination);
                const float weight = kWeights[turn % std::size(kWeights)];
                const double share = weight > 0 ? std::min(weight, 1.0F) : 0;
                SCOPED_TRACE(testing::Message()
                             << layout.name << " " << arena.width << "x" << height << " weight " << weight);
                const reference::Picture codesOfA = arena.Before(a), codesOfB = arena.Before(b);
                const auto mix = [&] {
                    return PB_CrossDissolve(arena.At(a), arena.Stride(a), GetParam(), arena.At(b), arena.Stride(b),
                                            GetParam(), arena.At(to), arena.Stride(to), GetParam(), arena.width, height,
                                            weight, 4);
                };
                Expect(arena, to, mix, [&](int c, std::size_t i, double got) {
                    const double x = codesOfA.plane[c].samples[i], y = codesOfB.plane[c].samples[i];
                    const bool copied = share == 0 || share == 1;
                    const double exact = copied ? (share == 0 ? x : y) : x * (1 - share) + y * share;
                    const double magnitude = copied ? 0 : std::abs(x) + std::abs(y);
                    return IsRounded(arena.format, got, exact, magnitude, share == 0.5);
                });
            }
        }
    }
}

TEST_P(RowsOfEveryFormat, HasItsAlphaReplacedAlone) {
    auto turn = static_cast<std::uint32_t>(GetParam() % 97);
    for (const Layouts& layout : LayoutsOf(5)) {
        for (const float alpha : {-1.0F, 0.0F, 0.3F, 0.5F, 1.0F, 7.0F, kNaN, kInfinity}) { // the last one inverts
            Arena arena(GetParam(), 1 + static_cast<int>(turn * 7 % 90), 5, turn);
            ++turn;
            const bool invert = std::isinf(alpha);
            const Place from = layout.a, to = layout.destination;
            const auto run = [&] {
                return invert ? PB_InvertAlpha(arena.At(from), arena.Stride(from), arena.At(to), arena.Stride(to),
                                               GetParam(), arena.width, 5)
                              : PB_CopyAndSetAlpha(arena.At(from), arena.Stride(from), arena.At(to), arena.Stride(to),
                                                   GetParam(), arena.width, 5, alpha);
            };
            SCOPED_TRACE(testing::Message() << layout.name << " width " << arena.width << " alpha " << alpha);
            if (!arena.format.Is444() || arena.format.alpha == reference::Alpha::None) {
                const auto before = arena.Bytes();
                ASSERT_EQ(arena.format.HasRows() ? run() : kPB_UnsupportedFormat, kPB_UnsupportedFormat);
                ASSERT_EQ(arena.Bytes(), before);
                continue;
            }
            const double white = arena.format.layout == Layout::Bytes   ? 255
                                 : arena.format.layout == Layout::Words ? 32768
                                                                        : 1;
            const double clipped = alpha > 0 ? std::min(alpha, 1.0F) : 0;
            const reference::Picture before = arena.Before(from);
            Expect(arena, to, run, [&](int c, std::size_t i, double is) {
                const double was = before.plane[c].samples[i];
                const double inverted = arena.format.layout == Layout::Floats ? 1 - was : std::max(white - was, 0.0);
                const double wanted = c < 3 ? was : invert ? inverted : clipped * white;
                const double magnitude = c < 3 ? 0 : invert ? std::abs(was) + 1 : 1;
                return IsRounded(arena.format, is, wanted, magnitude, c < 3 || invert || alpha != 0.3F);
            });
        }
    }
}

// Large pictures are stored past the caches from the first aligned address on, rows one by one never.
TEST(MixOfLargePictures, GivesTheSameBytesAsRows) {
    struct Size {
        std::int32_t value;
        int width, height, oddBytes;
    };
    for (const Size& size :
         {Size{0x4, 1921, 1080, 1}, Size{0x811, 1921, 1080, 3}, Size{0x88, 1001, 1080, 2}, Size{0x88, 1001, 1080, 8},
          Size{0x851, 1915, 1080, 4}, Size{0x104, 701, 900, 4}, Size{0x1104, 701, 900, 20}}) {
        const auto& [value, width, height, oddBytes] = size;
        const reference::Format format(value);
        const auto stride = static_cast<int>(format.StrideUnit(width));
        TestPicture a(value, width, height), b(value, width, height);
        a.Randomise(1);
        b.Randomise(2);
        using Call = std::function<int(std::ptrdiff_t first, std::uint8_t * to, int rows)>;
        const auto mix = [&](float weight) -> Call {
            return [&, weight](std::ptrdiff_t first, std::uint8_t* to, int rows) {
                return PB_CrossDissolve(a.base + first, stride, size.value, b.base + first, stride, size.value, to,
                                        stride, size.value, size.width, rows, weight, 4);
            };
        };
        std::vector<Call> calls{mix(0.5F), mix(0.4F), [&](std::ptrdiff_t first, std::uint8_t* to, int rows) {
                                    const std::size_t bytes = format.RowBytes(size.width);
                                    PB_CopyMemory(to, a.base + first,
                                                  static_cast<std::size_t>((rows - 1) * stride) + bytes);
                                    return 0;
                                }};
        if (format.Is444()) {
            calls.emplace_back([&](std::ptrdiff_t first, std::uint8_t* to, int rows) {
                return PB_InvertAlpha(a.base + first, stride, to, stride, size.value, size.width, rows);
            });
            calls.emplace_back([&](std::ptrdiff_t first, std::uint8_t* to, int rows) {
                return PB_CopyAndSetAlpha(a.base + first, stride, to, stride, size.value, size.width, rows, 0.5F);
            });
        }
        for (const Call& call : calls) {
            std::vector<std::uint8_t> rows(static_cast<std::size_t>(stride * height + 64)), whole(rows.size());
            for (std::ptrdiff_t first = 0; first < stride * height; first += stride) {
                ASSERT_EQ(call(first, rows.data() + oddBytes + first, 1), 0);
            }
            ASSERT_EQ(call(0, whole.data() + oddBytes, height), 0);
            EXPECT_TRUE(rows == whole) << std::hex << value << " call " << &call - calls.data();
        }
    }
}

TEST(Mix, RefusesWhatItCannotDo) {
    std::uint8_t memory[64] = {};
    const auto mix = [&](const void* a, std::int32_t ofA, std::int32_t ofB, std::int32_t to, int width, int height,
                         int stride = 16) {
        return PB_CrossDissolve(a, stride, ofA, memory, 16, ofB, memory + 32, 16, to, width, height, 0.5F, 4);
    };
    EXPECT_EQ(mix(nullptr, 0, 0, 0, 0, 1), kPB_Success);
    EXPECT_EQ(mix(nullptr, 0x4, 0x4, 0x4, 4, -1), kPB_Success);
    EXPECT_EQ(mix(nullptr, 0x4, 0x4, 0x4, 4, 1), kPB_BadArgument);
    EXPECT_EQ(mix(memory, 0x4, 0x4, 0x4, 4, 2, 12), kPB_BadArgument);
    EXPECT_EQ(mix(memory, 0x4, 0x4, 0x4, INT32_MAX, INT32_MAX), kPB_BadArgument);
    for (const std::int32_t other : {0x8, 0x1004, 0x84, 0}) {
        EXPECT_EQ(mix(memory, 0x4, other, 0x4, 2, 1), kPB_UnsupportedFormat);
        EXPECT_EQ(mix(memory, 0x4, 0x4, other, 2, 1), kPB_UnsupportedFormat);
    }
    for (const std::int32_t opaque : {kPB_CustomFormat, 0x1000821, 0x123}) {
        EXPECT_EQ(mix(memory, opaque, opaque, opaque, 2, 1), kPB_UnsupportedFormat);
        EXPECT_EQ(PB_InvertAlpha(memory, 16, memory, 16, opaque, 2, 1), kPB_UnsupportedFormat);
    }
    EXPECT_EQ(PB_CopyAndSetAlpha(nullptr, 0, nullptr, 0, 0x4, 0, 1, 1), kPB_Success);
    EXPECT_EQ(PB_InvertAlpha(memory, 15, memory, 16, 0x4, 4, 2), kPB_BadArgument);
    EXPECT_EQ(PB_CopyAndSetAlpha(memory, 16, nullptr, 16, 0x4, 4, 2, 1), kPB_BadArgument);
    PB_CopyMemory(memory, nullptr, 4);
    PB_CopyMemory(nullptr, memory, 4);
    EXPECT_EQ(std::count(memory, memory + 64, 0), 64);
    std::iota(memory, memory + 64, std::uint8_t{0});
    PB_CopyMemory(memory + 1, memory, 40); // overlapping
    EXPECT_EQ(memory[40], 39);
    EXPECT_EQ(memory[41], 41);
}

} // namespace
