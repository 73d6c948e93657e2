// What it costs to give a frame to another process, beside memcpy of the same bytes and the plain ways that a program
// without the broker has, all in one run.

#include "BenchTools.h"
#include "HandOver.h"
#include "Peers.h"
#include "VideoFrameFactory.h"
#include "VideoFrameInterfaces.h"
#include "VideoFrameSharing.h"
#include "VideoFrameUtilities.h"
#include "sharehub.h"

#include <sys/mman.h>
#include <sys/wait.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

using FrameRef = BRT::InterfaceRef<RK::IVideoFrame>;

constexpr std::uint64_t kBlockBytes = kFrameBytes + 128;
constexpr std::size_t kCirculatingBlocks = 8;
constexpr std::uint64_t kSmallBytes = 4096;

/// A broker directory of the benchmark's own.
class OwnDirectory {
public:
    OwnDirectory() {
        Require(::mkdtemp(mPath.data()) != nullptr, "making a directory");
        ::setenv("VF_SHAREHUB_DIR", mPath.c_str(), 1);
    }
    OwnDirectory(const OwnDirectory&) = delete;
    OwnDirectory& operator=(const OwnDirectory&) = delete;
    ~OwnDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }

private:
    std::string mPath = "/dev/shm/vf-sharing-bench-XXXXXX";
};

/// Publishing from ordinary memory against a memcpy into a block that is mapped already: the same sources, and as many
/// destinations as circulate in the broker.
void PublishFromMemory(std::size_t sources, unsigned rounds) {
    std::vector<FrameRef> frames(sources);
    for (FrameRef& frame : frames) {
        VF::CreateVideoFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight, {1, 1}, true, false);
    }
    const std::size_t mappedBytes = kCirculatingBlocks * kBlockBytes;
    void* const mapped =
        ::mmap(nullptr, mappedBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    Require(mapped != MAP_FAILED, "mapping blocks");
    Samples publish, copy;
    for (unsigned n = 0; n < rounds + 2 * kCirculatingBlocks; ++n) {
        const FrameRef& frame = frames[n % sources];
        const void* const pixels = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(frame)->GetData();
        auto* const destination = static_cast<std::uint8_t*>(mapped) + (n % kCirculatingBlocks) * kBlockBytes;
        Samples warmUp;
        const bool counts = n >= 2 * kCirculatingBlocks;
        (counts ? publish : warmUp).Time([&] { Require(VF::PublishVideoFrame(frame, Id(n)) == 0, "publishing"); });
        (counts ? copy : warmUp).Time([&] { std::memcpy(destination + 128, pixels, kFrameBytes); });
    }
    ::munmap(mapped, mappedBytes);
    std::printf("  %zu source frame(s): publish %.0f us (p90 %.0f), memcpy into a mapped block %.0f us (p90 %.0f), "
                "ratio %.2f\n",
                sources, publish.Median(), publish.Quantile(0.9), copy.Median(), copy.Quantile(0.9),
                publish.Median() / copy.Median());
}

/// Runs body in another process with a client of its own.
template <class Body>
void RunConsumer(const Body& body) {
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        Require(framebroker::InitializeClient(), "starting the consumer");
        body();
        framebroker::UninitializeClient();
        std::fflush(stdout);
        std::_Exit(0);
    }
    int status = 0;
    Require(::waitpid(child, &status, 0) == child && status == 0, "the consumer");
}

void OpenAndWrap(std::uint32_t number) {
    boost::shared_ptr<framebroker::BinaryReference> reference;
    FrameRef frame;
    Require(framebroker::GetBinaryDataIfAvailable(Id(number), reference) == 0 &&
                VF::WrapVideoFrameAroundBinaryReference(reference, Id(number), frame) == 0 &&
                frame->GetBounds().right == static_cast<std::int32_t>(kWidth),
            "opening and wrapping");
}

