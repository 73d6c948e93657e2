#pragma once

#include "NumberedName.h"
#include "PictureWriter.h"

namespace tool {

/// 8-bit PNG stills: RGBA when the frame has alpha, else RGB. One file, or one per picture, numbered by the picture's
/// place in the source, when the name holds a %d.
class PngWriter final : public PictureWriter {
public:
    PngWriter(const std::string& path, const OutputSettings& settings);

    void Write(const Frame& frame, std::int64_t frameTime, std::int64_t pictureNumber, Matrix matrix) override;
    void Finish() override {}
    std::string Description() const override { return mPath; }

private:
    std::string mPath;
    NumberedName mName;
    OutputSettings mSettings;
};

} // namespace tool
