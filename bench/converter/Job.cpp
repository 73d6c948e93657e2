#include "Job.h"

namespace converterbench {
namespace {

constexpr PB_PixelFormat kBGRA = 0x4, kARGB = 0x1004, kBGRP = 0x8, kBGRA15 = 0x84, kBGRA32f = 0x104,
                         kBGRALinear = 0x106, kVUYA = 0x805, kVUYP = 0x809, kVUYA32f = 0x905, kUYVY = 0x811,
                         kUYVY709 = 0xA11, kYUYV = 0x1811, kYUYV709 = 0x1A11, kV210 = 0x851, kV210of709 = 0xA51,
                         k420 = 0xA000831, k420of709 = 0xA000A31, k420Fields = 0x9000831, k420Mpeg4 = 0xC000831;

constexpr Size k1080, k720{1280, 720}, k540{960, 540}, kWindow{1000, 800};
constexpr int kBox = 1, kBilinear = 2, kBicubic = 3, kLanczos = 4;

// Most video is opaque, and filtering colours by their alpha costs.
constexpr Job Opaque(const char* name, Size in, Size out, int quality) {
    return {name, kBGRA, kBGRA, in, out, quality, Kind::Convert, 0, true};
}

constexpr Job kJobs[] = {
    {"copy BGRA", kBGRA, kBGRA},
    {"copy BGRA 1000x800", kBGRA, kBGRA, kWindow, kWindow, 4, Kind::Convert, 1920},
    {"copy UYVY", kUYVY, kUYVY},
    {"copy BGRA 32f", kBGRA32f, kBGRA32f},
    {"fill BGRA", kBGRA, kBGRA, k1080, k1080, 4, Kind::Fill},
    {"fill BGRA 540p", kBGRA, kBGRA, k540, k540, 4, Kind::Fill},

    {"BGRA -> ARGB", kBGRA, kARGB},
    {"ARGB -> BGRA", kARGB, kBGRA},
    {"UYVY -> YUYV", kUYVY, kYUYV},
    {"BGRA -> BGRP", kBGRA, kBGRP},
    {"BGRP -> BGRA", kBGRP, kBGRA},
    {"VUYA -> VUYP", kVUYA, kVUYP},
    {"VUYP -> VUYA", kVUYP, kVUYA},

    {"BGRA -> UYVY", kBGRA, kUYVY},
    {"BGRA -> UYVY 709", kBGRA, kUYVY709},
    {"UYVY -> BGRA", kUYVY, kBGRA},
    {"UYVY -> BGRA 709", kUYVY709, kBGRA},
    {"ARGB -> YUYV 709", kARGB, kYUYV709},
    {"YUYV -> ARGB 709", kYUYV709, kARGB},
    {"BGRA -> VUYA", kBGRA, kVUYA},
    {"VUYA -> BGRA", kVUYA, kBGRA},
    {"VUYA -> UYVY", kVUYA, kUYVY},
    {"UYVY -> VUYA", kUYVY, kVUYA},
    {"UYVY -> UYVY 709", kUYVY, kUYVY709},

    {"BGRA -> 4:2:0", kBGRA, k420},
    {"BGRA -> 4:2:0 MPEG-4", kBGRA, k420Mpeg4},
    {"4:2:0 -> BGRA", k420, kBGRA},
    {"4:2:0 -> BGRA 709", k420of709, kBGRA},
    {"4:2:0 MPEG-4 -> BGRA", k420Mpeg4, kBGRA},
    {"UYVY -> 4:2:0", kUYVY, k420},
    {"UYVY -> 4:2:0 MPEG-4", kUYVY, k420Mpeg4},
    {"UYVY -> 4:2:0 fields", kUYVY, k420Fields},
    {"4:2:0 -> UYVY", k420, kUYVY},
    {"4:2:0 MPEG-4 -> UYVY", k420Mpeg4, kUYVY},

    {"V210 -> BGRA", kV210, kBGRA},
    {"V210 -> BGRA 709", kV210of709, kBGRA},
    {"BGRA -> V210", kBGRA, kV210},
    {"UYVY -> V210", kUYVY, kV210},
    {"V210 -> UYVY", kV210, kUYVY},
    {"V210 -> VUYA 32f", kV210, kVUYA32f},
    {"VUYA 32f -> V210", kVUYA32f, kV210},
    {"V210 -> BGRA 32f", kV210, kBGRA32f},
    {"BGRA 32f -> V210", kBGRA32f, kV210},

    {"BGRA -> BGRA 32f", kBGRA, kBGRA32f},
    {"BGRA 32f -> BGRA", kBGRA32f, kBGRA},
    {"ARGB -> BGRA 32f", kARGB, kBGRA32f},
    {"BGRA -> BGRA linear", kBGRA, kBGRALinear},
    {"BGRA linear -> BGRA", kBGRALinear, kBGRA},
    {"BGRA -> BGRA 15u", kBGRA, kBGRA15},
    {"BGRA 15u -> BGRA", kBGRA15, kBGRA},

    Opaque("opaque BGRA 1080p -> 540p box", k1080, k540, kBox),
    Opaque("opaque BGRA 1080p -> 540p bilinear", k1080, k540, kBilinear),
    Opaque("opaque BGRA 1080p -> 720p bilinear", k1080, k720, kBilinear),
    Opaque("opaque BGRA 540p -> 1080p bilinear", k540, k1080, kBilinear),
    Opaque("opaque BGRA 1080p -> 540p bicubic", k1080, k540, kBicubic),
    Opaque("opaque BGRA 1080p -> 720p bicubic", k1080, k720, kBicubic),
    Opaque("opaque BGRA 540p -> 1080p bicubic", k540, k1080, kBicubic),
    Opaque("opaque BGRA 1080p -> 540p Lanczos", k1080, k540, kLanczos),
    Opaque("opaque BGRA 1080p -> 720p Lanczos", k1080, k720, kLanczos),
    Opaque("opaque BGRA 540p -> 1080p Lanczos", k540, k1080, kLanczos),
    {"BGRA 1080p -> 540p box", kBGRA, kBGRA, k1080, k540, kBox},
    {"BGRA 1080p -> 720p bilinear", kBGRA, kBGRA, k1080, k720, kBilinear},
    {"BGRA 540p -> 1080p bicubic", kBGRA, kBGRA, k540, k1080, kBicubic},
    {"BGRA 1080p -> 720p Lanczos", kBGRA, kBGRA, k1080, k720, kLanczos},
    {"BGRP 1080p -> 540p box", kBGRP, kBGRP, k1080, k540, kBox},
    {"BGRP 540p -> 1080p bicubic", kBGRP, kBGRP, k540, k1080, kBicubic},
    {"UYVY 1080p -> BGRA 540p box", kUYVY, kBGRA, k1080, k540, kBox},
    {"UYVY 1080p -> BGRA 540p bilinear", kUYVY, kBGRA, k1080, k540, kBilinear},
};

constexpr int kStripHeight = 16;
constexpr int kSmallerBy = 5; // divides all the sizes above into sizes of the same ratio

bool IsPlanar(PB_PixelFormat format) {
    return (format >> 24) != 0;
}

Image Packed(PB_PixelFormat format, Size size, int rowWidth, std::uint8_t* data) {
    const int pixels = rowWidth > 0 ? rowWidth : size.width;
    const auto rowBytes = static_cast<std::ptrdiff_t>(PB_PixelFormatSize(format, pixels, 1));
    return {data, format, size.width, size.height, IsPlanar(format) ? 0 : rowBytes};
}

class Ours final : public Worker {
public:
    explicit Ours(const Job& job) : mJob(job) {}
    const char* Name() const override { return "ours"; }
    void Run(const Image& in, const Image& out) override {
        const int inRow = static_cast<int>(in.rowBytes), outRow = static_cast<int>(out.rowBytes);
        if (mJob.kind == Kind::Fill) {
            PB_FillWithOpaqueWhite(out.data, outRow, out.width, out.height, out.format);
        } else if (mJob.Scales()) {
            PB_ScaleConvert(in.data, inRow, in.width, in.height, in.format, 0, out.data, outRow, out.width, out.height,
                            out.format, 0, mJob.quality);
        } else {
            PB_Convert(in.data, inRow, in.format, out.data, outRow, out.format, in.width, in.height, mJob.quality);
        }
    }

private:
    Job mJob;
};

} // namespace

std::span<const Job> AllJobs() {
    return kJobs;
}

Content Job::SourceContent() const {
    const bool floats = !IsPlanar(from) && (from & 0x100) != 0;
    return floats ? Content::Floats : opaque ? Content::Opaque : Content::Codes;
}

Job SmallJob(const Job& job) {
    Job small = job;
    if (job.Scales()) {
        small.in = {job.in.width / kSmallerBy, job.in.height / kSmallerBy};
        small.out = {job.out.width / kSmallerBy, job.out.height / kSmallerBy};
    } else {
        small.in.height = small.out.height = kStripHeight;
    }
    return small;
}

std::ptrdiff_t Image::PixelBytes() const {
    return static_cast<std::ptrdiff_t>(PB_PixelFormatSize(format, width, IsPlanar(format) ? height : 1));
}

std::size_t Image::Bytes() const {
    return PB_PixelFormatSize(format, width, height);
}

Image SourceOf(const Job& job, std::uint8_t* data) {
    return Packed(job.from, job.in, job.rowWidth, data);
}

Image DestinationOf(const Job& job, std::uint8_t* data) {
    return Packed(job.to, job.out, job.rowWidth, data);
}

std::unique_ptr<Worker> MakeOurs(const Job& job) {
    return std::make_unique<Ours>(job);
}

} // namespace converterbench
