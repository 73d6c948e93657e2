// Run-length encoded pictures of 1080p decoded: a real picture reduced to 256 colours, which has few runs, and to 16.
// Turns.h says how times are taken; with them gigabytes of pixels a second.
//
// Usage: bench_run_length [turns]

#include "PaletteQuantizer.h"
#include "RunLength.h"
#include "Still.h"
#include "WindowsApi_DeviceContexts.h"

namespace {

using namespace pixmapbench;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kLongest = 255;

std::size_t RunAt(const std::uint8_t* row, std::size_t x) {
    std::size_t run = 1;
    while (run < kLongest && x + run < kWidth && row[x + run] == row[x]) {
        ++run;
    }
    return run;
}

// Runs of three and more, and between them the bytes as they are, where there are at least the three that may be.
Bytes Encode(const Bytes& indexes) {
    Bytes stream;
    for (int y = 0; y < kHeight; ++y) {
        const std::uint8_t* const row = indexes.data() + std::size_t{kWidth} * static_cast<std::size_t>(y);
        for (std::size_t x = 0; x < kWidth;) {
            std::size_t plain = 0;
            while (plain < kLongest && x + plain < kWidth && RunAt(row, x + plain) < 3) {
                ++plain;
            }
            if (plain < 3) {
                const std::size_t run = RunAt(row, x);
                stream.insert(stream.end(), {static_cast<std::uint8_t>(run), row[x]});
                x += run;
                continue;
            }
            stream.insert(stream.end(), {0, static_cast<std::uint8_t>(plain)});
            stream.insert(stream.end(), row + x, row + x + plain);
            if (plain % 2 != 0) {
                stream.push_back(0);
            }
            x += plain;
        }
        stream.insert(stream.end(), {0, static_cast<std::uint8_t>(y + 1 < kHeight ? 0 : 1)});
    }
    return stream;
}

Bytes Reduce(const Bytes& still, int colours) {
    std::vector<std::uint32_t> histogram(kColourIndexes);
    Bytes map(kColourIndexes), indexes(kPixels);
    Histogram32(still.data(), kWidth, kHeight, 4 * kWidth, histogram.data());
    const HPALETTE palette = HistogramToPalette(histogram.data(), map.data(), colours);
    const BITMAPINFOHEADER from{sizeof from, kWidth, kHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    const BITMAPINFOHEADER to{sizeof to, kWidth, kHeight, 1, 8, BI_RGB, 0, 0, 0, 0, 0};
    ReducePixels(&from, still.data(), &to, indexes.data(), palette, map.data());
    DeleteObject(palette);
    return indexes;
}

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    const Bytes still = ReadStill();
    Memory memory(4);
    const BITMAPINFOHEADER header{sizeof header, kWidth, kHeight, 1, 8, BI_RLE8, 0, 0, 0, 0, 0};
    std::printf("milliseconds and ratio to memcpy, hot / cold\n");
    for (const int colours : {256, 16}) {
        const Bytes indexes = Reduce(still, colours), stream = Encode(indexes);
        for (std::size_t i = 0; i < kPictures; ++i) {
            std::copy(stream.begin(), stream.end(), memory.At(i).a);
        }
        const auto decode = [&](const Pictures& p) { DecodeRle(&header, p.to, p.a); };
        decode(memory.At(0));
        if (!std::equal(indexes.begin(), indexes.end(), memory.At(0).to)) {
            std::fprintf(stderr, "bench_run_length: decoded pixels are not those that were encoded\n");
            return 1;
        }
        const std::string name = std::to_string(colours) + " colours";
        const auto results = Run(name.c_str(), stream.size() + kPixels, memory, {{"ours", decode}}, turns);
        std::printf("%zu bytes to %zu: %.2f / %.2f GB/s\n", stream.size(), kPixels, kPixels / results[1].best[0] * 1e-6,
                    kPixels / results[1].best[1] * 1e-6);
    }
}
