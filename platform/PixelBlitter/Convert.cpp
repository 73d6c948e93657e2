#include "Convert.h"

#include "MemoryRegime.h"
#include "Scratch.h"

#include <cstring>

namespace PixelBlitter {
namespace {

// Whether running the path on these pictures would overwrite source pixels that it still needs.
bool WouldOverwriteSource(const Path& path, const SourcePicture& source,
                          const DestinationPicture& destination) noexcept {
    if (!Overlap(source, ReadOnly(destination))) {
        return false;
    }
    const bool samePlace = source.base == destination.base && source.stride == destination.stride;
    const bool noLarger = UsedRowBytes(destination.format, 1) <= UsedRowBytes(source.format, 1);
    return !(samePlace && noLarger && path.worksInPlace);
}

} // namespace

SourcePicture CopyInto(const SourcePicture& source, void* block, const Kernels& kernels) noexcept {
    SourcePicture copy = source;
    copy.base = static_cast<const std::uint8_t*>(block);
    copy.stride = source.format.HasRows() ? static_cast<std::ptrdiff_t>(UsedRowBytes(source.format, source.width)) : 0;
    kCopyPath.run({source, Writable(copy), kernels});
    return copy;
}

PB_Result ConvertPicture(const SourcePicture& source, const DestinationPicture& destination) noexcept {
    const Path* const path = ChoosePath(source.format, destination.format);
    if (path == nullptr) {
        return kPB_UnsupportedFormat;
    }
    const std::optional<ScratchBlock> scratch = TakeScratch(path->scratchBytes ? path->scratchBytes(destination) : 0);
    if (!scratch) {
        return kPB_OutOfMemory;
    }
    Conversion conversion{source, destination, KernelsOfThisMachine()};
    conversion.scratch = scratch->get();
    conversion.stream = StreamsStores(PixelBytes(source) + PixelBytes(ReadOnly(destination)));
    std::optional<ScratchBlock> copyOfSource;
    if (WouldOverwriteSource(*path, source, destination)) {
        copyOfSource = TakeScratch(PixelBytes(source));
        if (!copyOfSource) {
            return kPB_OutOfMemory;
        }
        conversion.source = CopyInto(source, copyOfSource->get(), conversion.kernels);
    }
    path->run(conversion);
    return kPB_Success;
}

void OutlineConversion(const SourcePicture& source, const DestinationPicture& destination, PB_Plan& plan) {
    const Path* const path = ChoosePath(source.format, destination.format);
    if (path == nullptr) {
        plan.result = kPB_UnsupportedFormat;
        return;
    }
    plan.path = path->name;
    plan.temporaryBytes = path->scratchBytes ? path->scratchBytes(destination) : 0;
}

} // namespace PixelBlitter
