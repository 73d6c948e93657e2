#include "PngWriter.h"

#include "ExitCodes.h"
#include "FrameConverter.h"
#include "OutputFile.h"

#include <spng.h>

#include <vector>

namespace tool {
namespace {

// zlib's levels above give files a few per cent smaller in several times the time.
constexpr int kCompressionLevel = 4;

class Encoder {
public:
    Encoder(OutputFile& file, const std::string& name)
        : mFile(file), mName(name), mContext(spng_ctx_new(SPNG_CTX_ENCODER)) {
        if (!mContext) {
            throw std::bad_alloc();
        }
        Check(spng_set_png_stream(mContext.get(), &Encoder::Deliver, this));
        Check(spng_set_option(mContext.get(), SPNG_IMG_COMPRESSION_LEVEL, kCompressionLevel));
    }

    void Begin(std::uint32_t width, std::uint32_t height, bool alpha, zynmediatypes::PixelAspectRatio ratio) {
        spng_ihdr header{};
        header.width = width;
        header.height = height;
        header.bit_depth = 8;
        header.color_type = alpha ? SPNG_COLOR_TYPE_TRUECOLOR_ALPHA : SPNG_COLOR_TYPE_TRUECOLOR;
        Check(spng_set_ihdr(mContext.get(), &header));
        if (ratio.numerator != ratio.denominator) {
            // Pixels per unit: the wider a pixel, the fewer fit across.
            spng_phys density{ratio.denominator, ratio.numerator, 0};
            Check(spng_set_phys(mContext.get(), &density));
        }
        Check(spng_encode_image(mContext.get(), nullptr, 0, SPNG_FMT_PNG,
                                SPNG_ENCODE_PROGRESSIVE | SPNG_ENCODE_FINALIZE));
    }

    void Row(const std::vector<std::uint8_t>& row) {
        const int result = spng_encode_row(mContext.get(), row.data(), row.size());
        if (result != SPNG_EOI) { // what the last row answers
            Check(result);
        }
    }

private:
    static int Deliver(spng_ctx*, void* user, void* data, std::size_t sizeInBytes) {
        auto* self = static_cast<Encoder*>(user);
        try { // the caller is C
            self->mFile.Write(data, sizeInBytes);
            return 0;
        } catch (const Failure& failure) {
            self->mWriteError = failure.what();
            return SPNG_IO_ERROR;
        }
    }

    void Check(int result) const {
        if (result != 0) {
            throw Failure(ExitCode::WriteFailed,
                          mWriteError.empty() ? mName + ": " + spng_strerror(result) : mWriteError);
        }
    }

    struct FreeContext {
        void operator()(spng_ctx* context) const noexcept { spng_ctx_free(context); }
    };
    OutputFile& mFile;
    std::string mName;
    std::string mWriteError;
    std::unique_ptr<spng_ctx, FreeContext> mContext;
};

} // namespace

PngWriter::PngWriter(const std::string& path, const OutputSettings& settings)
    : mPath(path), mName(path), mSettings(settings) {}

void PngWriter::Write(const Frame& frame, std::int64_t, std::int64_t pictureNumber, Matrix) {
    const int width = WidthOf(frame);
    const int height = HeightOf(frame);
    const Frame bgra = ConvertFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, width, height, mSettings.quality);
    // A frame whose format has no alpha channel has none to write either, whatever its copy could hold.
    const bool alpha = frame->HasAlpha() && bgra->HasAlpha();

    const std::string name = mName.HasNumber() ? mName.Name(pictureNumber) : mPath;
    OutputFile file(name);
    Encoder encoder(file, name);
    encoder.Begin(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), alpha,
                  frame->GetPixelAspectRatio());
    const FrameRows rows(bgra);
    const std::size_t channels = alpha ? 4 : 3;
    std::vector<std::uint8_t> line(static_cast<std::size_t>(width) * channels);
    for (int y = 0; y < height; ++y) {
        const auto* pixel = rows.Row<const std::uint8_t>(y);
        for (std::size_t at = 0; at < line.size(); at += channels, pixel += 4) {
            line[at] = pixel[2];
            line[at + 1] = pixel[1];
            line[at + 2] = pixel[0];
            if (alpha) {
                line[at + 3] = pixel[3];
            }
        }
        encoder.Row(line);
    }
    file.Close();
}

} // namespace tool
