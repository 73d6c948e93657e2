#pragma once

/// The ways to convert a picture into another of the same size, best first. A path says whether it takes a pair of
/// formats; a new one is a line in the table of Paths.cpp.

#include "Picture.h"

#include <cstdint>
#include <span>

namespace PixelBlitter {

/// A conversion whose pictures have been checked and whose memory has been allocated: running it cannot fail.
struct Conversion {
    SourcePicture source;
    DestinationPicture destination;
    const Kernels& kernels;
    bool stream = false;     ///< write past the caches
    void* scratch = nullptr; ///< scratchBytes bytes, aligned to 64
};

struct Path {
    const char* name;
    bool (*accepts)(const Format& from, const Format& to) noexcept;
    void (*run)(const Conversion& conversion) noexcept;
    /// Memory that the path needs, null for none.
    std::uint64_t (*scratchBytes)(const DestinationPicture& destination) noexcept;
    /// Each pixel depends on the same pixel of the source alone and rows run forwards, so a picture whose pixels become
    /// no larger can be converted in its own memory.
    bool worksInPlace;
};

/// The first path that takes the pair, null when none does.
const Path* ChoosePath(const Format& from, const Format& to) noexcept;

extern const Path kCopyPath;    ///< equal formats: bytes
extern const Path kShufflePath; ///< lossless moves of bytes
extern const Path kDepthPath;   ///< another element type, component by component
// One pass over integers, 8-bit pixels:
extern const Path kPremultiplyPath;    ///< straight to premultiplied 4:4:4:4
extern const Path kUnpremultiplyPath;  ///< and back
extern const Path kComponentsPath;     ///< 4:4:4:4 of another colour model
extern const Path kPixelsToPairsPath;  ///< 4:4:4:4 to 4:2:2
extern const Path kPixelsToPlanesPath; ///< 4:4:4:4 to 4:2:0
extern const Path kPairsToPixelsPath;  ///< 4:2:2 to 4:4:4:4
extern const Path kPlanesToPixelsPath; ///< 4:2:0 to 4:4:4:4
extern const Path kPairsToPlanesPath;  ///< 4:2:2 to 4:2:0 with the same codes
extern const Path kPairMatrixPath;     ///< 4:2:2 to 4:2:2 of another matrix
extern const Path kPlanesToPairsPath;  ///< 4:2:0 to 4:2:2 with the same codes

// One pass, 10-bit 4:2:2:
extern const Path kGroupsToPixelsPath; ///< to 8-bit 4:4:4:4
extern const Path kPixelsToGroupsPath; ///< and back
extern const Path kGroupsToPairsPath;  ///< to 8-bit 4:2:2 with the same matrix
extern const Path kPairsToGroupsPath;  ///< and back
extern const Path kGroupsToFloatsPath; ///< to 4:4:4:4 floats with the same matrix
extern const Path kFloatsToGroupsPath; ///< and back
extern const Path kPlanesToGroupsPath; ///< from 8-bit 4:2:0 with the same matrix

// Through float tiles:
extern const Path kTilePath;       ///< any two 4:4:4:4 formats
extern const Path kPlanePath;      ///< 4:2:0 to 4:2:0 with the same matrix and the same chroma rows
extern const Path kSubsampledPath; ///< any two formats of which at least one shares chroma

} // namespace PixelBlitter
