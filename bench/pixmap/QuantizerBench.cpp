// A real picture of 1080 lines reduced to a palette: the counting of its colours, the choice of a palette and the
// reduction of its pixels, together and apart, beside libimagequant where that is installed (without dithering, at its
// own speed and at its highest). With it the mean squared error of blue, green and red. Turns.h says how times are
// taken.
//
// Usage: bench_quantizer [turns]

#include "PaletteQuantizer.h"
#include "Still.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_Palettes.h"

#include <memory>

#ifdef BENCH_WITH_LIBIMAGEQUANT
#include <libimagequant.h>
#endif

namespace {

using namespace pixmapbench;
using Histogram = std::vector<std::uint32_t>;

struct DeletePalette {
    void operator()(HPALETTE palette) const { DeleteObject(palette); }
};
using Palette = std::unique_ptr<HPALETTE__, DeletePalette>;

struct Colour {
    int blue, green, red;
};
using Colours = std::vector<Colour>;

constexpr BITMAPINFOHEADER HeaderOf(WORD bits) {
    return {sizeof(BITMAPINFOHEADER), kWidth, kHeight, 1, bits, BI_RGB, 0, 0, 0, 0, 0};
}

Palette MakePalette(Histogram histogram, std::uint8_t* map, int colours) { // which it changes
    return Palette(HistogramToPalette(histogram.data(), map, colours));
}

Histogram CountColours(const std::uint8_t* pixels) {
    Histogram histogram(kColourIndexes);
    Histogram32(pixels, kWidth, kHeight, 4 * kWidth, histogram.data());
    return histogram;
}

void Reduce(const Pictures& p, Palette& palette, const std::uint8_t* map) {
    static constexpr BITMAPINFOHEADER kFrom = HeaderOf(32), kTo = HeaderOf(8);
    ReducePixels(&kFrom, p.a, &kTo, p.to, palette.get(), map);
}

Colours Ours(const Pictures& p, int colours) {
    std::uint8_t map[kColourIndexes];
    Palette palette = MakePalette(CountColours(p.a), map, colours);
    Reduce(p, palette, map);
    std::vector<PALETTEENTRY> entries(GetPaletteEntries(palette.get(), 0, 0, nullptr));
    GetPaletteEntries(palette.get(), 0, static_cast<UINT>(entries.size()), entries.data());
    Colours found;
    for (const PALETTEENTRY& entry : entries) {
        found.push_back({entry.peBlue, entry.peGreen, entry.peRed});
    }
    return found;
}

#ifdef BENCH_WITH_LIBIMAGEQUANT
constexpr int kOwnSpeed = 4, kHighestSpeed = 10;

template <class T, void (*Free)(T*)>
struct Freeing {
    void operator()(T* object) const { Free(object); }
};

Colours Libimagequant(const Pictures& p, const std::uint8_t* rgba, int colours, int speed) {
    const std::unique_ptr<liq_attr, Freeing<liq_attr, liq_attr_destroy>> options(liq_attr_create());
    liq_set_max_colors(options.get(), colours);
    liq_set_speed(options.get(), speed);
    const std::unique_ptr<liq_image, Freeing<liq_image, liq_image_destroy>> image(
        liq_image_create_rgba(options.get(), rgba, kWidth, kHeight, 0));
    liq_result* made = nullptr;
    if (liq_image_quantize(image.get(), options.get(), &made) != LIQ_OK) {
        return {};
    }
    const std::unique_ptr<liq_result, Freeing<liq_result, liq_result_destroy>> result(made);
    liq_set_dithering_level(result.get(), 0);
    liq_write_remapped_image(result.get(), image.get(), p.to, kPixels);
    const liq_palette* const palette = liq_get_palette(result.get());
    Colours found;
    for (unsigned i = 0; i < palette->count; ++i) {
        const liq_color& entry = palette->entries[i];
        found.push_back({entry.b, entry.g, entry.r});
    }
    return found;
}
#endif

double MeanSquaredError(const Pictures& p, const Colours& colours) {
    double sum = 0;
    for (std::size_t i = 0; i < kPixels; ++i) {
        const Colour& colour = colours.at(p.to[i]);
        const int blue = p.a[4 * i] - colour.blue, green = p.a[4 * i + 1] - colour.green,
                  red = p.a[4 * i + 2] - colour.red;
        sum += blue * blue + green * green + red * red;
    }
    return sum / (3.0 * static_cast<double>(kPixels));
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 4; // libimagequant takes its time
    const std::vector<std::uint8_t> still = ReadStill();
    std::vector<std::uint8_t> rgba = still;
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        std::swap(rgba[i], rgba[i + 2]);
    }
    const int turnsOfSteps = 10 * turns;
    Memory memory(4);
    for (std::size_t i = 0; i < kPictures; ++i) {
        std::copy(still.begin(), still.end(), memory.At(i).a);
    }
    std::printf("milliseconds and ratio to memcpy, hot / cold\n");
    for (const int colours : {256, 16}) {
        struct Way {
            std::string name;
            std::function<Colours(const Pictures&)> reduce;
        };
        std::vector<Way> ways{{"ours", [=](const Pictures& p) { return Ours(p, colours); }}};
#ifdef BENCH_WITH_LIBIMAGEQUANT
        for (const int speed : {kOwnSpeed, kHighestSpeed}) {
            ways.push_back({"libimagequant at " + std::to_string(speed), [&, colours, speed](const Pictures& p) {
                                return Libimagequant(p, rgba.data(), colours, speed);
                            }});
        }
#endif
        std::vector<Contestant> contestants;
        std::printf("%d colours, mean squared error:", colours);
        for (const Way& way : ways) {
            const Colours found = way.reduce(memory.At(0));
            std::printf("  %s %.2f", way.name.c_str(), MeanSquaredError(memory.At(0), found));
            contestants.push_back({way.name, way.reduce});
        }
        std::printf("\n");
        Run("all steps", 9 * kPixels, memory, std::move(contestants), turns);

        const Histogram histogram = CountColours(still.data());
        std::vector<std::uint8_t> map(kColourIndexes);
        Palette palette = MakePalette(histogram, map.data(), colours);
        Run("HistogramToPalette", 4 * histogram.size() + map.size(), memory,
            {{"ours", [&](const Pictures&) { MakePalette(histogram, map.data(), colours); }}}, turnsOfSteps);
        Run("ReducePixels", 5 * kPixels, memory, {{"ours", [&](const Pictures& p) { Reduce(p, palette, map.data()); }}},
            turnsOfSteps);
    }
    Run("Histogram32", 4 * kPixels, memory, {{"ours", [](const Pictures& p) { CountColours(p.a); }}}, turnsOfSteps);
}
