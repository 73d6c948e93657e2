#include "Measurement.h"

#include "AllProcessors.h"
#include "Buffers.h"
#include "MemoryLimit.h"
#include "Peers.h"

#include <algorithm>
#include <cstring>
#include <ctime>

namespace converterbench {
namespace {

// On either side; together beyond the last cache of any machine we know.
constexpr std::size_t kColdBytes = std::size_t{384} << 20;
constexpr int kFewestTurns = 5;
constexpr std::size_t kMemcpy = 0, kOrdinary = 1, kStreaming = 2, kOurs = 3, kFirstPeer = 4; // in order of turns

class MemoryCopy final : public Worker {
public:
    explicit MemoryCopy(const Job& job) : mReads(job.kind == Kind::Convert) {}
    const char* Name() const override { return "memcpy"; }
    void Run(const Image& in, const Image& out) override {
        std::memcpy(out.data, in.data, ((mReads ? in.Bytes() : 0) + out.Bytes()) / 2);
    }

private:
    bool mReads;
};

double Milliseconds(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

double Now() {
    return Milliseconds(CLOCK_MONOTONIC);
}

struct Contestant {
    std::unique_ptr<Worker> worker;
    std::vector<double> times;
    double spent = 0;

    // The time that this part of the runs was faster than.
    double Quantile(double part) {
        const auto place = times.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(times.size() - 1));
        std::nth_element(times.begin(), place, times.end());
        return *place;
    }
};

void Turn(Contestant& who, const Image& in, const Image& out) {
    // The thread's own time: what other programs do meanwhile does not count.
    const double start = Milliseconds(CLOCK_THREAD_CPUTIME_ID);
    who.worker->Run(in, out);
    const double time = Milliseconds(CLOCK_THREAD_CPUTIME_ID) - start;
    who.times.push_back(time);
    who.spent += time;
}

std::size_t MemoryOf(const Image& image) {
    return image.rowBytes == 0 ? image.Bytes() : static_cast<std::size_t>(image.rowBytes * image.height);
}

// Whoever has used up their share of the time sits out: some are ten times slower than others. The copy that all are
// compared with never does, nor do we.
template <class OneTurn>
void TakeTurns(std::vector<Contestant>& contestants, double seconds, const OneTurn& turn) {
    const double end = Now() + seconds * 1e3, share = seconds * 1e3 / static_cast<double>(contestants.size());
    for (Contestant& who : contestants) {
        who.times.clear();
        who.spent = 0;
    }
    for (int i = 0; i < kFewestTurns || Now() < end; ++i) {
        for (std::size_t who = 0; who < contestants.size(); ++who) {
            if (i < 2 || contestants[who].spent < share || who == kMemcpy || who == kOurs) {
                turn(who);
            }
        }
    }
}

double TimeInCache(const Job& small, std::uint8_t* in, std::uint8_t* out) {
    constexpr int kTurns = 50;
    Contestant ours{MakeOurs(small), {}};
    for (int i = 0; i < kTurns; ++i) {
        Turn(ours, SourceOf(small, in), DestinationOf(small, out));
    }
    return ours.Quantile(0);
}

} // namespace

const Result* Outcome::FastestPeer(bool exactOnly) const {
    const Result* fastest = nullptr;
    const auto slowness = [](const Result& result) { return result.time.hot * result.time.cold; };
    for (const Result& peer : peers) {
        if ((!exactOnly || IsExact(*job, peer.error)) && (!fastest || slowness(peer) < slowness(*fastest))) {
            fastest = &peer;
        }
    }
    return fastest;
}

Outcome Time(const Job& job, double seconds, AllProcessors& all) {
    std::vector<Contestant> contestants;
    const auto enter = [&](std::unique_ptr<Worker> worker) {
        if (worker) {
            contestants.push_back({std::move(worker), {}});
        }
    };
    enter(std::make_unique<MemoryCopy>(job));
    enter(MakeOrdinaryStores(job));
    enter(MakeStreamingStores(job));
    enter(MakeOurs(job));
    for (MakeWorker* const make : kPeers) {
        enter(make(job));
    }

    const std::size_t inBytes = MemoryOf(SourceOf(job, nullptr)), outBytes = MemoryOf(DestinationOf(job, nullptr));
    // memcpy may read and write more than the job does on that side.
    const std::size_t most = std::max(inBytes, outBytes);
    static Buffers sIn(kColdBytes), sOut(kColdBytes);
    sIn.Fill(job.SourceContent());

    Outcome outcome;
    outcome.job = &job;
    std::vector<Speed> times(contestants.size());
    const auto keep = [&](double Speed::*kind, double part) {
        for (std::size_t i = 0; i < contestants.size(); ++i) {
            times[i].*kind = contestants[i].Quantile(part);
        }
    };
    std::vector<std::uint8_t*> destinations;
    for (std::size_t i = 0; i < contestants.size(); ++i) {
        destinations.push_back(sOut.Next(most));
    }
    TakeTurns(contestants, seconds, [&](std::size_t who) {
        // Twice: whoever had the turn before may have moved these buffers away.
        for (int i = 0; i < 2; ++i) {
            Turn(contestants[who], SourceOf(job, sIn.First()), DestinationOf(job, destinations[who]));
        }
        if (who == kOurs) {
            if (const auto time = all.Run(job)) {
                outcome.allProcessors = std::min(outcome.allProcessors.value_or(*time), *time);
            }
        }
    });
    keep(&Speed::hot, 0);
    TakeTurns(contestants, seconds, [&](std::size_t who) {
        std::uint8_t* const in = sIn.Next(most);
        Turn(contestants[who], SourceOf(job, in), DestinationOf(job, sOut.Next(most)));
        if (who == kMemcpy) {
            sIn.Skip();
            sOut.Skip();
        }
    });
    keep(&Speed::cold, 0.25); // the best would be a picture that a cache had kept by chance

    outcome.memcpyTime = times[kMemcpy];
    outcome.limit = {std::min(times[kOrdinary].hot, times[kStreaming].hot),
                     std::min(times[kOrdinary].cold, times[kStreaming].cold)};
    const Job small = SmallJob(job);
    if (!job.Scales()) {
        outcome.computing = TimeInCache(small, sIn.First(), sOut.First()) * job.in.height / small.in.height;
    }
    outcome.ours = {contestants[kOurs].worker->Name(), times[kOurs], Measure(small, *MakeOurs(small))};
    for (MakeWorker* const make : kPeers) {
        if (const auto peer = make(small)) {
            const auto who = kFirstPeer + outcome.peers.size();
            outcome.peers.push_back({peer->Name(), times[who], Measure(small, *peer)});
        }
    }
    return outcome;
}

} // namespace converterbench
