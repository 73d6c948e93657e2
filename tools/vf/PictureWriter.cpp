#include "PictureWriter.h"

#include "ExitCodes.h"
#include "NumberedName.h"
#include "PngWriter.h"
#include "VideoWriter.h"
#include "Y4mWriter.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace tool {
namespace {

std::string ExtensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

} // namespace

std::unique_ptr<PictureWriter> MakeWriter(const std::string& path, const OutputSettings& settings) {
    const std::string extension = ExtensionOf(path);
    if (extension == ".png") {
        return std::make_unique<PngWriter>(path, settings);
    }
    if (extension == ".y4m") {
        return std::make_unique<Y4mWriter>(path, settings);
    }
    return std::make_unique<VideoWriter>(path, settings);
}

bool TakesOnePicture(const std::string& path) {
    return ExtensionOf(path) == ".png" && !NumberedName(path).HasNumber();
}

zynmediatypes::PixelFormat PlanarFormatFor(const Frame& frame, Matrix matrix) {
    using namespace zynmediatypes;
    const FieldType fields = frame->GetFieldType();
    const bool interlaced = fields == kFieldType_UpperFirst || fields == kFieldType_LowerFirst;
    const bool bt709 = (matrix == Matrix::Other ? DefaultMatrix(HeightOf(frame)) : matrix) == Matrix::BT709;
    if (interlaced) {
        return bt709 ? kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_709
                     : kPixelFormat_YUV_420_MPEG2_FIELD_PICTURE_PLANAR_8u_601;
    }
    return bt709 ? kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_709
                 : kPixelFormat_YUV_420_MPEG2_FRAME_PICTURE_PLANAR_8u_601;
}

} // namespace tool
