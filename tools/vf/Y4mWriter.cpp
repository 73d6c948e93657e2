#include "Y4mWriter.h"

#include "FrameConverter.h"
#include "VideoFrameInterfaces.h"

#include <string_view>

namespace tool {

void Y4mWriter::WriteHeader(const Frame& frame) {
    const auto ratio = frame->GetPixelAspectRatio();
    const auto fields = frame->GetFieldType();
    const char* interlacing = fields == zynmediatypes::kFieldType_UpperFirst   ? "t"
                              : fields == zynmediatypes::kFieldType_LowerFirst ? "b"
                                                                               : "p";
    const std::string header = "YUV4MPEG2 W" + std::to_string(WidthOf(frame)) + " H" + std::to_string(HeightOf(frame)) +
                               " F" + std::to_string(mSettings.frameRate.num) + ':' +
                               std::to_string(mSettings.frameRate.den) + " I" + interlacing + " A" +
                               std::to_string(ratio.numerator) + ':' + std::to_string(ratio.denominator) +
                               " C420mpeg2 XYSCSS=420MPEG2 XCOLORRANGE=LIMITED\n";
    mFile->Write(header.data(), header.size());
}

void Y4mWriter::Write(const Frame& frame, std::int64_t, std::int64_t, Matrix) {
    // The header cannot name the matrix, so the pictures have the one that readers assume for their height.
    const auto format = PlanarFormatFor(frame, DefaultMatrix(HeightOf(frame)), ChromaSiting::Left);
    const Frame planar = ConvertFrame(frame, format, WidthOf(frame), HeightOf(frame), mSettings.quality);
    if (!mFile) {
        mFile.emplace(mPath);
        WriteHeader(frame);
    }
    constexpr std::string_view marker = "FRAME\n";
    mFile->Write(marker.data(), marker.size());
    // The planes of a planar frame lie as the file wants them: top row first, without gaps.
    const auto memory = BRT::QueryInterface<VF::IVideoFrameMemoryAccess>(planar);
    mFile->Write(memory->GetData(), static_cast<std::size_t>(memory->GetDataSize()));
}

void Y4mWriter::Finish() {
    if (mFile) {
        mFile->Close();
    }
}

} // namespace tool
