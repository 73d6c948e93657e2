#include "HandOver.h"

#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameSharing.h"
#include "sharehub.h"

#include <sched.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <atomic>
#include <cstring>
#include <new>

namespace {

constexpr unsigned kWarmUpRounds = 16;
constexpr unsigned kFramesInFlight = 4;
constexpr unsigned kTurns = 7;
constexpr std::size_t kPageBytes = 4096;
// Longer than it takes a consumer to fall asleep.
constexpr useconds_t kSettlingMicroseconds = 100;

class PublishingChannel final : public Channel {
public:
    const char* Name() const override { return "VF::PublishVideoFrame"; }
    // Every run has identifiers of its own, because the last frames of the one before are still published.
    void StartRun() override { mFirst += 10'000'000; }
    // The child of a fork has no client.
    void StartConsumer() override { Require(framebroker::InitializeClient(), "starting the consumer"); }
    void EndConsumer() override { framebroker::UninitializeClient(); }
    void Prepare(std::uint32_t) override {
        VF::SetCreatePublishableVideoFrames(true);
        VF::CreateVideoFrame(mFrame, zynmediatypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight, {1, 1}, false, false);
        Require(mFrame && BRT::QueryInterface<VF::IPublishableVideoFrame>(mFrame), "making a frame");
    }
    void Send(std::uint32_t number) override {
        Require(VF::PublishVideoFrame(mFrame, Id(mFirst + number)) == 0, "publishing");
    }
    const volatile std::uint8_t* Receive(std::uint32_t number) override {
        const auto id = Id(mFirst + number);
        boost::shared_ptr<framebroker::BinaryReference> reference;
        Require(framebroker::WaitForBinaryData(id, framebroker::kNoTimeLimit, reference) == 0, "waiting for a frame");
        Require(VF::WrapVideoFrameAroundBinaryReference(reference, id, mFrame) == 0, "wrapping");
        return static_cast<const std::uint8_t*>(BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(mFrame)->GetData());
    }
    void Release(std::uint32_t) override { mFrame.Reset(); }

private:
    BRT::InterfaceRef<RK::IVideoFrame> mFrame;
    std::uint32_t mFirst = 0;
};

/// What the two processes of a run share.
struct Shared {
    sem_t ready; ///< the consumer is about to wait
    sem_t done;  ///< it has dropped a frame
    std::atomic<double> arrived;
};

enum class Touch { Nothing, EveryPage };

void Use(const volatile std::uint8_t* frame, Touch touch) {
    const std::size_t bytes = touch == Touch::EveryPage ? kFrameBytes : 1;
    for (std::size_t i = 0; i < bytes; i += kPageBytes) {
        static_cast<void>(frame[i]);
    }
}

void Wait(sem_t& semaphore) {
    while (::sem_wait(&semaphore) != 0) {
    }
}

/// Runs produce() here and consume() in another process.
template <class Produce, class Consume>
void RunBoth(Channel& channel, const Produce& produce, const Consume& consume) {
    void* const page = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Require(page != MAP_FAILED, "mapping a shared page");
    auto* const shared = new (page) Shared();
    Require(::sem_init(&shared->ready, 1, 0) == 0 && ::sem_init(&shared->done, 1, 0) == 0, "making semaphores");
    channel.StartRun();
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        channel.StartConsumer();
        consume(*shared);
        channel.EndConsumer();
        std::_Exit(0);
    }
    Require(child > 0, "forking");
    produce(*shared);
    int status = 0;
    Require(::waitpid(child, &status, 0) == child && status == 0, "the consumer");
    ::munmap(page, sizeof(Shared));
}

/// What was measured of one channel.
struct Measured {
    Samples latency;
    Samples copy;
    Samples framesPerSecond;
};

void MeasureLatency(Channel& channel, unsigned rounds, Touch touch, Measured& outMeasured) {
    const std::vector<std::uint8_t> source(kFrameBytes, 1);
    std::vector<std::uint8_t> destination(kFrameBytes, 2);
    const auto produce = [&](Shared& shared) {
        for (unsigned n = 0; n < rounds + kWarmUpRounds; ++n) {
            channel.Prepare(n);
            Wait(shared.ready);
            ::usleep(kSettlingMicroseconds);
            const double start = Now();
            channel.Send(n);
            Wait(shared.done);
            if (n >= kWarmUpRounds) {
                outMeasured.latency.Add(shared.arrived - start);
                outMeasured.copy.Time([&] { std::memcpy(destination.data(), source.data(), kFrameBytes); });
            }
        }
    };
    const auto consume = [&](Shared& shared) {
        for (unsigned n = 0; n < rounds + kWarmUpRounds; ++n) {
            ::sem_post(&shared.ready);
            Use(channel.Receive(n), touch);
            shared.arrived = Now();
            channel.Release(n);
            ::sem_post(&shared.done);
        }
    };
    RunBoth(channel, produce, consume);
}

void MeasureRate(Channel& channel, unsigned frames, Touch touch, Measured& outMeasured) {
    const auto produce = [&](Shared& shared) {
        double start = 0;
        for (unsigned n = 0; n < frames + kWarmUpRounds; ++n) {
            if (n >= kFramesInFlight) {
                Wait(shared.done);
            }
            if (n == kWarmUpRounds) {
                start = Now();
            }
            channel.Prepare(n);
            channel.Send(n);
        }
        for (unsigned n = 0; n < kFramesInFlight; ++n) {
            Wait(shared.done);
        }
        outMeasured.framesPerSecond.Add(frames / (Now() - start) * 1e6);
    };
    const auto consume = [&](Shared& shared) {
        for (unsigned n = 0; n < frames + kWarmUpRounds; ++n) {
            Use(channel.Receive(n), touch);
            channel.Release(n);
            ::sem_post(&shared.done);
        }
    };
    RunBoth(channel, produce, consume);
}

} // namespace

std::unique_ptr<Channel> MakePublishingChannel() {
    return std::make_unique<PublishingChannel>();
}

void MeasureHandOver(const std::vector<std::unique_ptr<Channel>>& channels) {
    for (const Touch touch : {Touch::Nothing, Touch::EveryPage}) {
        std::vector<Measured> results(channels.size());
        for (unsigned turn = 0; turn < kTurns; ++turn) {
            for (std::size_t i = 0; i < channels.size(); ++i) {
                MeasureLatency(*channels[i], channels[i]->Copies() ? 15 : 50, touch, results[i]);
                MeasureRate(*channels[i], channels[i]->Copies() ? 50 : 5000, touch, results[i]);
            }
        }
        std::printf("  the consumer reads %s\n", touch == Touch::EveryPage ? "a byte of every page" : "one byte");
        for (std::size_t i = 0; i < channels.size(); ++i) {
            Measured& measured = results[i];
            std::printf("    %-28s median %8.1f us, p90 %8.1f us, %7.4f of memcpy (%.0f us), %9.0f frames/s\n",
                        channels[i]->Name(), measured.latency.Median(), measured.latency.Quantile(0.9),
                        measured.latency.Median() / measured.copy.Median(), measured.copy.Median(),
                        measured.framesPerSecond.Median());
        }
    }
}
