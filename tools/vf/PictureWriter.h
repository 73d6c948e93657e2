#pragma once

/// Files that take pictures.

#include "Frames.h"
#include "Libav.h"
#include "PictureProperties.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tool {

/// What a file needs to know beside its pictures.
struct OutputSettings {
    AVRational frameRate{25, 1};
    zynmediatypes::RenderQuality quality = zynmediatypes::kRenderQuality_High;
};

/// Writes frames of any format that the library converts from, all of one size. Every failure to create or write the
/// file throws Failure(WriteFailed).
class PictureWriter {
public:
    virtual ~PictureWriter() = default;

    /// frameTime: when the picture is shown, counted in frames; pictureNumber: its place in the source, from 0;
    /// matrix: the source's, which the file keeps where it holds YUV.
    virtual void Write(const Frame& frame, std::int64_t frameTime, std::int64_t pictureNumber, Matrix matrix) = 0;

    /// Completes the file; must be called once after the last picture.
    virtual void Finish() = 0;

    /// What the summary says was written, for example "out.mp4 (libx264)".
    virtual std::string Description() const = 0;

    PictureWriter() = default;
    PictureWriter(const PictureWriter&) = delete;
    PictureWriter& operator=(const PictureWriter&) = delete;
};

/// The writer for a file name's extension: png, y4m, or any container of the media libraries. Throws Failure(Usage)
/// for other names. Nothing is created before the first picture.
std::unique_ptr<PictureWriter> MakeWriter(const std::string& path, const OutputSettings& settings);

/// Whether the name asks for one picture only: a png without a %d in it.
bool TakesOnePicture(const std::string& path);

/// Where 4:2:0 chroma lies: on the left luma column of its pair (MPEG-2 and later) or between the two.
enum class ChromaSiting { Left, Centre };

/// The planar format for 8-bit 4:2:0 output of a frame: studio range, frame or field pictures as the frame's field type
/// says. Matrix::Other becomes the default for the height.
zynmediatypes::PixelFormat PlanarFormatFor(const Frame& frame, Matrix matrix, ChromaSiting siting);

} // namespace tool
