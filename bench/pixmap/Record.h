#pragma once

#include "TPix.h"
#include "Turns.h"

namespace pixmapbench {

/// A caller's own record of a 1080p picture.
class Record {
public:
    explicit Record(std::uint8_t* pixels, int pixelBytes = 4) {
        mRecord.bounds = {0, 0, kWidth, kHeight};
        mRecord.rowbytes = kWidth * pixelBytes;
        mRecord.bitsPerPixel = 8 * pixelBytes;
        mRecord.pixels = pixels;
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    TPix* Get() { return &mRecord; }
    TPixHand Hand() { return &mPointer; }
    const RECT* Bounds() const { return &mRecord.bounds; }

private:
    TPix mRecord{};
    TPix* mPointer = &mRecord;
};

} // namespace pixmapbench
