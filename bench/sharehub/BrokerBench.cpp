// What the broker's steps cost, as medians beside memcpy of the same block and the bare system calls, all interleaved
// in one run.

#include "sharehub.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using namespace framebroker;
using zyncore::utility::Guid;
using Clock = std::chrono::steady_clock;

Guid Id(std::uint32_t number) {
    return Guid(number, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10});
}

/// Times of one step, in microseconds.
class Samples {
public:
    template <class Step>
    void Time(Step step) {
        const auto start = Clock::now();
        step();
        mTimes.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    double Median() {
        std::nth_element(mTimes.begin(), mTimes.begin() + static_cast<std::ptrdiff_t>(mTimes.size() / 2), mTimes.end());
        return mTimes[mTimes.size() / 2];
    }

private:
    std::vector<double> mTimes;
};

void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "bench_sharehub: %s failed\n", what);
        std::exit(1);
    }
}

void Print(const char* what, Samples& samples, Samples& copy, Samples& bare) {
    std::printf("  %-44s %9.2f us   %8.4f of memcpy   %6.2f of open+mmap\n", what, samples.Median(),
                samples.Median() / copy.Median(), samples.Median() / bare.Median());
}

void Steps(std::size_t sizeInBytes, std::uint32_t rounds) {
    constexpr const char* kBareName = "/vf-sharehub-bench";
    const int bareFile = ::shm_open(kBareName, O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    Require(bareFile >= 0 && ::ftruncate(bareFile, static_cast<off_t>(sizeInBytes)) == 0, "shm_open");
    std::vector<char> source(sizeInBytes, 1);
    std::vector<char> destination(sizeInBytes, 2);
    Samples make, fill, put, open, close, remove, copy, bare;
    for (std::uint32_t n = 0; n < rounds; ++n) {
        boost::shared_ptr<WritableBinaryReference> writable;
        boost::shared_ptr<BinaryReference> readable;
        make.Time([&] { Require(GetWritableBinaryData(sizeInBytes, writable) == 0, "making a block"); });
        fill.Time([&] { std::memcpy(writable->AcquireDataPointer(), source.data(), sizeInBytes); });
        put.Time([&] { Require(PutCompletedBinaryData(Id(n), writable) == 0, "putting"); });
        open.Time([&] { Require(GetBinaryDataIfAvailable(Id(n), readable) == 0, "getting"); });
        close.Time([&] { readable.reset(); });
        SetPutBudget(0);
        remove.Time([&] { writable.reset(); });
        SetPutBudget(kDefaultPutBudget);
        copy.Time([&] { std::memcpy(destination.data(), source.data(), sizeInBytes); });
        bare.Time([&] {
            const int file = ::shm_open(kBareName, O_RDONLY | O_CLOEXEC, 0);
            void* const address = ::mmap(nullptr, sizeInBytes, PROT_READ, MAP_SHARED, file, 0);
            Require(address != MAP_FAILED, "mmap");
            ::close(file);
            ::munmap(address, sizeInBytes);
        });
    }
    ::close(bareFile);
    ::shm_unlink(kBareName);
    std::printf("%zu bytes (memcpy %.2f us, shm_open + mmap + munmap %.2f us)\n", sizeInBytes, copy.Median(),
                bare.Median());
    Print("make a block", make, copy, bare);
    Print("fill it (fresh pages)", fill, copy, bare);
    Print("put", put, copy, bare);
    Print("open (get)", open, copy, bare);
    Print("close, not the last", close, copy, bare);
    Print("close, the last (removes the block)", remove, copy, bare);
}

/// From the put in one process to the mapped block in another, and back by an event.
void RoundTrip(std::size_t sizeInBytes, std::uint32_t rounds) {
    const int toChild = ::eventfd(0, EFD_CLOEXEC);
    const int toParent = ::eventfd(0, EFD_CLOEXEC);
    const auto signal = [](int event) { Require(::eventfd_write(event, 1) == 0, "signalling"); };
    const auto wait = [](int event) {
        eventfd_t value = 0;
        Require(::eventfd_read(event, &value) == 0, "waiting");
    };
    const pid_t child = ::fork();
    if (child == 0) {
        Require(InitializeClient(), "starting the consumer");
        for (std::uint32_t n = 0; n < rounds; ++n) {
            boost::shared_ptr<BinaryReference> readable;
            wait(toChild);
            Require(GetBinaryDataIfAvailable(Id(n), readable) == 0, "getting in the consumer");
            Require(*static_cast<const char*>(readable->AcquireDataPointer()) == 1, "reading in the consumer");
            signal(toParent);
        }
        UninitializeClient();
        ::_exit(0);
    }
    std::vector<char> source(sizeInBytes, 1);
    std::vector<char> destination(sizeInBytes, 2);
    Samples shared, copy;
    for (std::uint32_t n = 0; n < rounds; ++n) {
        boost::shared_ptr<WritableBinaryReference> writable;
        Require(GetWritableBinaryData(sizeInBytes, writable) == 0, "making a block");
        std::memcpy(writable->AcquireDataPointer(), source.data(), sizeInBytes);
        shared.Time([&] {
            Require(PutCompletedBinaryData(Id(n), writable) == 0, "putting");
            signal(toChild);
            wait(toParent);
        });
        copy.Time([&] { std::memcpy(destination.data(), source.data(), sizeInBytes); });
    }
    ::waitpid(child, nullptr, 0);
    std::printf("put, wake the other process, get, read, wake back: %.1f us, %.3f of memcpy (%zu bytes)\n",
                shared.Median(), shared.Median() / copy.Median(), sizeInBytes);
}

} // namespace

int main() {
    Require(InitializeClient(), "starting the client");
    Steps(4096, 5000);
    Steps(1920 * 1080 * 4 + 128, 200);
    // Nothing is kept, so that a put is not charged with the removal of an older one.
    SetPutBudget(0);
    RoundTrip(4096, 3000);
    RoundTrip(1920 * 1080 * 4 + 128, 300);
    UninitializeClient();
    return 0;
}
