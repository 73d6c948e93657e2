#include "TPix.h"
#include "WindowsApi_DeviceContexts.h"

#include <cstdint>

namespace {

/// The screen's device context while this lives.
class ScreenContext {
public:
    ScreenContext() noexcept : mContext(GetDC(nullptr)) {}
    ~ScreenContext() {
        if (mContext) {
            ReleaseDC(nullptr, mContext);
        }
    }
    ScreenContext(const ScreenContext&) = delete;
    ScreenContext& operator=(const ScreenContext&) = delete;

    int Tell(int property) const noexcept { return mContext ? GetDeviceCaps(mContext, property) : 0; }

private:
    HDC mContext;
};

} // namespace

std::int32_t GetScreenColors() {
    const ScreenContext screen;
    return screen.Tell((screen.Tell(RASTERCAPS) & RC_PALETTE) != 0 ? SIZEPALETTE : NUMCOLORS);
}

std::int16_t GetScreenDepth() {
    const ScreenContext screen;
    const auto planes = static_cast<std::int16_t>(screen.Tell(PLANES));
    return planes >= 2 ? planes : static_cast<std::int16_t>(screen.Tell(BITSPIXEL));
}
