/// Scales 8-bit BGRA pictures with the converter and with its peers. For each job: the best time hot (the same pictures
/// again) and cold (walking over more pictures than the caches hold), how they compare with a memcpy of (read +
/// written) / 2 bytes of the same kind and run, and the largest and mean distance from the unrounded double-precision
/// result in codes. Rounds are interleaved, so that a busy machine disturbs all alike.
///
/// Usage: bench_scale [--all] [--own] [--threads] [rounds] [part of a job's name, such as "720 bilinear"]
/// --all: also 1080p to 270 lines; --own: without peers; --threads: ours on all processors instead of one.

#include "BgraRows.h"
#include "Peers.h"
#include "Pictures.h"

#include "PixelBlitter.h"
#include "zyncore.h"

#include <sched.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

using namespace PixelBlitter;
using scalebench::BgraPicture;
using scalebench::Job;
using scalebench::JobSizes;

constexpr int kRounds = 7;
constexpr int kHotRuns = 4; // in a round; the first does not count
constexpr int kColdRuns = 4;
constexpr int kCheckedRowStep = 23;
constexpr std::size_t kColdBytes = std::size_t{640} << 20; // beyond the last cache of any machine we know

constexpr PB_PixelFormat kStraight = 0x4; // BGRA
constexpr PB_PixelFormat kOpaque = 0xC;   // BGRX, where the peers filter the fourth channel as the other three

const char* NameOf(Filter filter) {
    constexpr const char* kNames[] = {"box", "bilinear", "bicubic", "lanczos3"};
    return kNames[static_cast<int>(filter)];
}

enum class Alpha { Opaque, Mixed };

/// Noise, hard edges and flat parts: what makes filters overshoot.
BgraPicture TestPicture(int width, int height, Alpha alpha) {
    BgraPicture picture(width, height);
    std::mt19937 random(1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* const pixel = picture.At(y, x);
            for (int c = 0; c < 4; ++c)
                pixel[c] = static_cast<std::uint8_t>((x / 64 + y / 64) % 2 ? random() % 256
                                                                           : ((x / (3 + c) + y / 5) % 2 ? 255 : 0));
            if (alpha == Alpha::Opaque)
                pixel[3] = 255;
        }
    return picture;
}

double Now() {
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) * 1e-6;
}

struct Best {
    double hot = 1e9;
    double cold = 1e9;
};

/// As many pictures as the caches do not hold, in turn.
struct Walk {
    std::vector<BgraPicture> sources;
    std::vector<BgraPicture> destinations;
    std::size_t next = 0;

    Walk(const BgraPicture& source, const BgraPicture& destination)
        : sources(kColdBytes / (source.bytes.size() + destination.bytes.size()), source),
          destinations(sources.size(), destination) {}

    template <class Run>
    double Time(const Run& run) {
        next = (next + 1) % sources.size();
        const double start = Now();
        run(sources[next], destinations[next]);
        return Now() - start;
    }
};

template <class Run>
void Add(Best& best, const BgraPicture& source, BgraPicture& destination, Walk& walk, const Run& run) {
    for (int i = 0; i < kHotRuns; ++i) {
        const double start = Now();
        run(source, destination);
        if (i > 0)
            best.hot = std::min(best.hot, Now() - start);
    }
    for (int i = 0; i < kColdRuns; ++i)
        best.cold = std::min(best.cold, walk.Time(run));
}

struct Competitor {
    const char* name;
    Job job;
    BgraPicture picture;
    Best best;
};

struct Errors {
    double largest = 0;
    double mean = 0;
};

