#include "Peers.h"
#include "Planes.h"
#include "ReferencePixels.h"
#include "RowPacking.h"

#include <zimg.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace converterbench {
namespace {

using reference::Alpha;
using reference::Layout;

enum class Samples { Codes, Floats };

zimg_image_format GraphFormat(const reference::Format& format, const reference::Format& other, Size size,
                              Samples samples, bool scales) {
    zimg_image_format result;
    zimg_image_format_default(&result, ZIMG_API_VERSION);
    result.width = static_cast<unsigned>(size.width);
    result.height = static_cast<unsigned>(size.height);
    const bool floats = samples == Samples::Floats || format.layout == Layout::Floats;
    result.pixel_type = floats ? ZIMG_PIXEL_FLOAT : format.layout == Layout::V210 ? ZIMG_PIXEL_WORD : ZIMG_PIXEL_BYTE;
    result.depth = floats ? 32 : format.layout == Layout::V210 ? 10 : 8;
    result.color_family = format.yuv ? ZIMG_COLOR_YUV : ZIMG_COLOR_RGB;
    result.matrix_coefficients = !format.yuv ? ZIMG_MATRIX_RGB : format.bt709 ? ZIMG_MATRIX_BT709 : ZIMG_MATRIX_ST170_M;
    if (format.linear != other.linear) {
        result.transfer_characteristics = format.linear ? ZIMG_TRANSFER_LINEAR : ZIMG_TRANSFER_IEC_61966_2_1;
        result.color_primaries = ZIMG_PRIMARIES_BT709;
    }
    result.pixel_range = format.yuv && !format.fullRange ? ZIMG_RANGE_LIMITED : ZIMG_RANGE_FULL;
    result.subsample_w = format.Is444() ? 0 : 1;
    result.subsample_h = format.HasRows() ? 0 : 1;
    result.chroma_location = format.centred ? ZIMG_CHROMA_CENTER : ZIMG_CHROMA_LEFT;
    if (format.alpha != Alpha::None && other.alpha != Alpha::None) {
        // Where alpha stays as it is, naming it straight would have colours multiplied on the way; scaling wants that.
        const bool straight = format.alpha == Alpha::Straight && (other.alpha != format.alpha || scales);
        result.alpha = straight ? ZIMG_ALPHA_STRAIGHT : ZIMG_ALPHA_PREMULTIPLIED;
    }
    return result;
}

// One side of a graph: planar pictures lie as it wants them; of others it sees a few rows, unpacked.
class Side {
public:
    Side(PB_PixelFormat format, const zimg_image_format& graph, unsigned rows)
        : mFormat(format), mFloats(graph.pixel_type == ZIMG_PIXEL_FLOAT) {
        if (!mFormat.HasRows()) {
            return;
        }
        mMask = zimg_select_buffer_mask(rows);
        const unsigned held = mMask == ZIMG_BUFFER_MAX ? graph.height : mMask + 1;
        const std::size_t sampleBytes = mFloats ? 4 : mFormat.layout == Layout::V210 ? 2 : 1;
        mStride = ((graph.width + 6) * sampleBytes + 63) / 64 * 64;
        mPlaneBytes = mStride * held;
        mRing.reset(static_cast<std::uint8_t*>(std::aligned_alloc(64, 4 * mPlaneBytes)));
        std::memset(mRing.get(), 0xFF, 4 * mPlaneBytes); // alpha that the graph does not know stays opaque
        if (mFloats) {
            std::fill_n(reinterpret_cast<float*>(mRing.get()), mPlaneBytes, 1.0F);
        }
    }

    bool HasRows() const { return mFormat.HasRows(); }
    void Attach(const Image& image) { mImage = image; }

    // Buffer is zimg's, for reading or for writing.
    template <class Buffer>
    Buffer Describe() const {
        Buffer buffer{};
        buffer.version = ZIMG_API_VERSION;
        for (int p = 0; p < 4; ++p) {
            if (HasRows()) {
                buffer.plane[p] = {mRing.get() + mPlaneBytes * static_cast<std::size_t>(p),
                                   static_cast<std::ptrdiff_t>(mStride), mMask};
            } else if (p < 3) {
                const Planes planes(*mImage);
                buffer.plane[p] = {planes.data[p], planes.stride[p], ZIMG_BUFFER_MAX};
            }
        }
        return buffer;
    }

