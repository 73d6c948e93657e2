#include "Paths.h"

#include <algorithm>
#include <array>

namespace PixelBlitter {
namespace {

constexpr std::array kPaths{
    &kCopyPath,          &kShufflePath,       &kDepthPath,          &kPremultiplyPath,    &kUnpremultiplyPath,
    &kComponentsPath,    &kPixelsToPairsPath, &kPixelsToPlanesPath, &kPairsToPixelsPath,  &kPlanesToPixelsPath,
    &kPairsToPlanesPath, &kPairMatrixPath,    &kPlanesToPairsPath,  &kGroupsToPixelsPath, &kPixelsToGroupsPath,
    &kGroupsToPairsPath, &kPairsToGroupsPath, &kGroupsToFloatsPath, &kFloatsToGroupsPath, &kPlanesToGroupsPath,
    &kTilePath,          &kPlanePath,         &kSubsampledPath,
};

} // namespace

const Path* ChoosePath(const Format& from, const Format& to) noexcept {
    const auto* const path =
        std::find_if(kPaths.begin(), kPaths.end(), [&](const Path* candidate) { return candidate->accepts(from, to); });
    return path == kPaths.end() ? nullptr : *path;
}

} // namespace PixelBlitter