Errors ErrorsOf(const BgraPicture& source, const BgraPicture& result, Filter filter, Alpha alpha) {
    const ResampleAxis horizontal{source.width, result.width, double(source.width) / result.width, 0};
    const ResampleAxis vertical{source.height, result.height, double(source.height) / result.height, 0};
    std::vector<std::vector<std::pair<int, double>>> across;
    across.reserve(static_cast<std::size_t>(result.width));
    for (int x = 0; x < result.width; ++x)
        across.push_back(scaletest::ReferenceTaps(horizontal, filter, x));
    Errors errors;
    double samples = 0;
    // The first and last rows, where the borders are mirrored, and some between.
    for (int y = 0; y < result.height; y += y < 4 || y >= result.height - 4 ? 1 : kCheckedRowStep) {
        const auto down = scaletest::ReferenceTaps(vertical, filter, y);
        for (int x = 0; x < result.width; ++x) {
            double wanted[4] = {};
            for (const auto& [row, rowWeight] : down)
                for (const auto& [column, weight] : across[static_cast<std::size_t>(x)]) {
                    const std::uint8_t* const pixel = source.At(row, column);
                    const double opacity = alpha == Alpha::Mixed ? pixel[3] / 255.0 : 1;
                    for (int c = 0; c < 4; ++c)
                        wanted[c] += rowWeight * weight * pixel[c] * (c < 3 ? opacity : 1);
                }
            const double opacity = alpha == Alpha::Mixed ? std::clamp(wanted[3] / 255, 0.0, 1.0) : 1;
            for (int c = 0; c < 4; ++c) {
                const double value = c == 3 ? wanted[c] : opacity > 0 ? wanted[c] / opacity : 0;
                const double error = std::abs(result.At(y, x)[c] - std::clamp(value, 0.0, 255.0));
                errors.largest = std::max(errors.largest, error);
                errors.mean += error;
                ++samples;
            }
        }
    }
    errors.mean /= samples;
    return errors;
}

/// The converter counts the processors once; this makes it count one.
void UseOneThread() {
    cpu_set_t before;
    sched_getaffinity(0, sizeof before, &before);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
    sched_setaffinity(0, sizeof one, &one);
    static_cast<void>(zyncore::threads::ProcessorCount());
    sched_setaffinity(0, sizeof before, &before);
}

Job OwnJob(PB_PixelFormat format, Filter filter) {
    return [format, quality = static_cast<int>(filter) + 1](const BgraPicture& source, BgraPicture& destination) {
        if (PB_ScaleConvert(source.At(0, 0), source.RowBytes(), source.width, source.height, format, 0,
                            destination.At(0, 0), destination.RowBytes(), destination.width, destination.height, format,
                            0, quality) != 0)
            std::abort();
    };
}

/// Times all competitors with a memcpy and prints them; errorsOf(result) measures one.
template <class ErrorsOfResult>
void Race(const BgraPicture& source, std::vector<Competitor>& competitors, int rounds, bool printCopy,
          const ErrorsOfResult& errorsOf) {
    Walk walk(source, competitors[0].picture);
    const std::size_t copied = (source.bytes.size() + competitors[0].picture.bytes.size()) / 2;
    BgraPicture copySource = source;
    copySource.bytes.resize(copied);
    BgraPicture copyDestination = copySource;
    Walk copyWalk(copySource, copyDestination);
    Best copy;
    const auto runCopy = [&](const BgraPicture& from, BgraPicture& to) {
        std::memcpy(to.bytes.data(), from.bytes.data(), copied);
    };
    for (int round = 0; round < rounds; ++round) {
        Add(copy, copySource, copyDestination, copyWalk, runCopy);
        for (Competitor& entry : competitors)
            Add(entry.best, source, entry.picture, walk, entry.job);
    }
    if (printCopy)
        std::printf("memcpy of %zu bytes: hot %.3f cold %.3f ms\n", copied, copy.hot, copy.cold);
    for (const Competitor& entry : competitors) {
        const Errors errors = errorsOf(entry.picture);
        std::printf("  %-16s hot %7.3f cold %7.3f ms   memcpy / time hot %.3f cold %.3f   error max %.2f mean %.3f\n",
                    entry.name, entry.best.hot, entry.best.cold, copy.hot / entry.best.hot, copy.cold / entry.best.cold,
                    errors.largest, errors.mean);
    }
}

void Enter(std::vector<Competitor>& competitors, const JobSizes& sizes, const char* name, const Job& job) {
    if (job)
        competitors.push_back({name, job, BgraPicture(sizes.width, sizes.height), {}});
}

void Compare(const JobSizes& sizes, bool peers, int rounds) {
    std::printf("%dx%d -> %dx%d %s; ", sizes.sourceWidth, sizes.sourceHeight, sizes.width, sizes.height,
                NameOf(sizes.filter));
    const auto race = [&](std::vector<Competitor>& competitors, Alpha alpha) {
        const BgraPicture source = TestPicture(sizes.sourceWidth, sizes.sourceHeight, alpha);
        Race(source, competitors, rounds, alpha == Alpha::Opaque,
             [&](const BgraPicture& result) { return ErrorsOf(source, result, sizes.filter, alpha); });
    };
    std::vector<Competitor> opaque;
    Enter(opaque, sizes, "own BGRA opaque", OwnJob(kStraight, sizes.filter));
    Enter(opaque, sizes, "own BGRX", OwnJob(kOpaque, sizes.filter));
    if (peers) {
        Enter(opaque, sizes, "libyuv", LibyuvJob(sizes));
        Enter(opaque, sizes, "zimg float", ZimgJob(sizes, true));
        Enter(opaque, sizes, "zimg 8 bit", ZimgJob(sizes, false));
        Enter(opaque, sizes, "swscale", SwscaleJob(sizes));
    }
    race(opaque, Alpha::Opaque);
    std::vector<Competitor> mixed;
    Enter(mixed, sizes, "own BGRA mixed", OwnJob(kStraight, sizes.filter));
    race(mixed, Alpha::Mixed);
}

