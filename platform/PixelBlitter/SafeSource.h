#pragma once

/// Sources that a destination may overlap.

#include "Convert.h"
#include "Scratch.h"

namespace PixelBlitter {

/// True when pixels that a picture of the source's format and size is written over may still have to be read, in a job
/// that goes row by row and reads each pixel before it writes it. Pictures may be the same or have their rows between
/// one another's.
bool Collides(const SourcePicture& source, const DestinationPicture& destination) noexcept;

/// True when both are the same pixels.
bool InPlace(const SourcePicture& source, const DestinationPicture& destination) noexcept;

/// A source that can be read while the destination is written: itself, or a copy where they collide.
class SafeSource {
public:
    SafeSource(const SourcePicture& source, const DestinationPicture& destination, const Kernels& kernels) noexcept;

    /// False when there was no memory for the copy.
    bool IsValid() const noexcept { return mCopy.has_value(); }
    const SourcePicture& Picture() const noexcept { return mPicture; }

private:
    SourcePicture mPicture;
    std::optional<ScratchBlock> mCopy;
};

} // namespace PixelBlitter
