// The kernels of every processor against the ordinary loops, in awkward sizes, at awkward addresses, between guards.

#include "kernels/PixmapKernels.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <functional>
#include <random>
#include <vector>

namespace {

using namespace VF::Pixmaps;
using Bytes = std::vector<std::uint8_t>;

struct Memory {
    const std::uint8_t* in;
    std::uint8_t* out;        ///< guarded on both sides
    const std::uint8_t* mask; ///< a byte a pixel, in runs of 0, of 255 and of anything
    std::size_t pixels;
    Transfer transfer;
};

constexpr std::size_t kGuard = 80; // before and behind what is written

struct KernelCase {
    const char* name;
    std::size_t inBytes, outBytes; ///< of a pixel
    std::function<void(const PixmapKernels&, const Memory&)> run;
    bool inPlace = false;   ///< allowed
    std::size_t margin = 0; ///< bytes that may be read before and behind in
};

KernelCase Run(const char* name, std::size_t inBytes, std::size_t outBytes, bool inPlace,
               const std::function<PixelRun(const PixmapKernels&)>& which) {
    return {name, inBytes, outBytes,
            [=](const PixmapKernels& k, const Memory& m) { which(k)(m.in, m.out, m.pixels, m.transfer); }, inPlace};
}

Convolution Sums(std::initializer_list<std::int16_t> weights, std::int16_t bias, float scale,
                 std::uint16_t wordScale = 0, std::int16_t wordLimit = 0) {
    Convolution c{};
    std::copy(weights.begin(), weights.end(), c.weights);
    c.bias = bias;
    c.scale = scale;
    c.wordScale = wordScale;
    c.wordLimit = wordLimit;
    return c;
}

KernelCase Convolving(const char* name, SumWidth width, const Convolution& convolution) {
    constexpr std::size_t kRows = kConvolvedTogether + 1; // all that share work, and another
    return {name,
            4,
            4 * kRows,
            [=](const PixmapKernels& k, const Memory& m) {
                const std::uint8_t* rows[kRows + 2];
                for (std::size_t i = 0; i < kRows + 2; ++i) {
                    rows[i] = m.in + 4 * i;
                }
                k.convolve[static_cast<int>(width)](rows, kRows, m.out, static_cast<std::ptrdiff_t>(4 * m.pixels),
                                                    4 * m.pixels, convolution);
            },
            false,
            kConvolvePadding + 4 * (kRows + 1)};
}

const LookUpKernels& LookUps(const PixmapKernels& kernels) {
    return &kernels == &PlainKernels() ? PlainLookUps() : LookUpsOfThisMachine();
}

const KernelCase kCases[] = {
    Run("32 to 555", 4, 2, true, [](const PixmapKernels& k) { return k.depth.from32To555; }),
    Run("24 to 555", 3, 2, true, [](const PixmapKernels& k) { return k.depth.from24To555; }),
    Run("32 to 24", 4, 3, true, [](const PixmapKernels& k) { return k.depth.from32To24; }),
    Run("24 to 32", 3, 4, false, [](const PixmapKernels& k) { return k.depth.from24To32; }),
    Run("555 to 32", 2, 4, false, [](const PixmapKernels& k) { return k.depth.from555To32; }),
    Run("alpha to colour", 4, 4, true, [](const PixmapKernels& k) { return k.depth.alphaToColour; }),
    Run("alpha to inverse", 4, 4, true, [](const PixmapKernels& k) { return k.depth.alphaToInverseColour; }),
    Run("read alpha", 4, 1, true, [](const PixmapKernels& k) { return k.channels.readAlpha; }),
    Run("write alpha", 1, 4, false, [](const PixmapKernels& k) { return k.channels.writeAlpha; }),
    {"8 to 32", 1, 4,
     [](const PixmapKernels& k, const Memory& m) {
         PaletteTables palette{};
         for (std::size_t i = 0; i < 256; ++i) {
             const std::uint32_t entry = static_cast<std::uint32_t>(i) * 2654435761U;
             palette.Set(i, reinterpret_cast<const std::uint8_t*>(&entry));
         }
         LookUps(k).from8To32(m.in, m.out, m.pixels, palette, m.transfer);
     }},
    {"largest byte", 1, 1,
     [](const PixmapKernels& k, const Memory& m) { *m.out = k.depth.largestByte(m.in, m.pixels); }},
    {"select alpha", 4, 4,
     [](const PixmapKernels& k, const Memory& m) {
         k.channels.selectAlpha(m.in, m.in + m.pixels, m.mask, m.out, m.pixels);
     }},
    {"mark value", 1, 1, [](const PixmapKernels& k, const Memory& m) { k.channels.markValue(m.out, m.pixels, 0xA5); }},
    {"map colours", 4, 4,
     [](const PixmapKernels& k, const Memory& m) {
         std::uint8_t maps[3][256];
         for (std::size_t i = 0; i < sizeof maps; ++i) {
             maps[i / 256][i % 256] = static_cast<std::uint8_t>(i * 91 + i / 256);
         }
         LookUps(k).mapColours(m.in, m.out, m.pixels, maps[0], maps[1], maps[2], m.transfer);
     },
     true},
    {"copy through bytes", 4, 4,
     [](const PixmapKernels& k, const Memory& m) { k.masks.throughBytes(m.in, m.out, m.pixels, m.mask, m.transfer); }},
    {"copy through bits", 4, 4,
     [](const PixmapKernels& k, const Memory& m) { k.masks.throughBits(m.in, m.out, m.pixels, m.mask, m.transfer); }},
    {"blend through bits", 4, 4,
     [](const PixmapKernels& k, const Memory& m) {
         k.masks.blendThroughBits(m.in, m.out, m.pixels, m.mask, static_cast<std::uint8_t>(1 + m.mask[0] % 254),
                                  m.transfer);
     }},
    {"blend rounded", 4, 4,
     [](const PixmapKernels& k, const Memory& m) {
         k.masks.blendRounded(m.in, m.out, m.pixels, m.pixels % 3 == 0 ? m.mask : nullptr,
                              static_cast<std::uint8_t>(m.mask[0]), m.transfer);
     }},
    {"smooth fringe", 4, 4,
     [](const PixmapKernels& k, const Memory& m) {
         Bytes marks(m.mask, m.mask + m.pixels); // elements of the middle row only have neighbours
         const std::uint8_t* const masks[3] = {m.mask, m.mask + 1, m.mask + 2};
         const std::uint8_t* const rows[3] = {m.in, m.in + 4, m.in};
         k.mattes.smoothFringe(masks, rows, marks.data(), m.out, m.pixels);
         for (std::size_t i = 0; i < m.pixels; ++i) {
             m.out[4 * i] = static_cast<std::uint8_t>(m.out[4 * i] * 3 + marks[i]);
         }
     },
     false, 8},
    {"paint fringe", 1, 4,
     [](const PixmapKernels& k, const Memory& m) {
         Bytes marks(m.pixels, 7);
         const std::uint8_t* const masks[3] = {m.mask, m.mask + 1, m.mask + 2};
         k.mattes.paintFringe(masks, marks.data(), m.out, m.pixels, 0x12345678);
         for (std::size_t i = 0; i < m.pixels; ++i) {
             m.out[4 * i] = static_cast<std::uint8_t>(m.out[4 * i] * 3 + marks[i]);
         }
     }},
    Convolving("blur", SumWidth::Words, Sums({1, 2, 1, 2, 4, 2, 1, 2, 1}, 8, 1.0F / 16, 2048, 4080)),
    Convolving("emboss", SumWidth::Words, Sums({-2, -1, 0, -1, 1, 1, 0, 1, 2}, 128, 1.0F, 32768, 255)),
    Convolving("large weights", SumWidth::Floats, Sums({-999, 2, 300, -2, 4321, 2, -999, 2, 1}, -8, 1.0F / 61)),
    Convolving("negative divisor", SumWidth::Floats, Sums({-1, -2, -1, 0, 0, 0, 1, 2, 1}, 3, -1.0F / 3)),
    Convolving("floats", SumWidth::Floats,
               Sums({32767, -32768, 32767, 1, 32767, -3, -32768, 32767, -32768}, 32767, 1.0F / 30011)),
};

class Kernel : public testing::TestWithParam<KernelCase> {};
INSTANTIATE_TEST_SUITE_P(Pixmap, Kernel, testing::ValuesIn(kCases), [](const auto& kernel) {
    std::string name = kernel.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

TEST_P(Kernel, GivesTheBytesOfOrdinaryLoops) {
    const KernelCase& kernel = GetParam();
    std::mt19937 random(11);
    const std::int64_t targets = hwy::SupportedTargets();
    for (const std::size_t pixels :
         {1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 31, 33, 47, 63, 64, 65, 97, 129, 191, 200, 1027}) {
        for (int variant = 0; variant < 4; ++variant) {
            const std::size_t offset = variant * 5U % 16U; // 0 is where stores past the caches begin at once
            // What is read ends where its memory does.
            Bytes in(2 * kernel.margin + kernel.inBytes * pixels), mask(pixels + 16), out(kGuard + offset);
            std::size_t run = 0;
            int kind = 0;
            for (std::uint8_t& byte : mask) {
                if (run-- == 0) {
                    run = random() % 40;
                    kind = static_cast<int>(random() % 4);
                }
                byte = static_cast<std::uint8_t>(kind == 0   ? 0
                                                 : kind == 1 ? 255
                                                 : kind == 2 ? random()
                                                             : random() % 40);
            }
            out.resize(out.size() + kernel.outBytes * pixels + kGuard);
            for (Bytes* const bytes : {&in, &out}) {
                std::generate(bytes->begin(), bytes->end(), [&] { return static_cast<std::uint8_t>(random()); });
            }
            if (variant == 3 && !kernel.inPlace) {
                continue;
            }
            if (variant == 3) { // pixels to be read lie where others are to be written
                out.resize(out.size() + (kernel.inBytes - kernel.outBytes) * pixels, 77);
            }
            const auto result = [&](const PixmapKernels& table) {
                Bytes written = out;
                std::uint8_t* const to = written.data() + kGuard + offset;
                kernel.run(table, {variant == 3 ? to : in.data() + kernel.margin,
                                   to,
                                   mask.data() + 1,
                                   pixels,
                                   {variant % 2 == 1, 256}});
                table.finishStreaming();
                return written;
            };
            const Bytes expected = result(PlainKernels());
            ASSERT_TRUE(std::equal(out.begin(), out.begin() + kGuard, expected.begin()));
            for (const std::int64_t target : {HWY_SSSE3, HWY_AVX2, HWY_AVX3, HWY_AVX3_DL}) {
                if ((targets & target) != 0) {
                    hwy::GetChosenTarget().Update(target);
                    ASSERT_EQ(result(KernelsOfThisMachine()), expected)
                        << hwy::TargetName(target) << ", " << pixels << " pixels, variant " << variant;
                }
            }
        }
    }
    hwy::GetChosenTarget().Update(targets);
}

TEST(PixmapKernels, FallBackToOrdinaryLoops) {
    hwy::GetChosenTarget().Update(HWY_EMU128);
    EXPECT_EQ(&KernelsOfThisMachine(), &PlainKernels());
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

} // namespace
