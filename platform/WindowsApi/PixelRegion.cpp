#include "PixelRegion.h"

#include <new>
#include <utility>

namespace WindowsApi {
namespace {

void ThrowUnless(pixman_bool_t inSuccess) {
    if (inSuccess == 0) {
        throw std::bad_alloc();
    }
}

} // namespace

PixelRegion::PixelRegion(const Box& inBox) noexcept : PixelRegion() {
    // A single box lives in the region itself: no memory is taken.
    if (inBox.x1 < inBox.x2 && inBox.y1 < inBox.y2) {
        pixman_region32_init_with_extents(&mRegion, &inBox);
    }
}

PixelRegion::PixelRegion(std::span<const Box> inBoxes) : PixelRegion() {
    ThrowUnless(pixman_region32_init_rects(&mRegion, inBoxes.data(), static_cast<int>(inBoxes.size())));
}

PixelRegion::PixelRegion(const PixelRegion& inOther) : PixelRegion() {
    ThrowUnless(pixman_region32_copy(&mRegion, inOther.Raw()));
}

PixelRegion PixelRegion::Intersection(const PixelRegion& inOther) const {
    PixelRegion result;
    ThrowUnless(pixman_region32_intersect(&result.mRegion, Raw(), inOther.Raw()));
    return result;
}

PixelRegion PixelRegion::Union(const PixelRegion& inOther) const {
    PixelRegion result;
    ThrowUnless(pixman_region32_union(&result.mRegion, Raw(), inOther.Raw()));
    return result;
}

PixelRegion PixelRegion::Difference(const PixelRegion& inOther) const {
    PixelRegion result;
    ThrowUnless(pixman_region32_subtract(&result.mRegion, Raw(), inOther.Raw()));
    return result;
}

Box PixelRegion::Bounds() const noexcept {
    return pixman_region32_not_empty(Raw()) != 0 ? *pixman_region32_extents(Raw()) : Box{};
}

std::span<const Box> PixelRegion::Boxes() const noexcept {
    int count = 0;
    const Box* const boxes = pixman_region32_rectangles(Raw(), &count);
    return {boxes, static_cast<std::size_t>(count)};
}

bool PixelRegion::Contains(int inX, int inY) const noexcept {
    return pixman_region32_contains_point(Raw(), inX, inY, nullptr) != 0;
}

bool PixelRegion::operator==(const PixelRegion& inOther) const noexcept {
    const bool isEmpty = pixman_region32_not_empty(Raw()) == 0;
    const bool isOtherEmpty = pixman_region32_not_empty(inOther.Raw()) == 0;
    return isEmpty || isOtherEmpty ? isEmpty == isOtherEmpty : pixman_region32_equal(Raw(), inOther.Raw()) != 0;
}

void PixelRegion::Swap(PixelRegion& inOther) noexcept {
    std::swap(mRegion, inOther.mRegion); // which holds no pointers into itself
}

} // namespace WindowsApi
