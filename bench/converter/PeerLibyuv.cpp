#include "Peers.h"
#include "Planes.h"
#include "RowPacking.h"

#include <libyuv.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace converterbench {
namespace {

// What passes between two functions: planes of samples.
class Scratch {
public:
    std::uint8_t* Bytes(std::size_t count) {
        if (mBytes.size() < count) {
            mBytes.resize(count);
        }
        return mBytes.data();
    }

private:
    std::vector<std::uint8_t> mBytes;
};

using Function = void(const Image& in, const Image& out, const Job& job, Scratch& scratch);

template <auto function>
void OneToOne(const Image& in, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    const Planes from(in), to(out);
    function(from.data[0], from.stride[0], to.data[0], to.stride[0], in.width, in.height);
}
template <auto function>
void OneToThree(const Image& in, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    const Planes from(in), to(out);
    function(from.data[0], from.stride[0], to.data[0], to.stride[0], to.data[1], to.stride[1], to.data[2], to.stride[2],
             in.width, in.height);
}
template <auto function>
void ThreeToOne(const Image& in, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    const Planes from(in), to(out);
    function(from.data[0], from.stride[0], from.data[1], from.stride[1], from.data[2], from.stride[2], to.data[0],
             to.stride[0], in.width, in.height);
}

void Copy(const Image& in, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    const Planes from(in), to(out);
    libyuv::CopyPlane(from.data[0], from.stride[0], to.data[0], to.stride[0], static_cast<int>(in.PixelBytes()),
                      in.height);
}

void Fill(const Image& /*in*/, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    libyuv::ARGBRect(out.data, static_cast<int>(out.rowBytes), 0, 0, out.width, out.height, 0xFFFFFFFF);
}

// 255 is to become 32768, of which it reaches 32767.
void To15(const Image& in, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    libyuv::Convert8To16Plane(in.data, static_cast<int>(in.rowBytes), reinterpret_cast<std::uint16_t*>(out.data),
                              static_cast<int>(out.rowBytes / 2), 32768, 4 * in.width, in.height);
}
void From15(const Image& in, const Image& out, const Job& /*job*/, Scratch& /*scratch*/) {
    libyuv::Convert16To8Plane(reinterpret_cast<const std::uint16_t*>(in.data), static_cast<int>(in.rowBytes / 2),
                              out.data, static_cast<int>(out.rowBytes), 510, 4 * in.width, in.height);
}

// It knows the matrix of BT.709 for planes only; a few rows at a time stay in the cache.
void UyvyOf709ToBgra(const Image& in, const Image& out, const Job& /*job*/, Scratch& scratch) {
    constexpr int kRows = 8;
    const int width = in.width, half = (width + 1) / 2;
    std::uint8_t* const y = scratch.Bytes(std::size_t{2} * kRows * (static_cast<std::size_t>(width) + 1));
    std::uint8_t *const u = y + kRows * width, *const v = u + kRows * half;
    for (int row = 0; row < in.height; row += kRows) {
        const int rows = std::min(kRows, in.height - row);
        libyuv::UYVYToI422(in.data + row * in.rowBytes, static_cast<int>(in.rowBytes), y, width, u, half, v, half,
                           width, rows);
        libyuv::H422ToARGB(y, width, u, half, v, half, out.data + row * out.rowBytes, static_cast<int>(out.rowBytes),
                           width, rows);
    }
}

// It reads 10-bit planes; unpacking them is ours.
template <auto function>
void V210ToBgra(const Image& in, const Image& out, const Job& /*job*/, Scratch& scratch) {
    const auto width = static_cast<std::size_t>(in.width), padded = width + 6;
    auto* const y = reinterpret_cast<std::uint16_t*>(scratch.Bytes(2 * 2 * padded));
    std::uint16_t *const u = y + padded, *const v = u + padded / 2;
    for (int row = 0; row < in.height; ++row) {
        std::uint16_t* const planes[] = {y, u, v};
        UnpackV210(in.data + row * in.rowBytes, width, planes);
        function(y, 0, u, 0, v, 0, out.data + row * out.rowBytes, 0, in.width, 1);
    }
}

libyuv::FilterMode FilterOf(const Job& job) {
    return job.quality <= 1 ? libyuv::kFilterBox : libyuv::kFilterBilinear;
}

void ScaleBgra(const Image& in, const Image& out, const Job& job, Scratch& /*scratch*/) {
    libyuv::ARGBScale(in.data, static_cast<int>(in.rowBytes), in.width, in.height, out.data,
                      static_cast<int>(out.rowBytes), out.width, out.height, FilterOf(job));
}

void ScaleUyvyToBgra(const Image& in, const Image& out, const Job& job, Scratch& scratch) {
    const int w = in.width, half = w / 2, outW = out.width, outHalf = outW / 2;
    const auto pixels = static_cast<std::size_t>(w) * static_cast<std::size_t>(in.height);
    const auto outPixels = static_cast<std::size_t>(outW) * static_cast<std::size_t>(out.height);
    std::uint8_t* const y = scratch.Bytes(2 * pixels + 2 * outPixels);
    std::uint8_t *const u = y + pixels, *const v = u + pixels / 2;
    std::uint8_t *const outY = v + pixels / 2, *const outU = outY + outPixels, *const outV = outU + outPixels / 2;
    libyuv::UYVYToI422(in.data, static_cast<int>(in.rowBytes), y, w, u, half, v, half, w, in.height);
    libyuv::I422Scale(y, w, u, half, v, half, w, in.height, outY, outW, outU, outHalf, outV, outHalf, outW, out.height,
                      FilterOf(job));
    libyuv::I422ToARGB(outY, outW, outU, outHalf, outV, outHalf, out.data, static_cast<int>(out.rowBytes), outW,
                       out.height);
}

// Its names read a pixel as a 32-bit number: ARGB is B G R A in memory.
struct Row {
    PB_PixelFormat from, to;
    bool scales;
    Function* function;
};
constexpr Row kRows[] = {
    {0x4, 0x4, false, Copy},
    {0x811, 0x811, false, Copy},
    {0x104, 0x104, false, Copy},
    {0x4, 0x1004, false, OneToOne<libyuv::ARGBToBGRA>},
    {0x1004, 0x4, false, OneToOne<libyuv::BGRAToARGB>},
    {0x4, 0x8, false, OneToOne<libyuv::ARGBAttenuate>},
    {0x8, 0x4, false, OneToOne<libyuv::ARGBUnattenuate>},
    {0x4, 0x811, false, OneToOne<libyuv::ARGBToUYVY>},
    {0x811, 0x4, false, OneToOne<libyuv::UYVYToARGB>},
    {0xA11, 0x4, false, UyvyOf709ToBgra},
    {0x4, 0xA000831, false, OneToThree<libyuv::ARGBToI420>},
    {0x4, 0xC000831, false, OneToThree<libyuv::ARGBToI420>},
    {0xA000831, 0x4, false, ThreeToOne<libyuv::I420ToARGB>},
    {0xC000831, 0x4, false, ThreeToOne<libyuv::I420ToARGB>},
    {0xA000A31, 0x4, false, ThreeToOne<libyuv::H420ToARGB>},
    {0x811, 0xA000831, false, OneToThree<libyuv::UYVYToI420>},
    {0xA000831, 0x811, false, ThreeToOne<libyuv::I420ToUYVY>},
    {0x851, 0x4, false, V210ToBgra<libyuv::I210ToARGB>},
    {0xA51, 0x4, false, V210ToBgra<libyuv::H210ToARGB>},
    {0x4, 0x84, false, To15},
    {0x84, 0x4, false, From15},
    {0x4, 0x4, true, ScaleBgra},
    {0x8, 0x8, true, ScaleBgra},
    {0x811, 0x4, true, ScaleUyvyToBgra},
};

class Libyuv final : public Worker {
public:
    Libyuv(const Job& job, Function* function) : mJob(job), mFunction(function) {}
    const char* Name() const override { return "libyuv"; }
    void Run(const Image& in, const Image& out) override { mFunction(in, out, mJob, mScratch); }

private:
    Job mJob;
    Function* mFunction;
    Scratch mScratch;
};

} // namespace

std::unique_ptr<Worker> MakeLibyuv(const Job& job) {
    if (job.kind == Kind::Fill) {
        return std::make_unique<Libyuv>(job, Fill);
    }
    if (job.Scales() && job.quality > 2) {
        return nullptr; // it has no wider filters
    }
    const auto* const row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& r) {
        return r.from == job.from && r.to == job.to && r.scales == job.Scales();
    });
    return row == std::end(kRows) ? nullptr : std::make_unique<Libyuv>(job, row->function);
}

} // namespace converterbench
