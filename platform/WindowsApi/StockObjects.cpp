#include "StockObjects.h"

#include "Bitmaps.h"
#include "Brushes.h"
#include "Palettes.h"
#include "WindowsApi_Painting.h"
#include "zyncore/Immortal.h"

#include <array>
#include <mutex>
#include <optional>

namespace WindowsApi {
namespace {

constexpr std::size_t kBitmap = 21; // the number that follows the documented ones

/// Made together, by whoever asks first and has the memory for all.
class StockObjects {
public:
    HGDIOBJ Get(std::size_t inIndex) noexcept {
        const std::lock_guard lock(mMutex);
        if (!mAreMade) {
            try {
                Make();
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
        }
        return mHandles[inIndex];
    }

private:
    template <class Object, class... Arguments>
    void Make(std::size_t inIndex, Arguments&&... inArguments) {
        if (mHandles[inIndex] == nullptr) {
            auto object = std::make_shared<Object>(std::forward<Arguments>(inArguments)...);
            object->deletion = GraphicsObject::Deletion::Never;
            mHandles[inIndex] = AddGraphicsObject(std::move(object));
        }
    }

    void Make() {
        Make<Brush>(WHITE_BRUSH, RGB(255, 255, 255));
        Make<Brush>(LTGRAY_BRUSH, RGB(192, 192, 192));
        Make<Brush>(GRAY_BRUSH, RGB(128, 128, 128));
        Make<Brush>(DKGRAY_BRUSH, RGB(64, 64, 64));
        Make<Brush>(BLACK_BRUSH, RGB(0, 0, 0));
        Make<Brush>(NULL_BRUSH, std::nullopt);
        Make<Palette>(DEFAULT_PALETTE, GetStaticColours());
        Make<Bitmap>(kBitmap, 1, 1, 1);
        mAreMade = true;
    }

    std::mutex mMutex;
    bool mAreMade = false;
    std::array<HGDIOBJ, kBitmap + 1> mHandles{};
};

HGDIOBJ Get(std::size_t inIndex) noexcept {
    static zyncore::detail::Immortal<StockObjects> objects;
    return objects.Get().Get(inIndex);
}

} // namespace

HGDIOBJ GetStockBitmap() noexcept {
    return Get(kBitmap);
}

} // namespace WindowsApi

HGDIOBJ GetStockObject(int inObject) {
    const bool isDocumented = (inObject >= WHITE_BRUSH && inObject <= NULL_BRUSH) || inObject == DEFAULT_PALETTE;
    return isDocumented ? WindowsApi::Get(static_cast<std::size_t>(inObject)) : nullptr;
}
