#pragma once

/// How the benchmarks of 1080p pictures here measure: processor time of contestants who take turns, of which the best
/// of many counts; hot (the same pictures again) and cold (walking over more pictures than the caches hold).

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace pixmapbench {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr std::size_t kPictures = 24; // of three kinds: beyond the last cache

/// Two sources and a destination. Contestants may write into b and to; memcpy does, too.
struct Pictures {
    std::uint8_t *a, *b, *to;
    std::size_t index; ///< below kPictures
};

struct Contestant {
    std::string name;
    std::function<void(const Pictures&)> work;
    double best[2] = {1e9, 1e9}; ///< milliseconds, hot and cold
};

/// Noise; of four bytes the last is an opaque alpha, of eight the last two are about that of 15 bits.
class Memory {
public:
    explicit Memory(int pixelBytes)
        : mBytes(kPixels * static_cast<std::size_t>(pixelBytes)), mMemory(mBytes * 3 * kPictures) {
        for (std::size_t i = 0; i < mMemory.size(); ++i) {
            mMemory[i] = i % 4 == 3 ? (pixelBytes == 4 ? 255 : 63) : static_cast<std::uint8_t>(i * 2654435761U >> 24);
        }
    }
    Pictures At(std::size_t index) {
        std::uint8_t* const first = mMemory.data() + 3 * index * mBytes;
        return {first, first + mBytes, first + 2 * mBytes, index};
    }
    std::size_t PictureBytes() const { return mBytes; }

private:
    std::size_t mBytes;
    std::vector<std::uint8_t> mMemory;
};

/// Processor time of all threads: neither other programs nor a division of labour count.
inline double Milliseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

/// Prints a line with every contestant's times and their ratios to a memcpy of (read + written) / 2 bytes, which may be
/// up to two pictures. The contestants with their times, the memcpy first.
inline std::vector<Contestant> Run(const char* name, std::size_t readAndWritten, Memory& memory,
                                   std::vector<Contestant> contestants, int turns) {
    const std::size_t copied = readAndWritten / 2, bytes = memory.PictureBytes();
    contestants.insert(contestants.begin(), {"memcpy", [=](const Pictures& p) {
                                                 std::memcpy(p.to, p.a, std::min(copied, bytes));
                                                 std::memcpy(p.b, p.a, copied - std::min(copied, bytes));
                                             }});
    for (const int cold : {0, 1}) {
        std::size_t at = 1; // picture 0 is still in the caches when the cold turns begin
        for (int turn = 0; turn < turns; ++turn) {
            for (Contestant& contestant : contestants) {
                for (int again = cold; again < 2; ++again) {
                    const Pictures pictures = memory.At(cold != 0 ? at++ % kPictures : 0);
                    const double start = Milliseconds();
                    contestant.work(pictures);
                    contestant.best[cold] = std::min(contestant.best[cold], Milliseconds() - start);
                }
            }
        }
    }
    std::printf("%-32s", name);
    for (const Contestant& contestant : contestants) {
        std::printf("  %s %.3f / %.3f ms (%.2f / %.2f)", contestant.name.c_str(), contestant.best[0],
                    contestant.best[1], contestants[0].best[0] / contestant.best[0],
                    contestants[0].best[1] / contestant.best[1]);
    }
    std::printf("\n");
    return contestants;
}

} // namespace pixmapbench
