#pragma once

#include "OutputFile.h"
#include "PictureWriter.h"

#include <optional>

namespace tool {

/// Uncompressed YUV4MPEG2 of 8-bit 4:2:0, studio range, for other programs to read.
class Y4mWriter final : public PictureWriter {
public:
    Y4mWriter(const std::string& path, const OutputSettings& settings) : mPath(path), mSettings(settings) {}

    void Write(const Frame& frame, std::int64_t frameTime, std::int64_t pictureNumber, Matrix matrix) override;
    void Finish() override;
    std::string Description() const override { return mPath; }

private:
    void WriteHeader(const Frame& frame);

    std::string mPath;
    OutputSettings mSettings;
    std::optional<OutputFile> mFile;
};

} // namespace tool
