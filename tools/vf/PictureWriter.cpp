#include "PictureWriter.h"

#include "ExitCodes.h"
#include "NumberedName.h"
#include "PlanarKinds.h"
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

zynmediatypes::PixelFormat PlanarFormatFor(const Frame& frame, Matrix matrix, ChromaSiting siting) {
    const auto fields = frame->GetFieldType();
    PlanarKind kind;
    kind.bt709 = (matrix == Matrix::Other ? DefaultMatrix(HeightOf(frame)) : matrix) == Matrix::BT709;
    kind.fieldPictures =
        fields == zynmediatypes::kFieldType_UpperFirst || fields == zynmediatypes::kFieldType_LowerFirst;
    kind.centredChroma = siting == ChromaSiting::Centre;
    return PlanarFormat(kind);
}

} // namespace tool
