/// Scales 8-bit BGRA pictures end to end with the resampler and with its peers. For each job: the median time, how that
/// compares with a memcpy of (read + written) / 2 bytes of the same run, and the largest and mean distance from the
/// unrounded double-precision result in codes. Rounds are interleaved, so that a busy machine disturbs all alike.
/// Ratios are those of the processor time of the calling thread, which other programs disturb least; for the job that
/// uses all threads the elapsed time is what counts.

#include "BgraRows.h"
#include "Peers.h"
#include "Pictures.h"

#include "scale/Resampler.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>

namespace {

using namespace PixelBlitter;
using scalebench::BgraPicture;
using scalebench::Job;

constexpr int kRounds = 21;
constexpr int kCheckedRowStep = 23;

/// Noise, hard edges and flat parts: what makes filters overshoot.
BgraPicture TestPicture(int width, int height) {
    BgraPicture picture(width, height);
    std::mt19937 random(1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 4; ++c)
                picture.At(y, x)[c] = static_cast<std::uint8_t>(
                    (x / 64 + y / 64) % 2 ? random() % 256 : ((x / (3 + c) + y / 5) % 2 ? 255 : 0));
    return picture;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(values.size() / 2), values.end());
    return values[values.size() / 2];
}

double Now(clockid_t clock) {
    timespec time;
    clock_gettime(clock, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) * 1e-6;
}

struct Times {
    std::vector<double> elapsed;
    std::vector<double> processor;

    void Add(const Job& job) {
        const double elapsedStart = Now(CLOCK_MONOTONIC);
        const double processorStart = Now(CLOCK_THREAD_CPUTIME_ID);
        job();
        processor.push_back(Now(CLOCK_THREAD_CPUTIME_ID) - processorStart);
        elapsed.push_back(Now(CLOCK_MONOTONIC) - elapsedStart);
    }
};

enum class Threads { One, All };

struct Competitor {
    const char* name;
    Threads threads;
    Job job;
    BgraPicture picture;
    Times times;
};

struct Errors {
    double largest = 0;
    double mean = 0;
};

Errors ErrorsOf(const BgraPicture& source, const BgraPicture& result, const ResampleRequest& request) {
    std::vector<std::vector<std::pair<int, double>>> across;
    across.reserve(static_cast<std::size_t>(result.width));
    for (int x = 0; x < result.width; ++x)
        across.push_back(scaletest::ReferenceTaps(request.horizontal, request.filter, x));
    Errors errors;
    double samples = 0;
    // The first and last rows, where the borders are mirrored, and some between.
    for (int y = 0; y < result.height; y += y < 4 || y >= result.height - 4 ? 1 : kCheckedRowStep) {
        const auto down = scaletest::ReferenceTaps(request.vertical, request.filter, y);
        for (int x = 0; x < result.width; ++x)
            for (int c = 0; c < 4; ++c) {
                double wanted = 0;
                for (const auto& [row, rowWeight] : down)
                    for (const auto& [column, weight] : across[static_cast<std::size_t>(x)])
                        wanted += rowWeight * weight * source.At(row, column)[c];
                const double error = std::abs(result.At(y, x)[c] - std::clamp(wanted, 0.0, 255.0));
                errors.largest = std::max(errors.largest, error);
                errors.mean += error;
                ++samples;
            }
    }
    errors.mean /= samples;
    return errors;
}

void Compare(int sourceWidth, int sourceHeight, int width, int height, Filter filter) {
    const BgraPicture source = TestPicture(sourceWidth, sourceHeight);
    const auto request = [&](int bands) {
        return ResampleRequest{WholeAxis(sourceWidth, width), WholeAxis(sourceHeight, height), filter, bands};
    };
    std::vector<Competitor> competitors;
    competitors.reserve(8);
    const auto enter = [&](const char* name, Threads threads, const auto& makeJob) {
        Competitor& entry = competitors.emplace_back(Competitor{name, threads, {}, BgraPicture(width, height), {}});
        entry.job = makeJob(entry.picture);
        if (!entry.job)
            competitors.pop_back();
    };
    const auto own = [&](int bands) {
        return [&, bands](BgraPicture& into) -> Job {
            return [&source, &into, wanted = request(bands)] { ResamplePlan::Make(wanted)->Run(source, into); };
        };
    };
    enter("own", Threads::One, own(1));
    enter("own, all threads", Threads::All, own(0));
    enter("zimg float", Threads::One,
          [&](BgraPicture& into) { return scalebench::ZimgJob(source, into, filter, true); });
    enter("zimg 8 bit", Threads::One,
          [&](BgraPicture& into) { return scalebench::ZimgJob(source, into, filter, false); });
    enter("swscale", Threads::One, [&](BgraPicture& into) { return scalebench::SwscaleJob(source, into, filter); });

    const std::size_t copied = (source.bytes.size() + competitors[0].picture.bytes.size()) / 2;
    std::vector<std::uint8_t> copySource(copied, 1);
    std::vector<std::uint8_t> copy(copied);
    Times copyTimes;
    for (int round = 0; round < kRounds; ++round) {
        copyTimes.Add([&] { std::memcpy(copy.data(), copySource.data(), copied); });
        for (Competitor& entry : competitors)
            entry.times.Add(entry.job);
    }
    const double copyTime = Median(copyTimes.processor);
    const double ownTime = Median(competitors[0].times.processor);
    std::printf("%dx%d -> %dx%d %s; memcpy of %zu bytes: elapsed %.2f processor %.2f ms\n", sourceWidth, sourceHeight,
                width, height, FilterName(filter), copied, Median(copyTimes.elapsed), copyTime);
    for (const Competitor& entry : competitors) {
        const double elapsed = Median(entry.times.elapsed);
        const double time = entry.threads == Threads::All ? elapsed : Median(entry.times.processor);
        const Errors errors = ErrorsOf(source, entry.picture, request(1));
        std::printf("  %-16s elapsed %6.2f processor %6.2f ms   memcpy / time %.3f   time / own %.2f   error max %.2f "
                    "mean %.3f\n",
                    entry.name, elapsed, Median(entry.times.processor), copyTime / time, time / ownTime, errors.largest,
                    errors.mean);
    }
}

} // namespace

int main(int count, char** arguments) {
    const bool all = count > 1 && std::strcmp(arguments[1], "--all") == 0;
    for (const Filter filter : {Filter::Bicubic, Filter::Lanczos3, Filter::Bilinear, Filter::Box}) {
        if (filter != Filter::Bicubic && !all)
            continue;
        Compare(1920, 1080, 960, 540, filter);
        Compare(1920, 1080, 1280, 720, filter);
        Compare(960, 540, 1920, 1080, filter);
        if (all)
            Compare(1920, 1080, 480, 270, filter);
    }
}
