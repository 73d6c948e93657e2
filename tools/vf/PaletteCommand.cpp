#include "ExitCodes.h"
#include "OutputFile.h"
#include "PaletteQuantizer.h"
#include "PictureCommands.h"
#include "PictureWriter.h"
#include "Pixmaps.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_Palettes.h"

#include <spng.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace tool {
namespace {

struct DeletePalette {
    void operator()(HPALETTE palette) const noexcept { DeleteObject(palette); }
};

struct FreeContext {
    void operator()(spng_ctx* context) const noexcept { spng_ctx_free(context); }
};

// Rows from the top, without gaps.
void WriteIndexed(const std::string& path, int width, int height, const std::vector<std::uint8_t>& rows,
                  const std::vector<PALETTEENTRY>& entries) {
    const std::unique_ptr<spng_ctx, FreeContext> context(spng_ctx_new(SPNG_CTX_ENCODER));
    const auto check = [&](int result) {
        if (result != 0) {
            throw Failure(ExitCode::WriteFailed, path + ": " + spng_strerror(result));
        }
    };
    check(context ? spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1) : SPNG_EMEM);
    spng_ihdr header{};
    header.width = static_cast<std::uint32_t>(width);
    header.height = static_cast<std::uint32_t>(height);
    header.bit_depth = 8;
    header.color_type = SPNG_COLOR_TYPE_INDEXED;
    check(spng_set_ihdr(context.get(), &header));
    spng_plte colours{};
    colours.n_entries = static_cast<std::uint32_t>(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        colours.entries[i] = {entries[i].peRed, entries[i].peGreen, entries[i].peBlue, 255};
    }
    check(spng_set_plte(context.get(), &colours));
    check(spng_encode_image(context.get(), rows.data(), rows.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE));
    std::size_t bytes = 0;
    int result = 0;
    void* const encoded = spng_get_png_buffer(context.get(), &bytes, &result);
    const std::unique_ptr<void, decltype(&std::free)> keep(encoded, &std::free);
    check(result);
    OutputFile file(path);
    file.Write(encoded, bytes);
    file.Close();
}

} // namespace

void Quantize(const PaletteArguments& arguments) {
    if (!TakesOnePicture(arguments.output)) {
        throw Failure(ExitCode::Usage,
                      arguments.output + ": a picture is written as .png, without a number in the name");
    }
    const LibraryGuard library;
    const Frame frame = ReadPixmapFrame(arguments.input, 0);
    const int width = WidthOf(frame), height = HeightOf(frame);
    const FrameRows rows(frame);
    const auto* const pixels = rows.Row<const std::uint8_t>(height - 1);
    std::vector<std::uint32_t> histogram(kColourIndexes);
    std::vector<std::uint8_t> map(kColourIndexes);
    Histogram32Hist(pixels, width, height, 4 * width, histogram.data());
    const std::unique_ptr<HPALETTE__, DeletePalette> palette(
        HistogramToPalette(histogram.data(), map.data(), arguments.colours));
    if (!palette) {
        throw std::bad_alloc();
    }
    std::vector<PALETTEENTRY> entries(GetPaletteEntries(palette.get(), 0, 0, nullptr));
    GetPaletteEntries(palette.get(), 0, static_cast<UINT>(entries.size()), entries.data());

    // Onto rows without gaps, from the top: the reduction takes its row bytes from the caller.
    const BITMAPINFOHEADER from{sizeof from, width, height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    const BITMAPINFOHEADER to{sizeof to, width, 1, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    std::vector<std::uint8_t> indexes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    double squares = 0;
    for (int y = 0; y < height; ++y) {
        BITMAPINFOHEADER line = from;
        line.biHeight = 1;
        const auto* const source = rows.Row<const std::uint8_t>(y);
        std::uint8_t* const reduced = indexes.data() + static_cast<std::ptrdiff_t>(y) * width;
        ReducePixelsHist(&line, source, &to, reduced, palette.get(), map.data(), 4 * width, width);
        for (int x = 0; x < width; ++x) {
            const PALETTEENTRY& entry = entries[reduced[x]];
            const int differences[3] = {source[4 * x] - entry.peBlue, source[4 * x + 1] - entry.peGreen,
                                        source[4 * x + 2] - entry.peRed};
            for (const int difference : differences) {
                squares += difference * difference;
            }
        }
    }
    WriteIndexed(arguments.output, width, height, indexes, entries);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        std::printf("%3zu %02x%02x%02x%s", i, entries[i].peRed, entries[i].peGreen, entries[i].peBlue,
                    i % 8 == 7 || i + 1 == entries.size() ? "\n" : "  ");
    }
    std::printf("%s: %dx%d, %zu entries, mean squared error %.2f\n", arguments.output.c_str(), width, height,
                entries.size(), squares / (3.0 * width * height));
}

} // namespace tool
