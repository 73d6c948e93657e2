// Mixes of pictures and replaced alpha, 1080p on one thread: the ratio to a memcpy of (read + written) / 2 bytes of the
// same run, hot (the same pictures again) and cold (walking over more pictures than the caches hold); ours and the
// peers'. All take turns in one run and the best of many turns counts. Of dissolves of bytes also the largest distance
// from the exact result.
//
// Usage: bench_mix [turns] [substring of the job's name]

#include "Peer.h"
#include "PixelBlitter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kColdBytes = std::size_t{768} << 20; // beyond the last cache of any machine we know

using Work = std::function<void(const Pictures&)>;
struct Contestant {
    std::string name;
    Work work;
    double best[2] = {1e9, 1e9}; // hot, cold
};

struct Free {
    void operator()(std::uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<std::uint8_t, Free>;

Block Allocate(std::size_t bytes, std::uint32_t seed) {
    Block block(static_cast<std::uint8_t*>(std::aligned_alloc(4096, (bytes + 4095) / 4096 * 4096)));
    if (!block) {
        throw std::bad_alloc();
    }
    for (std::size_t i = 0; i < bytes; ++i) {
        seed = seed * 1664525U + 1013904223U;
        block.get()[i] = i % 4 == 3 ? 63 : static_cast<std::uint8_t>(seed >> 24); // as floats from 0.5 to 1
    }
    return block;
}

// Pictures to walk over: one when hot, as many as outgrow the caches when cold.
class Pool {
public:
    Pool(std::size_t bytes, bool cold) {
        for (std::size_t i = 0; i < (cold ? kColdBytes / 3 / bytes : 1); ++i) {
            mBlocks.push_back(Allocate(bytes, static_cast<std::uint32_t>(i)));
        }
    }
    std::uint8_t* Next() { return mBlocks[mNext++ % mBlocks.size()].get(); }

private:
    std::vector<Block> mBlocks;
    std::size_t mNext = 0;
};

struct Job {
    std::string name;
    PB_PixelFormat format;
    double pictures; // read and written
    std::vector<Contestant> contestants;
};

double Milliseconds(const Work& work, const Pictures& pictures) {
    const auto start = std::chrono::steady_clock::now();
    work(pictures);
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void Measure(Job& job, int turns) {
    const auto rowBytes = static_cast<int>(PB_PixelFormatSize(job.format, kWidth, 1));
    const std::size_t bytes = static_cast<std::size_t>(rowBytes) * kHeight;
    const auto copied = static_cast<std::size_t>(job.pictures / 2 * static_cast<double>(bytes));
    const Work copy = [=](const Pictures& p) { // of up to two pictures
        std::memcpy(p.destination, p.a, std::min(copied, bytes));
        if (copied > bytes) {
            std::memcpy(const_cast<std::uint8_t*>(p.b), p.a, copied - bytes);
        }
    };
    double bestCopy[2] = {1e9, 1e9};
    for (const bool cold : {false, true}) {
        Pool a(bytes, cold), b(bytes, cold), spare(bytes, cold);
        std::vector<Pool> to; // when hot everybody has a destination that nobody else moves out of the caches
        for (std::size_t i = 0; i <= (cold ? 0 : job.contestants.size()); ++i) {
            to.emplace_back(bytes, cold);
        }
        for (int turn = 0; turn < turns; ++turn) {
            const auto time = [&](double& best, std::size_t who, const Work& work) {
                const Pictures pictures{a.Next(), who == 0 ? spare.Next() : b.Next(), to[cold ? 0 : who].Next(),
                                        rowBytes, kHeight};
                // Twice when hot: whoever had the turn before may have moved these pictures away.
                for (int i = 0; i < (cold ? 1 : 2); ++i) {
                    best = std::min(best, Milliseconds(work, pictures));
                }
            };
            time(bestCopy[cold], 0, copy);
            for (std::size_t i = 0; i < job.contestants.size(); ++i) {
                time(job.contestants[i].best[cold], i + 1, job.contestants[i].work);
            }
        }
    }
    std::printf("%-24s memcpy %.3f / %.3f ms", job.name.c_str(), bestCopy[0], bestCopy[1]);
    for (const Contestant& contestant : job.contestants) {
        std::printf("  %s %.2f / %.2f", contestant.name.c_str(), bestCopy[0] / contestant.best[0],
                    bestCopy[1] / contestant.best[1]);
    }
}

// Over all pairs of bytes.
void PrintErrors(const Job& job, float weight) {
    std::vector<std::uint8_t> a(65536), b(65536), mixed(65536);
    for (std::size_t i = 0; i < a.size(); ++i) {
        a[i] = static_cast<std::uint8_t>(i);
        b[i] = static_cast<std::uint8_t>(i >> 8);
    }
    std::printf("  errors");
    for (const Contestant& contestant : job.contestants) {
        contestant.work({a.data(), b.data(), mixed.data(), 256, 256});
        double worst = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            const double share = weight;
            worst = std::max(worst, std::abs(mixed[i] - (a[i] * (1 - share) + b[i] * share)));
        }
        std::printf(" %.3f", worst);
    }
}

Work Dissolve(PB_PixelFormat format, float weight) {
    return [=](const Pictures& p) {
        const int pixels = format == 0x4 ? p.rowBytes / 4 : kWidth;
        PB_CrossDissolve(p.a, p.rowBytes, format, p.b, p.rowBytes, format, p.destination, p.rowBytes, format, pixels,
                         p.height, weight, 4);
    };
}

// As the operations on frames call it.
Work Deinterlace(PB_PixelFormat format) {
    return [=](const Pictures& p) {
        std::uint8_t* const row = p.destination;
        const int stride = 2 * p.rowBytes;
        PB_CrossDissolve(row, stride, format, row + stride, stride, format, row + p.rowBytes, stride, format, kWidth,
                         p.height / 2 - 1, 0.5F, 4);
    };
}
Work Blur(PB_PixelFormat format) {
    return [=](const Pictures& p) {
        std::vector<std::uint8_t> scratch(static_cast<std::size_t>(p.rowBytes));
        const auto mean = [&](const std::uint8_t* x, const std::uint8_t* y, std::uint8_t* to) {
            PB_CrossDissolve(x, 0, format, y, 0, format, to, 0, format, kWidth, 1, 0.5F, 4);
        };
        for (int row = p.height - 2; row > 0; --row) {
            const std::uint8_t* const at = p.a + row * p.rowBytes;
            mean(at + p.rowBytes, at - p.rowBytes, scratch.data());
            mean(scratch.data(), at, p.destination + row * p.rowBytes);
        }
    };
}

Work Alpha(PB_PixelFormat format, bool invert, bool inPlace) {
    return [=](const Pictures& p) {
        const std::uint8_t* const from = inPlace ? p.destination : p.a;
        if (invert) {
            PB_InvertAlpha(from, p.rowBytes, p.destination, p.rowBytes, format, kWidth, p.height);
        } else {
            PB_CopyAndSetAlpha(from, p.rowBytes, p.destination, p.rowBytes, format, kWidth, p.height, 1);
        }
    };
}

const std::vector<const Peer*> kPeers{
#ifdef BENCH_WITH_LIBYUV
    &kLibyuvPeer,
#endif
#ifdef BENCH_WITH_OPENCV
    &kOpenCVPeer,
#endif
};

} // namespace

int main(int count, char** arguments) {
    const int turns = count > 1 ? std::atoi(arguments[1]) : 40;
    const std::string filter = count > 2 ? arguments[2] : "";
    std::printf("ratio to memcpy hot / cold\n");
    const auto run = [&](Job job, float dissolveWeight = 0) {
        if (job.name.find(filter) != std::string::npos) {
            Measure(job, turns);
            if (dissolveWeight > 0) {
                PrintErrors(job, dissolveWeight);
            }
            std::printf("\n");
            std::fflush(stdout);
        }
    };
    const auto enter = [](Job& job, auto member, auto... more) {
        for (const Peer* const peer : kPeers) {
            if (peer->*member) {
                job.contestants.push_back({peer->name, [=](const Pictures& p) { (peer->*member)(p, more...); }});
            }
        }
    };
    for (const float weight : {0.5F, 0.3F}) {
        Job job{"dissolve BGRA " + std::to_string(weight).substr(0, 3), 0x4, 3, {{"ours", Dissolve(0x4, weight)}}};
        enter(job, &Peer::dissolve, weight);
        run(std::move(job), weight);
        run({"dissolve UYVY", 0x811, 3, {{"ours", Dissolve(0x811, weight)}}});
        run({"dissolve BGRA 15u", 0x84, 3, {{"ours", Dissolve(0x84, weight)}}});
        run({"dissolve V210", 0x851, 3, {{"ours", Dissolve(0x851, weight)}}});
        run({"dissolve BGRA 32f", 0x104, 3, {{"ours", Dissolve(0x104, weight)}}});
    }
    Job deinterlace{"deinterlace BGRA", 0x4, 1, {{"ours", Deinterlace(0x4)}}};
    enter(deinterlace, &Peer::deinterlace);
    run(std::move(deinterlace));
    run({"deinterlace BGRA 32f", 0x104, 1, {{"ours", Deinterlace(0x104)}}});
    Job blur{"blur BGRA", 0x4, 2, {{"ours", Blur(0x4)}}};
    enter(blur, &Peer::blur);
    run(std::move(blur));
    Job invert{"invert alpha BGRA", 0x4, 2, {{"ours", Alpha(0x4, true, false)}}};
    enter(invert, &Peer::invertAlpha);
    run(std::move(invert));
    Job opaque{"opaque alpha BGRA", 0x4, 2, {{"ours", Alpha(0x4, false, false)}}};
    enter(opaque, &Peer::opaqueAlpha);
    run(std::move(opaque));
    run({"  in place", 0x4, 2, {{"invert", Alpha(0x4, true, true)}, {"opaque", Alpha(0x4, false, true)}}});
    run({"alpha of BGRA 32f", 0x104, 2, {{"invert", Alpha(0x104, true, false)}}});
}
