#include "dv/Kind.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace PixelBlitter::dv {
namespace {

using zynmediatypes::Chroma;
using zynmediatypes::Storage;

// clang-format off
constexpr std::array kKinds{
    //   storage                    width height  bytes  chroma        interlaced upper first  frame time
    Kind{Storage::NTSCDV25,         720,  480,   120000, Chroma::C411, true,      false,      {1001, 30000}},
    Kind{Storage::PALDV25,          720,  576,   144000, Chroma::C420, true,      false,      {1, 25}},
    Kind{Storage::NTSCDV100_720p,   960,  720,   240000, Chroma::C422, false,     true,       {1001, 60000}},
    Kind{Storage::PALDV100_720p,    960,  720,   288000, Chroma::C422, false,     true,       {1, 50}},
    Kind{Storage::NTSCDV100_1080i, 1280, 1080,   480000, Chroma::C422, true,      true,       {1001, 30000}},
    Kind{Storage::PALDV100_1080i,  1440, 1080,   576000, Chroma::C422, true,      true,       {1, 25}},
    Kind{Storage::NTSCDV50,         720,  480,   240000, Chroma::C422, true,      false,      {1001, 30000}},
    Kind{Storage::PALDV50,          720,  576,   288000, Chroma::C422, true,      false,      {1, 25}},
};
// clang-format on

constexpr std::uint32_t kBlocksPerSequence = 150;
static_assert(std::all_of(kKinds.begin(), kKinds.end(),
                          [](const Kind& kind) { return kind.bytes % (kBlockBytes * kBlocksPerSequence) == 0; }));

// The blocks that may be lost: one in this many.
constexpr std::uint32_t kLossDivisor = 8;

// The identification of a block at a place of its sequence (SMPTE 314M, 4.2): section type in the upper three bits of
// its first byte, number within the section in its third.
struct BlockId {
    std::uint8_t section;
    std::uint8_t number;
};
constexpr std::uint8_t kPictureSection = 4;
constexpr BlockId BlockIdAt(std::uint32_t place) noexcept {
    constexpr std::uint32_t kFirstAudio = 6;
    constexpr std::uint32_t kAudioPeriod = 16; // an audio block, then 15 of video
    if (place < 1) {
        return {0, 0}; // header
    }
    if (place < 3) {
        return {1, static_cast<std::uint8_t>(place - 1)}; // subcode
    }
    if (place < kFirstAudio) {
        return {2, static_cast<std::uint8_t>(place - 3)}; // video auxiliary data
    }
    const std::uint32_t period = (place - kFirstAudio) / kAudioPeriod;
    const std::uint32_t rest = (place - kFirstAudio) % kAudioPeriod;
    return rest == 0 ? BlockId{3, static_cast<std::uint8_t>(period)}
                     : BlockId{kPictureSection, static_cast<std::uint8_t>(period * (kAudioPeriod - 1) + rest - 1)};
}

} // namespace

const Kind* KindOf(const Format& format) noexcept {
    if (format.packing != Packing::Compressed) {
        return nullptr;
    }
    const Storage storage = zynmediatypes::StorageOf(format.suite);
    const auto* const kind =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& k) { return k.storage == storage; });
    return kind == kKinds.end() ? nullptr : kind;
}

bool HasBlockStructure(const Kind& kind, const std::uint8_t* bytes) noexcept {
    const std::uint32_t blocks = kind.bytes / kBlockBytes;
    std::uint32_t lost = 0;
    for (std::uint32_t block = 0; block < blocks; ++block) {
        const std::uint8_t* const id = bytes + std::size_t{block} * kBlockBytes;
        const BlockId expected = BlockIdAt(block % kBlocksPerSequence);
        lost += id[0] >> 5 == expected.section && id[2] == expected.number ? 0 : 1;
    }
    return lost <= blocks / kLossDivisor;
}

bool HoldsPicture(std::uint32_t block) noexcept {
    return BlockIdAt(block % kBlocksPerSequence).section == kPictureSection;
}

} // namespace PixelBlitter::dv