/// Opening, wrapping and letting go of blocks of another process: for the first time, again behind a memcpy that has
/// emptied the caches, and again at once.
void OpenAgain(unsigned rounds) {
    constexpr std::uint32_t kFirst = 1'000'000;
    VF::SetCreatePublishableVideoFrames(true);
    std::vector<FrameRef> frames(kCirculatingBlocks);
    for (std::uint32_t n = 0; n < kCirculatingBlocks; ++n) {
        VF::CreateVideoFrame(frames[n], zynmediatypes::kPixelFormat_BGRA_4444_8u, kWidth, kHeight, {1, 1}, true, false);
        Require(VF::PublishVideoFrame(frames[n], Id(kFirst + n)) == 0, "publishing");
    }
    VF::SetCreatePublishableVideoFrames(false);
    RunConsumer([&] {
        Samples first, cold, hot, copy;
        const std::vector<std::uint8_t> source(kFrameBytes, 1);
        std::vector<std::uint8_t> destination(kFrameBytes, 2);
        for (std::uint32_t n = 0; n < rounds; ++n) {
            const std::uint32_t number = kFirst + n % kCirculatingBlocks;
            copy.Time([&] { std::memcpy(destination.data(), source.data(), kFrameBytes); });
            (n < kCirculatingBlocks ? first : cold).Time([&] { OpenAndWrap(number); });
            for (std::uint32_t other = 1; other < kCirculatingBlocks && n >= kCirculatingBlocks; ++other) {
                hot.Time([&] { OpenAndWrap(kFirst + (n + other) % kCirculatingBlocks); });
            }
        }
        const auto print = [&](const char* what, Samples& samples) {
            std::printf("  %-20s %6.2f us (p90 %6.2f), %.4f of memcpy of a frame\n", what, samples.Median(),
                        samples.Quantile(0.9), samples.Median() / copy.Median());
        };
        print("for the first time", first);
        print("again, caches cold", cold);
        print("again, at once", hot);
    });
}

boost::shared_ptr<framebroker::WritableBinaryReference> PutSmallBlock(std::uint32_t number) {
    boost::shared_ptr<framebroker::WritableBinaryReference> writable;
    Require(framebroker::GetWritableBinaryData(kSmallBytes, writable) == 0 &&
                framebroker::PutCompletedBinaryData(Id(number), writable) == 0,
            "putting a small block");
    return writable;
}

/// Opening some of the blocks over and over in another process.
void PrintOpenCost(std::uint32_t firstNumber, std::size_t blocks) {
    RunConsumer([&] {
        Samples open;
        for (std::uint32_t n = 0; n < 8000; ++n) {
            boost::shared_ptr<framebroker::BinaryReference> readable;
            open.Time([&] {
                Require(framebroker::GetBinaryDataIfAvailable(Id(firstNumber + n % 8), readable) == 0, "opening");
            });
        }
        std::printf("  open one of %zu: %.2f us (p90 %.2f)\n", blocks, open.Median(), open.Quantile(0.9));
    });
}

void ManyBlocks(std::uint32_t count) {
    constexpr std::uint32_t kFirst = 2'000'000;
    framebroker::SetPutBudget(0);
    std::vector<boost::shared_ptr<framebroker::WritableBinaryReference>> blocks;
    Samples put, list, copy;
    const auto putUntil = [&](std::size_t wanted) {
        while (blocks.size() < wanted) {
            put.Time([&] { blocks.push_back(PutSmallBlock(kFirst + static_cast<std::uint32_t>(blocks.size()))); });
        }
    };
    putUntil(8);
    PrintOpenCost(kFirst, blocks.size());
    putUntil(count);
    PrintOpenCost(kFirst, blocks.size());
    const std::vector<std::uint8_t> source(kFrameBytes, 1);
    std::vector<std::uint8_t> destination(kFrameBytes, 2);
    for (int round = 0; round < 21; ++round) {
        framebroker::DirectoryContents contents;
        list.Time([&] { Require(framebroker::ListBlocks(contents) == 0, "listing"); });
        Require(contents.blocks.size() >= count, "listing all blocks");
        copy.Time([&] { std::memcpy(destination.data(), source.data(), kFrameBytes); });
    }
    std::printf("  make and put one: %.2f us; list all: %.1f ms, %.1f times memcpy of a 1080p frame\n", put.Median(),
                list.Median() / 1000, list.Median() / copy.Median());
}

} // namespace

// All parts, or the one that is named: memory, handover, open, many.
int main(int argc, char** argv) {
    const std::string_view wanted = argc > 1 ? argv[1] : "";
    const auto begins = [&](std::string_view part, const char* title) {
        const bool runs = wanted.empty() || wanted == part;
        if (runs) {
            std::puts(title);
        }
        return runs;
    };
    const OwnDirectory directory;
    VF::Initialize();
    framebroker::SetPutBudget(kCirculatingBlocks * kBlockBytes);
    if (begins("memory", "publishing a 1080p BGRA frame from ordinary memory")) {
        PublishFromMemory(1, 300);
        PublishFromMemory(kCirculatingBlocks, 300);
    }
    if (begins("handover", "handing over 1080p BGRA frames")) {
        std::vector<std::unique_ptr<Channel>> channels = MakePeers();
        channels.insert(channels.begin(), MakePublishingChannel());
        MeasureHandOver(channels);
    }
    if (begins("open", "opening and wrapping a block that another process published")) {
        OpenAgain(1000);
    }
    if (begins("many", "10,000 published blocks of 4 KB")) {
        ManyBlocks(10'000);
    }
    VF::Shutdown();
    return 0;
}