    void Unpack(unsigned row, unsigned left, unsigned right) const { WithRow<false>(row, left, right); }
    void Pack(unsigned row, unsigned left, unsigned right) const { WithRow<true>(row, left, right); }

private:
    struct Free {
        void operator()(std::uint8_t* block) const { std::free(block); }
    };

    // A picture with rows starts at the bottom, zimg at the top.
    template <bool packs>
    void WithRow(unsigned row, unsigned left, unsigned right) const {
        std::uint8_t* const pixels =
            mImage->data + (mImage->height - 1 - static_cast<std::ptrdiff_t>(row)) * mImage->rowBytes;
        const std::size_t count = right - left;
        switch (mFormat.layout) {
        case Layout::Bytes:
            return mFloats ? Four<packs, float>(row, left, count, pixels)
                           : Four<packs, std::uint8_t>(row, left, count, pixels);
        case Layout::Floats:
            return Four<packs, float>(row, left, count, reinterpret_cast<float*>(pixels));
        case Layout::Pairs: {
            const auto planes = Subsampled<std::uint8_t>(row, left);
            return packs ? PackPairs(planes.data(), count, mFormat.alphaFirst, pixels + std::size_t{2} * left)
                         : UnpackPairs(pixels + std::size_t{2} * left, count, mFormat.alphaFirst, planes.data());
        }
        case Layout::V210: {
            // Groups of six that begin left of here keep their pixels.
            const unsigned first = left / 6 * 6;
            std::uint8_t* const group = pixels + std::size_t{first} / 6 * 16;
            const auto planes = Subsampled<std::uint16_t>(row, first);
            if constexpr (packs) {
                if (first < left) {
                    RestoreHead(planes, left - first, group);
                }
                return PackV210(planes.data(), right - first, group);
            } else {
                return UnpackV210(group, right - first, planes.data());
            }
        }
        case Layout::Words:
        case Layout::Planar:
            break;
        }
    }

    // Takes the first pixels of a group back from where they were packed before.
    static void RestoreHead(const std::array<std::uint16_t*, 3>& planes, unsigned pixels, const std::uint8_t* group) {
        std::uint16_t y[6], u[3], v[3];
        std::uint16_t* const old[] = {y, u, v};
        UnpackV210(group, 6, old);
        std::copy_n(y, pixels, planes[0]);
        std::copy_n(u, pixels / 2, planes[1]);
        std::copy_n(v, pixels / 2, planes[2]);
    }

    template <bool packs, class Sample, class Pixel>
    void Four(unsigned row, unsigned left, std::size_t count, Pixel* pixels) const {
        // Ours are B G R A and V U Y A, zimg's R G B A and Y U V A.
        Sample* planes[4];
        for (int c = 0; c < 4; ++c) {
            const int canonical = mFormat.alphaFirst ? 3 - c : c;
            planes[c] = Place<Sample>(canonical == 3 ? 3 : 2 - canonical, row) + left;
        }
        if constexpr (packs) {
            Pack4(planes, count, pixels + std::size_t{4} * left);
        } else {
            Unpack4(pixels + std::size_t{4} * left, count, planes);
        }
    }

    template <class Sample>
    std::array<Sample*, 3> Subsampled(unsigned row, unsigned left) const {
        return {Place<Sample>(0, row) + left, Place<Sample>(1, row) + left / 2, Place<Sample>(2, row) + left / 2};
    }

    template <class Sample>
    Sample* Place(int plane, unsigned row) const {
        return reinterpret_cast<Sample*>(mRing.get() + mPlaneBytes * static_cast<std::size_t>(plane) +
                                         mStride * (row & mMask));
    }

