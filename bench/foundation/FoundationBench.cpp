/// Cost of the memory behind a frame: a buffer from the recycler and an object from the allocator, taken and given back
/// over and over, beside the same with the C library's heap. Both sides touch the first page of the buffer, as a frame
/// does when it writes its header. The two sides take turns within each run; the median of the runs is printed.

#include "BRTFoundation.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <thread>
#include <vector>

namespace {

constexpr int kRuns = 31;

/// Short enough that most runs fit into one time slice on a machine that does other things too.
constexpr int kManyCycles = 20'000;

/// For cycles that map and unmap pages each time.
constexpr int kFewCycles = 200;
constexpr std::size_t kObjectInBytes = 200;

/// Keeps the compiler from removing a pair of allocation and release.
void Touch(void* memory) {
    *static_cast<volatile char*>(memory) = 1;
}

struct Recycler {
    static void Cycle(std::size_t sizeInBytes) {
        BRT::MemoryRecycler& recycler = BRT::MemoryRecycler::Instance();
        const BRT::MemoryRecycler::MemoryBuffer buffer = recycler.AllocateBuffer(sizeInBytes);
        Touch(buffer.data);
        recycler.RecycleBuffer(buffer);
    }
};

struct ObjectAllocator {
    static void Cycle(std::size_t sizeInBytes) {
        void* block = BRT::Allocator::Allocate(sizeInBytes);
        Touch(block);
        BRT::Allocator::Dispose(block, sizeInBytes);
    }
};

struct Heap {
    static void Cycle(std::size_t sizeInBytes) {
        void* block = std::malloc(sizeInBytes);
        if (!block) {
            std::abort();
        }
        Touch(block);
        std::free(block);
    }
};

/// Both halves of a frame: the buffer for its pixels, and its object.
template <class Buffers, class Objects>
struct Frame {
    static void Cycle(std::size_t sizeInBytes) {
        Objects::Cycle(kObjectInBytes);
        Buffers::Cycle(sizeInBytes);
    }
};

/// Nanoseconds per cycle, seen by one of threadCount threads that all cycle at once.
template <class Kind>
double NanosecondsPerCycle(std::size_t sizeInBytes, unsigned threadCount, int cycles) {
    std::latch start(threadCount);
    std::vector<double> seconds(threadCount);
    {
        std::vector<std::jthread> threads;
        for (unsigned n = 0; n < threadCount; ++n) {
            threads.emplace_back([&, n] {
                Kind::Cycle(sizeInBytes);
                start.arrive_and_wait();
                const auto begin = std::chrono::steady_clock::now();
                for (int cycle = 0; cycle < cycles; ++cycle) {
                    Kind::Cycle(sizeInBytes);
                }
                seconds[n] = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
            });
        }
    }
    return *std::max_element(seconds.begin(), seconds.end()) * 1e9 / cycles;
}

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

template <class Ours, class Theirs>
void Compare(const char* name, std::size_t sizeInBytes, unsigned threadCount, int heapCycles) {
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int run = 0; run < kRuns; ++run) {
        ours.push_back(NanosecondsPerCycle<Ours>(sizeInBytes, threadCount, kManyCycles));
        theirs.push_back(NanosecondsPerCycle<Theirs>(sizeInBytes, threadCount, heapCycles));
    }
    std::printf("%-28s %10zu %8u %10.1f %12.1f %8.2f\n", name, sizeInBytes, threadCount, Median(ours), Median(theirs),
                Median(theirs) / Median(ours));
}

} // namespace

int main() {
    std::printf("%-28s %10s %8s %10s %12s %8s\n", "cycle", "bytes", "threads", "ours ns", "heap ns", "heap/ours");
    for (const unsigned threads : {1u, 2u}) {
        Compare<ObjectAllocator, Heap>("object", kObjectInBytes, threads, kManyCycles);
        Compare<Recycler, Heap>("buffer, small", 4000, threads, kManyCycles);
        Compare<Recycler, Heap>("buffer, 640x480 BGRA", 640 * 480 * 4, threads, kManyCycles);
        Compare<Recycler, Heap>("buffer, 1920x1080 BGRA", 1920 * 1080 * 4, threads, kManyCycles);
        Compare<Recycler, Heap>("buffer, 3840x2160 float", 3840UL * 2160 * 16, threads, kFewCycles);
        Compare<Frame<Recycler, ObjectAllocator>, Frame<Heap, Heap>>("object and 1080p buffer", 1920 * 1080 * 4,
                                                                     threads, kManyCycles);
    }
    const BRT::MemoryRecycler::Statistics statistics = BRT::MemoryRecycler::Instance().GetStatistics();
    std::printf("recycler: %llu hits, %llu misses\n", static_cast<unsigned long long>(statistics.hits),
                static_cast<unsigned long long>(statistics.misses));
}
