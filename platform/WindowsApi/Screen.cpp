#include "Screen.h"

#include <xcb/xcb.h>

#include <memory>

namespace WindowsApi {
namespace {

struct Disconnect {
    void operator()(xcb_connection_t* inConnection) const noexcept { xcb_disconnect(inConnection); }
};

const xcb_visualtype_t* FindVisual(const xcb_screen_t& inScreen, xcb_visualid_t inVisual) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&inScreen); depth.rem != 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem != 0; xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == inVisual) {
                return visual.data;
            }
        }
    }
    return nullptr;
}

/// A depth of 24 bits, for instance, takes up 32 in memory on nearly every server.
int BitsPerPixelOf(const xcb_setup_t& inSetup, int inDepth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&inSetup); format.rem != 0; xcb_format_next(&format)) {
        if (format.data->depth == inDepth) {
            return format.data->bits_per_pixel;
        }
    }
    return inDepth;
}

} // namespace

Screen LookUpScreen() noexcept {
    Screen found;
    int number = 0;
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, &number));
    if (xcb_connection_has_error(connection.get()) != 0) {
        return found;
    }
    const xcb_setup_t* const setup = xcb_get_setup(connection.get());
    auto screens = xcb_setup_roots_iterator(setup);
    for (; number > 0 && screens.rem > 1; --number) {
        xcb_screen_next(&screens);
    }
    if (screens.rem == 0) {
        return found;
    }
    const xcb_screen_t& screen = *screens.data;
    found.widthInPixels = screen.width_in_pixels;
    found.heightInPixels = screen.height_in_pixels;
    found.widthInMillimetres = screen.width_in_millimeters;
    found.heightInMillimetres = screen.height_in_millimeters;
    found.bitsPerPixel = BitsPerPixelOf(*setup, screen.root_depth);
    const xcb_visualtype_t* const visual = FindVisual(screen, screen.root_visual);
    if (visual != nullptr &&
        (visual->_class == XCB_VISUAL_CLASS_PSEUDO_COLOR || visual->_class == XCB_VISUAL_CLASS_GRAY_SCALE)) {
        found.paletteEntries = visual->colormap_entries;
    }
    return found;
}

} // namespace WindowsApi
