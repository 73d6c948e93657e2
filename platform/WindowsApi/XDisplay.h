#pragma once

/// The X server that DISPLAY names.

#include <xcb/xcb.h>

#include <csignal>
#include <cstdint>
#include <memory>
#include <span>

namespace WindowsApi {

/// While it lives, writing to a server that has died raises no SIGPIPE in this thread, which would end the process.
class PipeSignalGuard {
public:
    PipeSignalGuard() noexcept;
    ~PipeSignalGuard();
    PipeSignalGuard(const PipeSignalGuard&) = delete;
    PipeSignalGuard& operator=(const PipeSignalGuard&) = delete;

private:
    sigset_t mPipe{};
    sigset_t mBefore{};
    bool mWasPending = false;
};

struct Disconnect {
    void operator()(xcb_connection_t* inConnection) const noexcept;
};
using XConnection = std::unique_ptr<xcb_connection_t, Disconnect>;

/// A connection, and the screen that its user sees first. Both are null without a display.
struct XDisplay {
    XConnection connection;
    const xcb_screen_t* screen = nullptr;
};
XDisplay OpenDisplay() noexcept;

const xcb_visualtype_t* FindVisual(const xcb_screen_t& inScreen, xcb_visualid_t inVisual) noexcept;

/// How pictures of a depth lie in memory; a depth of 24 bits, for instance, takes up 32 on nearly every server.
struct XFormat {
    int bitsPerPixel = 0;
    int rowPadInBits = 8;
};
XFormat FormatOfDepth(const xcb_setup_t& inSetup, int inDepth) noexcept;

/// What a call of xcb hands over.
struct FreeReply {
    void operator()(void* inReply) const noexcept;
};
template <class Reply>
using XReply = std::unique_ptr<Reply, FreeReply>;

/// Waits until the server has done a request. False when it refused it, or has died.
bool Succeeds(xcb_connection_t* inConnection, xcb_void_cookie_t inRequest) noexcept;

/// How a server shows a colour: pixels of 16 or 32 bits with a field for each component.
class XPixelLayout {
public:
    /// The layout of a visual; not valid when it has none, as one with a palette.
    XPixelLayout() = default;
    XPixelLayout(const xcb_setup_t& inSetup, const xcb_visualtype_t& inVisual, int inDepth) noexcept;

    bool IsValid() const noexcept { return mBytesPerPixel != 0; }

    /// Blue, green, red and an unused byte, which needs no conversion.
    bool IsBgrx() const noexcept { return mIsBgrx; }

    std::size_t RowBytes(int inWidth) const noexcept;

    /// Writes a row of pixels from one of blue, green, red and an unused byte.
    void Pack(std::span<const std::uint8_t> inBgrx, std::uint8_t* outRow) const noexcept;

private:
    struct Field {
        int shift = 0;
        int bits = 0;
    };
    static Field FieldOf(std::uint32_t inMask) noexcept;

    Field mRed;
    Field mGreen;
    Field mBlue;
    std::size_t mBytesPerPixel = 0;
    std::size_t mRowPadInBytes = 1;
    bool mIsBgrx = false;
    bool mHighByteFirst = false;
};

} // namespace WindowsApi
