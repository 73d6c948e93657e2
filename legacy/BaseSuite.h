#pragma once

/// The table through which pixel maps reach the basic conversions: other modules of the host know it by its layout.

#include "TPix.h"

#include <cstdint>

namespace VF::Pixmaps {

using SuiteConversion = std::int32_t (*)(const void* source, void* destination, std::int32_t width, std::int32_t height,
                                         std::int32_t sourceRowBytes, std::int32_t destinationRowBytes);

union SuiteFunction {
    std::int16_t (*idle)(TPixHand);
    SuiteConversion convert;
};

struct SuiteEntry {
    std::uintptr_t unused[3];
    SuiteFunction function;
};

enum SuiteEntryNumber { kCopy32Entry = 2, kDepth24To32Entry = 4, kDepth32To24Entry = 5, kSuiteEntries = 11 };

struct BaseSuite {
    const char* name; ///< "base suite"
    std::uintptr_t version;
    SuiteEntry entries[kSuiteEntries];
};

static_assert(sizeof(SuiteEntry) == 4 * sizeof(void*) && sizeof(BaseSuite) == (2 + 4 * kSuiteEntries) * sizeof(void*));

inline constexpr std::uintptr_t kBaseSuiteVersion = 0x000B0001;

/// The current suite; null before the library's first start.
const BaseSuite* CurrentSuite() noexcept;

/// Calls an entry of the current suite; without one 0, and nothing is done.
std::int32_t CallSuite(SuiteEntryNumber entry, const void* source, void* destination, std::int32_t width,
                       std::int32_t height, std::int32_t sourceRowBytes, std::int32_t destinationRowBytes);

} // namespace VF::Pixmaps
