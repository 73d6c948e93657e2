#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace vftest {

using Pixels = std::vector<std::uint32_t>; ///< 0x00RRGGBB, rows from the top down

/// What the screen shows from its left top corner on; of pixels of other widths than 24 bits the lowest 24 as they are.
inline Pixels Screen(int width, int height) {
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const auto request = xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                       static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), ~0U);
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> reply(
        xcb_get_image_reply(connection, request, nullptr), &std::free);
    Pixels pixels(static_cast<std::size_t>(width * height));
    if (reply && reply->depth >= 24) {
        std::memcpy(pixels.data(), xcb_get_image_data(reply.get()), pixels.size() * 4);
    } else if (reply && reply->depth >= 15) {
        std::vector<std::uint16_t> words(pixels.size());
        std::memcpy(words.data(), xcb_get_image_data(reply.get()), words.size() * 2);
        pixels.assign(words.begin(), words.end());
    }
    xcb_disconnect(connection);
    for (std::uint32_t& pixel : pixels) {
        pixel &= 0xFFFFFF;
    }
    return pixels;
}

} // namespace vftest
