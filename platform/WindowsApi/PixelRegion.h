#pragma once

#include <pixman.h>

#include <cstdint>
#include <span>

namespace WindowsApi {

using Box = pixman_box32_t; ///< x1, y1 inclusive, x2, y2 exclusive

/// A set of pixels, as rectangles in rows from the top down. What takes memory throws std::bad_alloc.
class PixelRegion {
public:
    PixelRegion() noexcept { pixman_region32_init(&mRegion); }

    /// Edges in order. A box without pixels gives an empty region.
    explicit PixelRegion(const Box& inBox) noexcept;

    /// Boxes that do not overlap, rows from the top down and each row from left to right, for speed.
    explicit PixelRegion(std::span<const Box> inBoxes);

    PixelRegion(const PixelRegion& inOther);
    PixelRegion(PixelRegion&& inOther) noexcept : PixelRegion() { Swap(inOther); }
    PixelRegion& operator=(PixelRegion inOther) noexcept {
        Swap(inOther);
        return *this;
    }
    ~PixelRegion() { pixman_region32_fini(&mRegion); }

    PixelRegion Intersection(const PixelRegion& inOther) const;
    PixelRegion Union(const PixelRegion& inOther) const;
    PixelRegion Difference(const PixelRegion& inOther) const;

    /// No edge may leave 32 bits.
    void Move(int inX, int inY) noexcept { pixman_region32_translate(&mRegion, inX, inY); }

    /// All 0 for an empty region.
    Box Bounds() const noexcept;
    std::span<const Box> Boxes() const noexcept;
    bool Contains(int inX, int inY) const noexcept;
    bool operator==(const PixelRegion& inOther) const noexcept;

private:
    // The library's functions that only read take their regions without const.
    pixman_region32_t* Raw() const noexcept { return const_cast<pixman_region32_t*>(&mRegion); }
    void Swap(PixelRegion& inOther) noexcept;

    pixman_region32_t mRegion{};
};

} // namespace WindowsApi
