#include "Screen.h"

#include "XDisplay.h"

namespace WindowsApi {

Screen LookUpScreen() noexcept {
    const XDisplay display = OpenDisplay();
    return display.screen != nullptr ? DescribeScreen(*display.connection, *display.screen) : Screen{};
}

Screen DescribeScreen(xcb_connection_t& inConnection, const xcb_screen_t& inScreen) noexcept {
    Screen found;
    found.widthInPixels = inScreen.width_in_pixels;
    found.heightInPixels = inScreen.height_in_pixels;
    found.widthInMillimetres = inScreen.width_in_millimeters;
    found.heightInMillimetres = inScreen.height_in_millimeters;
    found.bitsPerPixel = FormatOfDepth(*xcb_get_setup(&inConnection), inScreen.root_depth).bitsPerPixel;
    const xcb_visualtype_t* const visual = FindVisual(inScreen, inScreen.root_visual);
    if (visual != nullptr &&
        (visual->_class == XCB_VISUAL_CLASS_PSEUDO_COLOR || visual->_class == XCB_VISUAL_CLASS_GRAY_SCALE)) {
        found.paletteEntries = visual->colormap_entries;
    }
    return found;
}

} // namespace WindowsApi
