#pragma once

/// The display that the screen's device contexts stand for.

#include <xcb/xcb.h>

namespace WindowsApi {

/// Without a display: 32-bit true colour at 96 dots per inch, in the size that Windows gives a session without one.
struct Screen {
    int widthInPixels = 1024;
    int heightInPixels = 768;
    int widthInMillimetres = 271;
    int heightInMillimetres = 203;
    int bitsPerPixel = 32;
    int paletteEntries = 0; ///< of a palette that programs can set; 0 for fixed colours
};

/// Asks the X server that DISPLAY names for its default screen. What it leaves open is as without a display.
Screen LookUpScreen() noexcept;

/// The same of a screen at hand.
Screen DescribeScreen(xcb_connection_t& inConnection, const xcb_screen_t& inScreen) noexcept;

} // namespace WindowsApi
