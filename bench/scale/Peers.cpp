#include "Peers.h"

#include <libyuv/convert_argb.h>
#include <libyuv/scale_argb.h>
#include <zimg.h>
extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace scalebench {

namespace {

struct AlignedBuffer {
    explicit AlignedBuffer(std::size_t size) : data(std::aligned_alloc(64, (size + 63) / 64 * 64), std::free) {}
    std::unique_ptr<void, void (*)(void*)> data;
};

/// The rows that zimg holds of one side: as many as it asks for, reused round and round.
struct RowRing {
    RowRing(int width, unsigned mask, unsigned rows, std::size_t bytesPerSample)
        : mMask(mask), mStride((static_cast<std::size_t>(width) * bytesPerSample + 63) / 64 * 64),
          mPlaneBytes(mStride * rows), mBuffer(4 * mPlaneBytes) {}

    char* Plane(int plane) const { return static_cast<char*>(mBuffer.data.get()) + mPlaneBytes * std::size_t(plane); }
    unsigned Mask() const { return mMask; }
    std::ptrdiff_t Stride() const { return static_cast<std::ptrdiff_t>(mStride); }

    /// The four places of column left of a row. zimg's planes are in the order R G B A.
    template <class Sample>
    void Places(unsigned row, unsigned left, Sample* (&places)[4]) const {
        constexpr int kOrder[] = {2, 1, 0, 3};
        for (int p = 0; p < 4; ++p)
            places[p] = reinterpret_cast<Sample*>(Plane(kOrder[p]) + mStride * (row & mMask)) + left;
    }

private:
    unsigned mMask;
    std::size_t mStride;
    std::size_t mPlaneBytes;
    AlignedBuffer mBuffer;
};

void Check(bool fine) {
    if (!fine) {
        char text[256];
        zimg_get_last_error(text, sizeof text);
        throw std::runtime_error(std::string("zimg: ") + text);
    }
}

zimg_image_format FormatOf(int width, int height, bool floats) {
    zimg_image_format format;
    zimg_image_format_default(&format, ZIMG_API_VERSION);
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = floats ? ZIMG_PIXEL_FLOAT : ZIMG_PIXEL_BYTE;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.pixel_range = ZIMG_RANGE_FULL;
    format.alpha = ZIMG_ALPHA_PREMULTIPLIED; // the samples are filtered as they are
    return format;
}

zimg_resample_filter_e ZimgFilter(PixelBlitter::Filter filter) {
    switch (filter) {
    case PixelBlitter::Filter::Box:
        break;
    case PixelBlitter::Filter::Bilinear:
        return ZIMG_RESIZE_BILINEAR;
    case PixelBlitter::Filter::Bicubic:
        return ZIMG_RESIZE_BICUBIC;
    case PixelBlitter::Filter::Lanczos3:
        return ZIMG_RESIZE_LANCZOS;
    }
    return ZIMG_RESIZE_POINT;
}

template <class Sample>
class ZimgScaler {
public:
    explicit ZimgScaler(const JobSizes& sizes) {
        const PixelBlitter::Filter filter = sizes.filter;
        const zimg_image_format from = FormatOf(sizes.sourceWidth, sizes.sourceHeight, std::is_same_v<Sample, float>);
        const zimg_image_format to = FormatOf(sizes.width, sizes.height, std::is_same_v<Sample, float>);
        zimg_graph_builder_params parameters;
        zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
        parameters.resample_filter = ZimgFilter(filter);
        parameters.filter_param_a = filter == PixelBlitter::Filter::Bicubic ? 0.0 : 3.0;
        parameters.filter_param_b = 0.5;
        parameters.cpu_type = ZIMG_CPU_AUTO_64B;
        mGraph.reset(zimg_filter_graph_build(&from, &to, &parameters));
        Check(mGraph != nullptr);
        unsigned inRows = 0;
        unsigned outRows = 0;
        std::size_t temporary = 0;
        Check(!zimg_filter_graph_get_input_buffering(mGraph.get(), &inRows));
        Check(!zimg_filter_graph_get_output_buffering(mGraph.get(), &outRows));
        Check(!zimg_filter_graph_get_tmp_size(mGraph.get(), &temporary));
        mIn = MakeRing(sizes.sourceWidth, sizes.sourceHeight, inRows);
        mOut = MakeRing(sizes.width, sizes.height, outRows);
        mTemporary = std::make_unique<AlignedBuffer>(temporary);
    }

    void Run(const BgraPicture& source, BgraPicture& destination) {
        mSource = &source;
        mDestination = &destination;
        zimg_image_buffer_const in{};
        zimg_image_buffer out{};
        in.version = out.version = ZIMG_API_VERSION;
        for (int p = 0; p < 4; ++p) {
            in.plane[p] = {mIn->Plane(p), mIn->Stride(), mIn->Mask()};
            out.plane[p] = {mOut->Plane(p), mOut->Stride(), mOut->Mask()};
        }
        Check(!zimg_filter_graph_process(mGraph.get(), &in, &out, mTemporary->data.get(), &ZimgScaler::Unpack, this,
                                         &ZimgScaler::Pack, this));
    }

private:
    static std::unique_ptr<RowRing> MakeRing(int width, int height, unsigned rows) {
        const unsigned mask = zimg_select_buffer_mask(rows);
        const unsigned held = mask == ZIMG_BUFFER_MAX ? static_cast<unsigned>(height) : mask + 1;
        return std::make_unique<RowRing>(width, mask, held, sizeof(Sample));
    }

    static int Unpack(void* user, unsigned row, unsigned left, unsigned right) {
        const auto& self = *static_cast<ZimgScaler*>(user);
        Sample* places[4];
        self.mIn->Places(row, left, places);
        const std::uint8_t* const pixels = self.mSource->At(static_cast<int>(row), static_cast<int>(left));
        if constexpr (std::is_same_v<Sample, float>)
            UnpackFloat(pixels, right - left, places);
        else
            UnpackBytes(pixels, right - left, places);
        return 0;
    }

    static int Pack(void* user, unsigned row, unsigned left, unsigned right) {
        const auto& self = *static_cast<ZimgScaler*>(user);
        Sample* places[4];
        self.mOut->Places(row, left, places);
        std::uint8_t* const pixels = self.mDestination->At(static_cast<int>(row), static_cast<int>(left));
        if constexpr (std::is_same_v<Sample, float>)
            PackFloat(places, right - left, pixels);
        else
            PackBytes(places, right - left, pixels);
        return 0;
    }

    const BgraPicture* mSource = nullptr;
    BgraPicture* mDestination = nullptr;
    std::unique_ptr<zimg_filter_graph, void (*)(zimg_filter_graph*)> mGraph{nullptr, zimg_filter_graph_free};
    std::unique_ptr<RowRing> mIn;
    std::unique_ptr<RowRing> mOut;
    std::unique_ptr<AlignedBuffer> mTemporary;
};

template <class Sample>
Job JobOf(std::shared_ptr<ZimgScaler<Sample>> scaler) {
    return [scaler](const BgraPicture& source, BgraPicture& destination) { scaler->Run(source, destination); };
}

} // namespace

Job ZimgJob(const JobSizes& sizes, bool floats) {
    if (sizes.filter == PixelBlitter::Filter::Box)
        return {};
    return floats ? JobOf(std::make_shared<ZimgScaler<float>>(sizes))
                  : JobOf(std::make_shared<ZimgScaler<std::uint8_t>>(sizes));
}

Job SwscaleJob(const JobSizes& sizes) {
    int flags = SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
    double parameters[2] = {SWS_PARAM_DEFAULT, SWS_PARAM_DEFAULT};
    switch (sizes.filter) {
    case PixelBlitter::Filter::Box:
        return {};
    case PixelBlitter::Filter::Bilinear:
        flags |= SWS_BILINEAR;
        break;
    case PixelBlitter::Filter::Bicubic:
        flags |= SWS_BICUBIC;
        parameters[0] = 0.0;
        parameters[1] = 0.5;
        break;
    case PixelBlitter::Filter::Lanczos3:
        flags |= SWS_LANCZOS;
        break;
    }
    const std::shared_ptr<SwsContext> context(sws_getContext(sizes.sourceWidth, sizes.sourceHeight, AV_PIX_FMT_BGRA,
                                                             sizes.width, sizes.height, AV_PIX_FMT_BGRA, flags, nullptr,
                                                             nullptr, parameters),
                                              sws_freeContext);
    return [context](const BgraPicture& source, BgraPicture& destination) {
        const std::uint8_t* const from[] = {source.At(0, 0), nullptr, nullptr, nullptr};
        std::uint8_t* const to[] = {destination.At(0, 0), nullptr, nullptr, nullptr};
        const int fromStride[] = {source.RowBytes(), 0, 0, 0};
        const int toStride[] = {destination.RowBytes(), 0, 0, 0};
        sws_scale(context.get(), from, fromStride, 0, source.height, to, toStride);
    };
}

Job LibyuvJob(const JobSizes& sizes) {
    const bool box = sizes.filter == PixelBlitter::Filter::Box;
    if (!box && sizes.filter != PixelBlitter::Filter::Bilinear)
        return {};
    return [mode = box ? libyuv::kFilterBox : libyuv::kFilterBilinear](const BgraPicture& source,
                                                                       BgraPicture& destination) {
        libyuv::ARGBScale(source.At(0, 0), source.RowBytes(), source.width, source.height, destination.At(0, 0),
                          destination.RowBytes(), destination.width, destination.height, mode);
    };
}

Job SwscaleHalvingJob(const JobSizes& sizes) {
    const std::shared_ptr<SwsContext> context(
        sws_getContext(sizes.sourceWidth, sizes.sourceHeight, AV_PIX_FMT_UYVY422, sizes.width, sizes.height,
                       AV_PIX_FMT_BGRA, SWS_AREA | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr),
        sws_freeContext);
    return [context](const BgraPicture& source, BgraPicture& destination) {
        const std::uint8_t* const from[] = {source.At(0, 0), nullptr, nullptr, nullptr};
        std::uint8_t* const to[] = {destination.At(0, 0), nullptr, nullptr, nullptr};
        const int fromStride[] = {source.RowBytes(), 0, 0, 0};
        const int toStride[] = {destination.RowBytes(), 0, 0, 0};
        sws_scale(context.get(), from, fromStride, 0, source.height, to, toStride);
    };
}

Job LibyuvHalvingJob() {
    return [full = std::make_shared<BgraPicture>(0, 0)](const BgraPicture& source, BgraPicture& destination) {
        if (full->width == 0)
            *full = BgraPicture(2 * source.width, source.height);
        libyuv::UYVYToARGB(source.At(0, 0), source.RowBytes(), full->At(0, 0), full->RowBytes(), full->width,
                           full->height);
        libyuv::ARGBScale(full->At(0, 0), full->RowBytes(), full->width, full->height, destination.At(0, 0),
                          destination.RowBytes(), destination.width, destination.height, libyuv::kFilterBox);
    };
}

} // namespace scalebench
