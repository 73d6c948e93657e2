#include "CopyMask.h"

#include <limits>
#include <memory>
#include <type_traits>

namespace VF::Pixmaps {
namespace {

struct DeleteBitmap {
    void operator()(HBITMAP bitmap) const noexcept { DeleteObject(bitmap); }
};
struct DeleteContext {
    void operator()(HDC context) const noexcept { DeleteDC(context); }
};
using Bitmap = std::unique_ptr<std::remove_pointer_t<HBITMAP>, DeleteBitmap>;
using Context = std::unique_ptr<std::remove_pointer_t<HDC>, DeleteContext>;

} // namespace

ScratchPtr DrawRegion(HRGN region, std::int64_t width, std::int64_t height) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
    if (width < 1 || height < 1 || width > kLargest - 16 || height > kLargest / RegionRowBytes(width)) {
        return nullptr;
    }
    const std::int64_t size = RegionRowBytes(width) * height;
    ScratchPtr bits = NewScratch(static_cast<std::size_t>(size));
    if (!bits) {
        return nullptr;
    }
    const auto columns = static_cast<int>(width), lines = static_cast<int>(height);
    const Bitmap bitmap(CreateBitmap(columns, lines, 1, 1, nullptr));
    const Context context(CreateCompatibleDC(nullptr));
    if (!bitmap || !context) {
        return nullptr;
    }
    const HGDIOBJ former = SelectObject(context.get(), bitmap.get());
    const RECT whole{0, 0, columns, lines};
    FillRect(context.get(), &whole, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    FillRgn(context.get(), region, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
    SelectObject(context.get(), former);
    return GetBitmapBits(bitmap.get(), static_cast<LONG>(size), bits.get()) == size ? std::move(bits) : nullptr;
}

} // namespace VF::Pixmaps