    reference::Format mFormat;
    bool mFloats;
    unsigned mMask = 0;
    std::size_t mStride = 0, mPlaneBytes = 0;
    std::unique_ptr<std::uint8_t, Free> mRing;
    std::optional<Image> mImage;
};

class Zimg final : public Worker {
public:
    Zimg(const Job& job, Samples samples) : mSamples(samples) {
        const reference::Format from(job.from), to(job.to);
        const zimg_image_format in = GraphFormat(from, to, job.in, samples, job.Scales());
        const zimg_image_format out = GraphFormat(to, from, job.out, samples, job.Scales());
        constexpr zimg_resample_filter_e kFilters[] = {ZIMG_RESIZE_POINT, ZIMG_RESIZE_BILINEAR, ZIMG_RESIZE_BICUBIC,
                                                       ZIMG_RESIZE_LANCZOS};
        zimg_graph_builder_params parameters;
        zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
        if (job.Scales()) {
            parameters.resample_filter = kFilters[job.quality - 1];
            parameters.filter_param_a = job.quality == 3 ? 0.0 : 3.0; // Keys' with a = -1/2, or three lobes
            parameters.filter_param_b = 0.5;
        }
        parameters.cpu_type = ZIMG_CPU_AUTO_64B;
        parameters.allow_approximate_gamma = 1;
        mGraph.reset(zimg_filter_graph_build(&in, &out, &parameters));
        unsigned inRows = 0, outRows = 0;
        std::size_t temporary = 0;
        if (!mGraph || zimg_filter_graph_get_input_buffering(mGraph.get(), &inRows) != 0 ||
            zimg_filter_graph_get_output_buffering(mGraph.get(), &outRows) != 0 ||
            zimg_filter_graph_get_tmp_size(mGraph.get(), &temporary) != 0) {
            mGraph.reset();
            return;
        }
        mIn.emplace(job.from, in, inRows);
        mOut.emplace(job.to, out, outRows);
        mTemporary.reset(std::aligned_alloc(64, (temporary + 64) / 64 * 64));
    }

    bool KnowsJob() const { return mGraph != nullptr; }
    const char* Name() const override { return mSamples == Samples::Floats ? "zimg float" : "zimg"; }

    void Run(const Image& in, const Image& out) override {
        mIn->Attach(in);
        mOut->Attach(out);
        const auto from = mIn->Describe<zimg_image_buffer_const>();
        const auto to = mOut->Describe<zimg_image_buffer>();
        const auto unpack = [](void* side, unsigned row, unsigned left, unsigned right) {
            static_cast<const Side*>(side)->Unpack(row, left, right);
            return 0;
        };
        const auto pack = [](void* side, unsigned row, unsigned left, unsigned right) {
            static_cast<const Side*>(side)->Pack(row, left, right);
            return 0;
        };
        zimg_filter_graph_process(mGraph.get(), &from, &to, mTemporary.get(), mIn->HasRows() ? +unpack : nullptr, &*mIn,
                                  mOut->HasRows() ? +pack : nullptr, &*mOut);
    }

private:
    struct Free {
        void operator()(void* block) const { std::free(block); }
        void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
    };

    Samples mSamples;
    std::unique_ptr<zimg_filter_graph, Free> mGraph;
    std::optional<Side> mIn, mOut;
    std::unique_ptr<void, Free> mTemporary;
};

std::unique_ptr<Worker> Make(const Job& job, Samples samples) {
    auto worker = std::make_unique<Zimg>(job, samples);
    return worker->KnowsJob() ? std::move(worker) : nullptr;
}

// It neither copies nor reorders bytes, has no 15-bit codes, no box filter and no chroma of fields in whole pictures.
bool Knows(const Job& job) {
    const reference::Format from(job.from), to(job.to);
    const bool reorders = (job.from & ~0x1000) == (job.to & ~0x1000) && !job.Scales();
    return job.kind == Kind::Convert && !reorders && from.layout != Layout::Words && to.layout != Layout::Words &&
           !from.fields && !to.fields && (!job.Scales() || job.quality > 1);
}

} // namespace

std::unique_ptr<Worker> MakeZimg(const Job& job) {
    return Knows(job) ? Make(job, Samples::Codes) : nullptr;
}

std::unique_ptr<Worker> MakeZimgFloat(const Job& job) {
    const bool fourBytes = reference::Format(job.from).layout == Layout::Bytes && job.from == job.to;
    return Knows(job) && job.Scales() && fourBytes ? Make(job, Samples::Floats) : nullptr;
}

} // namespace converterbench