/// Studio-range BT.601 as 8-bit UYVY, averaged over two by two pixels with chroma at full width, unrounded.
Errors ErrorsOfHalving(const BgraPicture& source, const BgraPicture& result) {
    Errors errors;
    double samples = 0;
    for (int y = 0; y < result.height; y += kCheckedRowStep) {
        for (int x = 0; x < result.width; ++x) {
            double luma = 0;
            double chroma[2] = {};
            for (const int row : {2 * y, 2 * y + 1}) {
                const std::uint8_t* const pair = source.At(row, x);
                const std::uint8_t* const next = source.At(row, std::min(x + 1, source.width - 1));
                luma += (pair[1] + pair[3] - 32) / 4.0 / 219;
                for (const int c : {0, 1})
                    chroma[c] += (3 * (pair[2 * c] - 128) + next[2 * c] - 128) / 8.0 / 224;
            }
            const auto [u, v] = chroma;
            const double colours[3] = {luma + 1.772 * u, luma - (0.114 * 1.772 * u + 0.299 * 1.402 * v) / 0.587,
                                       luma + 1.402 * v};
            for (int c = 0; c < 3; ++c) {
                const double error = std::abs(result.At(y, x)[c] - std::clamp(255 * colours[c], 0.0, 255.0));
                errors.largest = std::max(errors.largest, error);
                errors.mean += error;
                ++samples;
            }
        }
    }
    errors.mean /= samples;
    return errors;
}

void CompareHalving(bool peers, int rounds) {
    const JobSizes sizes{1920, 1080, 960, 540, Filter::Box};
    std::printf("1920x1080 UYVY -> 960x540 BGRA box; ");
    const BgraPicture source = TestPicture(sizes.sourceWidth / 2, sizes.sourceHeight, Alpha::Mixed);
    std::vector<Competitor> competitors;
    Enter(competitors, sizes, "own", [](const BgraPicture& from, BgraPicture& to) {
        constexpr PB_PixelFormat kUYVY = 0x811;
        if (PB_ScaleConvert(from.At(0, 0), from.RowBytes(), 2 * from.width, from.height, kUYVY, 0, to.At(0, 0),
                            to.RowBytes(), to.width, to.height, kStraight, 0, 1) != 0)
            std::abort();
    });
    if (peers) {
        Enter(competitors, sizes, "libyuv", scalebench::LibyuvHalvingJob());
        Enter(competitors, sizes, "swscale", scalebench::SwscaleHalvingJob(sizes));
    }
    Race(source, competitors, rounds, true, [&](const BgraPicture& result) { return ErrorsOfHalving(source, result); });
}

} // namespace

int main(int count, char** arguments) {
    bool all = false;
    bool peers = true;
    bool threads = false;
    int rounds = kRounds;
    std::string part;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "--all")
            all = true;
        else if (argument == "--own")
            peers = false;
        else if (argument == "--threads")
            threads = true;
        else if (std::atoi(arguments[i]) > 0 && argument.find_first_not_of("0123456789") == std::string::npos)
            rounds = std::atoi(arguments[i]);
        else
            part = argument;
    }
    if (!threads)
        UseOneThread();
    if (part.empty() || part == "UYVY")
        CompareHalving(peers, rounds);
    for (const Filter filter : {Filter::Box, Filter::Bilinear, Filter::Bicubic, Filter::Lanczos3}) {
        for (const JobSizes& sizes : {JobSizes{1920, 1080, 960, 540, filter}, JobSizes{1920, 1080, 1280, 720, filter},
                                      JobSizes{960, 540, 1920, 1080, filter}, JobSizes{1920, 1080, 480, 270, filter}}) {
            const std::string name =
                std::to_string(sizes.sourceHeight) + "-" + std::to_string(sizes.height) + " " + NameOf(filter);
            const bool wanted = part.empty() ? all || sizes.height != 270 : name.find(part) != std::string::npos;
            if (wanted)
                Compare(sizes, peers, rounds);
        }
    }
}
