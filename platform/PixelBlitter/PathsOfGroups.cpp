// Conversions of 10-bit 4:2:2 (V210) in one pass.

#include "ChromaRows.h"
#include "Colour.h"
#include "FusedWeights.h"
#include "Paths.h"
#include "RowRuns.h"

namespace PixelBlitter {
namespace {

bool IsGroups(const Format& format) noexcept {
    return format.packing == Packing::Groups;
}

// Its codes are those of 8-bit 4:2:2 with two bits behind the point.
Format EightBits(const Format& groups) noexcept {
    Format format = groups;
    format.packing = Packing::Pairs;
    return format;
}

template <class Kernel, class... Parameters>
void RunRows(const Conversion& conversion, Kernel kernel, const Parameters&... parameters) noexcept {
    const SourcePicture& source = conversion.source;
    const Transfer transfer = TransferInMemoryOrder(conversion);
    for (int row = 0; row < source.height; ++row) {
        kernel(source.MemoryRow(row), parameters..., conversion.destination.MemoryRow(row),
               static_cast<std::size_t>(source.width), transfer);
    }
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

bool GroupsToPixelsAccept(const Format& from, const Format& to) noexcept {
    return IsGroups(from) && to.packing == Packing::Bytes && (!to.IsYUV() || from.model == to.model);
}

void RunGroupsToPixels(const Conversion& conversion) noexcept {
    RunRows(conversion, conversion.kernels.groups.groupsToPixels,
            PixelWideningBetween(EightBits(conversion.source.format), conversion.destination.format));
}

bool PixelsToGroupsAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Bytes && IsGroups(to) && (!from.IsYUV() || from.model == to.model);
}

void RunPixelsToGroups(const Conversion& conversion) noexcept {
    RunRows(conversion, conversion.kernels.groups.pixelsToGroups,
            PixelHalvingBetween(conversion.source.format, conversion.destination.format));
}

bool GroupsToPairsAccept(const Format& from, const Format& to) noexcept {
    return IsGroups(from) && to.packing == Packing::Pairs && from.model == to.model;
}

void RunGroupsToPairs(const Conversion& conversion) noexcept {
    RunRows(conversion, conversion.kernels.groups.groupsToPairs, conversion.destination.format.alphaFirst);
}

bool PairsToGroupsAccept(const Format& from, const Format& to) noexcept {
    return GroupsToPairsAccept(to, from);
}

void RunPairsToGroups(const Conversion& conversion) noexcept {
    RunRows(conversion, conversion.kernels.groups.pairsToGroups, conversion.source.format.alphaFirst);
}

bool GroupsToFloatsAccept(const Format& from, const Format& to) noexcept {
    return IsGroups(from) && to.packing == Packing::Floats && from.model == to.model;
}

void RunGroupsToFloats(const Conversion& conversion) noexcept {
    RunRows(conversion, conversion.kernels.groups.groupsToFloats);
}

bool FloatsToGroupsAccept(const Format& from, const Format& to) noexcept {
    return GroupsToFloatsAccept(to, from);
}

void RunFloatsToGroups(const Conversion& conversion) noexcept {
    RunRows(conversion, conversion.kernels.groups.floatsToGroups);
}

bool PlanesToGroupsAccept(const Format& from, const Format& to) noexcept {
    return from.packing == Packing::Planar && IsGroups(to) && from.model == to.model && !from.fullRange;
}

void RunPlanesToGroups(const Conversion& conversion) noexcept {
    const SourcePicture& source = conversion.source;
    const VerticalSiting vertical(source.height, source.format.fieldChroma);
    const Transfer transfer = TransferByRows(conversion, FetchDistance());
    std::int16_t* const chroma = ChromaRowIn(conversion.scratch);
    for (int row = 0; row < source.height; ++row) {
        conversion.kernels.fused.chromaOfPlanes(MixOfRow(source, vertical, row), chroma, PairsOf(source.width));
        conversion.kernels.groups.planesToGroups(source.LumaRow(row), chroma, source.format.centredChroma,
                                                 conversion.destination.Row(row),
                                                 static_cast<std::size_t>(source.width), transfer);
    }
    if (conversion.stream) {
        conversion.kernels.finishStreaming();
    }
}

} // namespace

const Path kGroupsToPixelsPath{"fused", GroupsToPixelsAccept, RunGroupsToPixels, nullptr, false};
const Path kPixelsToGroupsPath{"fused", PixelsToGroupsAccept, RunPixelsToGroups, nullptr, false};
const Path kGroupsToPairsPath{"integers", GroupsToPairsAccept, RunGroupsToPairs, nullptr, false};
const Path kPairsToGroupsPath{"integers", PairsToGroupsAccept, RunPairsToGroups, nullptr, false};
const Path kGroupsToFloatsPath{"fused", GroupsToFloatsAccept, RunGroupsToFloats, nullptr, false};
const Path kFloatsToGroupsPath{"fused", FloatsToGroupsAccept, RunFloatsToGroups, nullptr, false};
const Path kPlanesToGroupsPath{"integers", PlanesToGroupsAccept, RunPlanesToGroups, ChromaRowScratch, false};

} // namespace PixelBlitter
