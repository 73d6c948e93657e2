// A bitmap resource that nobody checked: the input is the resource. The first byte says whether a size is asked for.

#include "BitmapImport.h"
#include "VideoFrameUtilities.h"

#include <cstdint>
#include <cstring>

namespace {

// A picture as large as its header claims is no fault; here it would only cost time.
bool IsSmall(const std::uint8_t* bitmap, std::size_t size) {
    BITMAPINFOHEADER header{};
    if (size < sizeof header) {
        return true;
    }
    std::memcpy(&header, bitmap, sizeof header);
    return static_cast<std::int16_t>(header.biWidth) <= 300 && static_cast<std::int16_t>(header.biHeight) <= 300 &&
           header.biHeight <= 0x20000;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    VF::Initialize();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || !IsSmall(data + 1, size - 1)) {
        return 0;
    }
    const RECT wanted{0, 0, 33, 17};
    if (RegisterModuleResource(nullptr, MAKEINTRESOURCEW(1), RT_BITMAP, data + 1, static_cast<DWORD>(size - 1))) {
        if (const TPixHand picture = Bmp2TPix(1, nullptr, (data[0] & 1) != 0 ? &wanted : nullptr)) {
            tpixDispose(picture);
        }
        UnregisterModuleResources(nullptr);
    }
    return 0;
}
