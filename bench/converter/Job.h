#pragma once

/// What the benchmark measures: the table of jobs, and what everybody who does one is called with.

#include "PixelBlitter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace converterbench {

struct Size {
    int width = 1920;
    int height = 1080;
    friend bool operator==(const Size&, const Size&) = default;
};

/// A fill reads nothing and makes the picture white.
enum class Kind { Convert, Fill };

/// What pictures hold when times are taken: random codes (alpha, too), such codes with an opaque alpha in the last of
/// four bytes, or random floats from 0 to 1.
enum class Content { Codes, Opaque, Floats };

struct Job {
    const char* name;
    PB_PixelFormat from, to;
    Size in{}, out = in;
    int quality = 4; ///< chooses the filter where the sizes differ
    Kind kind = Kind::Convert;
    int rowWidth = 0; ///< pixels from row to row, where that is more than the width
    bool opaque = false;

    bool Scales() const { return in != out; }
    Content SourceContent() const;
};

std::span<const Job> AllJobs();

/// The same job on pictures small enough for the exact result to be computed: strips of the same width, or sizes in the
/// same ratio.
Job SmallJob(const Job& job);

struct Image {
    std::uint8_t* data;
    PB_PixelFormat format;
    int width, height;
    std::ptrdiff_t rowBytes; ///< 0 for planar pictures, which lie in memory without gaps

    std::ptrdiff_t PixelBytes() const; ///< bytes of one row that hold pixels; of the picture, if planar
    std::size_t Bytes() const;         ///< pixels of the whole picture, without gaps
};

Image SourceOf(const Job& job, std::uint8_t* data);
Image DestinationOf(const Job& job, std::uint8_t* data);

/// Somebody who can do a job.
class Worker {
public:
    Worker() = default;
    virtual ~Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    virtual const char* Name() const = 0;
    virtual void Run(const Image& in, const Image& out) = 0;
};

/// Null where they do not know the job.
using MakeWorker = std::unique_ptr<Worker>(const Job& job);

MakeWorker MakeOurs;

} // namespace converterbench
