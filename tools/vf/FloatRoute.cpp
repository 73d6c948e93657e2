#include "PictureRoutes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace tool {
namespace {

using namespace zynmediatypes;

bool IsMadeOfIntegerSamples(const PictureToLoad& source) {
    constexpr auto unlike = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
    return (source.layout.flags & unlike) == 0 && source.picture.format != AV_PIX_FMT_MONOWHITE &&
           std::strncmp(source.layout.name, "xyz", 3) != 0;
}

// Value = (sample - zero) / scale.
struct Coding {
    double zero = 0;
    double scale = 1;
};

// Narrow range per ITU-R BT.709-6 and BT.601-7: luma 16 to 235, chroma 16 to 240 around 128, times a power of two.
Coding CodingOf(const PictureToLoad& source, int component) {
    const int depth = source.layout.comp[component].depth;
    const double full = std::ldexp(1.0, depth) - 1;
    const double unit = std::ldexp(1.0, depth - 8);
    const bool alpha = source.HasAlpha() && component == source.layout.nb_components - 1;
    const bool luma = component == 0 || source.IsGrey();
    if (source.IsRGB() || alpha) {
        return {0, full};
    }
    if (luma) {
        return source.colour.fullRange ? Coding{0, full} : Coding{16 * unit, 219 * unit};
    }
    return source.colour.fullRange ? Coding{128 * unit, full} : Coding{128 * unit, 224 * unit};
}

// A position between two samples of a line, or two lines of a plane.
struct Between {
    int first = 0;
    int second = 0;
    double weightOfSecond = 0;

    static Between At(double position, int count) {
        const double floor = std::floor(position);
        const auto index = static_cast<int>(floor);
        return {std::clamp(index, 0, count - 1), std::clamp(index + 1, 0, count - 1), position - floor};
    }
    template <class T>
    double Of(const T& values) const {
        return (1 - weightOfSecond) * values[static_cast<std::size_t>(first)] +
               weightOfSecond * values[static_cast<std::size_t>(second)];
    }
};

// Reads one component at full resolution, line by line.
class ComponentReader {
public:
    ComponentReader(const PictureToLoad& source, int component)
        : mSource(source), mComponent(component), mCoding(CodingOf(source, component)) {
        const bool chroma = !source.IsRGB() && (component == 1 || component == 2) && !source.IsGrey();
        mShiftX = chroma ? source.layout.log2_chroma_w : 0;
        mShiftY = chroma ? source.layout.log2_chroma_h : 0;
        mWidth = AV_CEIL_RSHIFT(source.picture.width, mShiftX);
        mHeight = AV_CEIL_RSHIFT(source.picture.height, mShiftY);
        mSamples.resize(static_cast<std::size_t>(mWidth));
        mLine.resize(static_cast<std::size_t>(mWidth));
    }

    void Read(int y, float* out, int outStep) {
        if (mShiftY == 0) {
            ReadSamples(y);
            mLine.assign(mSamples.begin(), mSamples.end());
        } else {
            InterpolateLines(y);
        }
        for (int x = 0; x < mSource.picture.width; ++x) {
            const double sample =
                mShiftX == 0 ? mLine[static_cast<std::size_t>(x)] : Between::At(ChromaColumn(x), mWidth).Of(mLine);
            out[x * outStep] = static_cast<float>((sample - mCoding.zero) / mCoding.scale);
        }
    }

private:
    void ReadSamples(int line) {
        // Constant in meaning; the library declares the array of planes without it.
        const std::uint8_t* planes[4] = {mSource.picture.data[0], mSource.picture.data[1], mSource.picture.data[2],
                                         mSource.picture.data[3]};
        av_read_image_line2(mSamples.data(), planes, mSource.picture.linesize, &mSource.layout, 0, line, mComponent,
                            mWidth, 0, sizeof(std::uint32_t));
    }

    void InterpolateLines(int y) {
        const Between lines = ChromaLines(y);
        ReadSamples(lines.first);
        for (std::size_t x = 0; x < mLine.size(); ++x) {
            mLine[x] = (1 - lines.weightOfSecond) * mSamples[x];
        }
        ReadSamples(lines.second);
        for (std::size_t x = 0; x < mLine.size(); ++x) {
            mLine[x] += lines.weightOfSecond * mSamples[x];
        }
    }

    double ChromaColumn(int x) const {
        const double step = 1 << mShiftX;
        return mSource.colour.centredChroma ? (x + 0.5) / step - 0.5 : x / step;
    }

    // Lines of chroma lie between the lines of luma; those of an interlaced picture belong to one field, at a quarter
    // of the distance between two luma lines of the field (ISO/IEC 13818-2, 6.1.1.8).
    Between ChromaLines(int y) const {
        if (mSource.picture.interlaced_frame && mShiftY == 1 && mHeight > 1) {
            const int field = y & 1;
            const int lineOfField = y / 2;
            const double position = lineOfField / 2.0 - (field == 0 ? 0.125 : 0.375);
            Between lines = Between::At(position, (mHeight + 1 - field) / 2);
            lines.first = 2 * lines.first + field;
            lines.second = 2 * lines.second + field;
            return lines;
        }
        const double step = 1 << mShiftY;
        const bool onTheFirstLine = mSource.picture.chroma_location == AVCHROMA_LOC_TOPLEFT;
        return Between::At(onTheFirstLine ? y / step : (y + 0.5) / step - 0.5, mHeight);
    }

    const PictureToLoad& mSource;
    int mComponent;
    Coding mCoding;
    int mShiftX = 0;
    int mShiftY = 0;
    int mWidth = 0;
    int mHeight = 0;
    std::vector<std::uint32_t> mSamples; // one line of the plane
    std::vector<double> mLine;           // the same, interpolated between lines
};

PixelFormat FloatFormatFor(const PictureToLoad& source) {
    if (source.IsRGB() || source.IsGrey()) {
        return kPixelFormat_BGRA_4444_32f;
    }
    return source.colour.matrix == Matrix::BT709 ? kPixelFormat_VUYA_4444_32f_709 : kPixelFormat_VUYA_4444_32f;
}

} // namespace

Frame LoadFloat(const PictureToLoad& source) {
    const bool yuv = !source.IsRGB() && !source.IsGrey();
    if (!IsMadeOfIntegerSamples(source) || (yuv && !source.HasLibraryMatrix())) {
        return {};
    }
    const AVFrame& picture = source.picture;
    std::vector<ComponentReader> readers;
    readers.reserve(source.layout.nb_components);
    for (int component = 0; component < source.layout.nb_components; ++component) {
        readers.emplace_back(source, component);
    }
    // Components come as R, G, B, A or Y, U, V, A; rows hold B, G, R, A or V, U, Y, A.
    constexpr std::array<int, 4> channelOf{2, 1, 0, 3};
    Frame frame = MakeFrame(FloatFormatFor(source), picture.width, picture.height, source.aspectRatio);
    const FrameRows rows(frame);
    for (int y = 0; y < picture.height; ++y) {
        auto* out = rows.Row<float>(y);
        for (std::size_t component = 0; component < readers.size(); ++component) {
            const bool alphaOfGrey = source.IsGrey() && component == 1;
            readers[component].Read(y, out + (alphaOfGrey ? 3 : channelOf[component]), 4);
        }
        for (int x = 0; x < picture.width; ++x) {
            float* pixel = out + 4 * x;
            if (source.IsGrey()) {
                pixel[0] = pixel[1] = pixel[2];
            }
            if (!source.HasAlpha()) {
                pixel[3] = 1.0F;
            }
        }
    }
    return frame;
}

} // namespace tool
