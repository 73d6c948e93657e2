#include "ExitCodes.h"
#include "FrameGuid.h"
#include "Options.h"
#include "PictureWriter.h"
#include "SharedFrame.h"
#include "SharingCommands.h"

#include <cstdio>
#include <memory>

namespace tool {

void Dump(const DumpArguments& arguments) {
    const Guid id = ParseFrame(arguments.frame);
    const auto wait = ParseSeconds("--wait", arguments.wait);
    if (!TakesOnePicture(arguments.output)) {
        throw Failure(ExitCode::Usage, arguments.output + ": a frame is written as .png, without a number in the name");
    }
    const LibraryGuard library;
    const SharingGuard sharing;
    boost::shared_ptr<framebroker::BinaryReference> block;
    const std::int32_t result = wait.count() > 0 ? framebroker::WaitForBinaryData(id, wait, block)
                                                 : framebroker::GetBinaryDataIfAvailable(id, block);
    if (result != framebroker::kResult_Success) {
        ThrowRefusal(arguments.frame, result);
    }
    const Frame frame = CopyOfSharedFrame(block, id, arguments.frame);
    block.reset();
    const auto writer = MakeWriter(arguments.output, {});
    writer->Write(frame, 0, 0, MatrixOf(frame));
    writer->Finish();
    std::printf("%s: %s\n", writer->Description().c_str(), FrameText(frame).c_str());
}

} // namespace tool
