#include "XDisplay.h"

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <ctime>

namespace WindowsApi {

PipeSignalGuard::PipeSignalGuard() noexcept {
    sigemptyset(&mPipe);
    sigaddset(&mPipe, SIGPIPE);
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    mWasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &mPipe, &mBefore);
}

PipeSignalGuard::~PipeSignalGuard() {
    // One that was pending before is somebody else's.
    if (!mWasPending) {
        constexpr timespec now{};
        while (sigtimedwait(&mPipe, nullptr, &now) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
}

void Disconnect::operator()(xcb_connection_t* inConnection) const noexcept {
    const PipeSignalGuard guard;
    xcb_disconnect(inConnection);
}

void FreeReply::operator()(void* inReply) const noexcept {
    std::free(inReply); // taken by xcb with malloc
}

XDisplay OpenDisplay() noexcept {
    const PipeSignalGuard guard;
    XDisplay display;
    int number = 0;
    display.connection.reset(xcb_connect(nullptr, &number));
    if (xcb_connection_has_error(display.connection.get()) == 0) {
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(display.connection.get()));
        for (; number > 0 && screens.rem > 1; --number) {
            xcb_screen_next(&screens);
        }
        display.screen = screens.rem != 0 ? screens.data : nullptr;
    }
    if (display.screen == nullptr) {
        display.connection.reset();
    }
    return display;
}

const xcb_visualtype_t* FindVisual(const xcb_screen_t& inScreen, xcb_visualid_t inVisual) noexcept {
    for (auto depth = xcb_screen_allowed_depths_iterator(&inScreen); depth.rem != 0; xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem != 0; xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == inVisual) {
                return visual.data;
            }
        }
    }
    return nullptr;
}

XFormat FormatOfDepth(const xcb_setup_t& inSetup, int inDepth) noexcept {
    for (auto format = xcb_setup_pixmap_formats_iterator(&inSetup); format.rem != 0; xcb_format_next(&format)) {
        if (format.data->depth == inDepth) {
            return {format.data->bits_per_pixel, format.data->scanline_pad};
        }
    }
    return {inDepth, 8};
}

bool Succeeds(xcb_connection_t* inConnection, xcb_void_cookie_t inRequest) noexcept {
    const XReply<xcb_generic_error_t> error(xcb_request_check(inConnection, inRequest));
    return !error && xcb_connection_has_error(inConnection) == 0;
}

XPixelLayout::XPixelLayout(const xcb_setup_t& inSetup, const xcb_visualtype_t& inVisual, int inDepth) noexcept
    : mRed(FieldOf(inVisual.red_mask)), mGreen(FieldOf(inVisual.green_mask)), mBlue(FieldOf(inVisual.blue_mask)) {
    const XFormat format = FormatOfDepth(inSetup, inDepth);
    const bool hasFields = inVisual._class == XCB_VISUAL_CLASS_TRUE_COLOR && mRed.bits > 0 && mGreen.bits > 0 &&
                           mBlue.bits > 0 && mRed.bits <= 16 && mGreen.bits <= 16 && mBlue.bits <= 16;
    if (!hasFields || (format.bitsPerPixel != 16 && format.bitsPerPixel != 32) || format.rowPadInBits < 8) {
        return;
    }
    mBytesPerPixel = static_cast<std::size_t>(format.bitsPerPixel) / 8;
    mRowPadInBytes = static_cast<std::size_t>(format.rowPadInBits) / 8;
    mHighByteFirst = inSetup.image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
    mIsBgrx = mBytesPerPixel == 4 && mRowPadInBytes <= 4 && !mHighByteFirst && inVisual.red_mask == 0xFF0000 &&
              inVisual.green_mask == 0xFF00 && inVisual.blue_mask == 0xFF;
}

XPixelLayout::Field XPixelLayout::FieldOf(std::uint32_t inMask) noexcept {
    return {std::countr_zero(inMask), std::popcount(inMask)};
}

std::size_t XPixelLayout::RowBytes(int inWidth) const noexcept {
    const std::size_t bytes = static_cast<std::size_t>(inWidth) * mBytesPerPixel;
    return (bytes + mRowPadInBytes - 1) / mRowPadInBytes * mRowPadInBytes;
}

void XPixelLayout::Pack(std::span<const std::uint8_t> inBgrx, std::uint8_t* outRow) const noexcept {
    const auto field = [](std::uint8_t code, Field to) {
        // Repeated below itself a code spans any number of bits up to 16, white being all of them.
        return (code * 0x101U >> (16 - to.bits)) << to.shift;
    };
    for (std::size_t at = 0; at + 4 <= inBgrx.size(); at += 4) {
        const std::uint32_t pixel =
            field(inBgrx[at], mBlue) | field(inBgrx[at + 1], mGreen) | field(inBgrx[at + 2], mRed);
        for (std::size_t byte = 0; byte < mBytesPerPixel; ++byte) {
            const std::size_t place = mHighByteFirst ? mBytesPerPixel - 1 - byte : byte;
            *outRow++ = static_cast<std::uint8_t>(pixel >> (8 * place));
        }
    }
}

} // namespace WindowsApi
