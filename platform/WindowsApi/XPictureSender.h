#pragma once

/// The road of pictures to an X server: through memory that it maps, where it runs on this machine and can, else
/// through the connection.

#include "Surface.h"
#include "XDisplay.h"

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace WindowsApi {

class XPictureSender {
public:
    /// The connection must outlive it.
    XPictureSender(xcb_connection_t* inConnection, XPixelLayout inLayout, int inDepth);
    ~XPictureSender();
    XPictureSender(const XPictureSender&) = delete;
    XPictureSender& operator=(const XPictureSender&) = delete;

    /// Where to write the next picture. Throws std::bad_alloc.
    Surface Begin(int inWidth, int inHeight);

    /// Puts the picture of the last Begin there, and waits until the server has it. False when the server refused, or
    /// has died.
    bool Send(xcb_drawable_t inDrawable, xcb_gcontext_t inGraphics, int inX, int inY) noexcept;

private:
    /// A block that this process and the server map.
    class SharedBlock {
    public:
        SharedBlock() = default;
        ~SharedBlock() { Detach(); }
        SharedBlock(const SharedBlock&) = delete;
        SharedBlock& operator=(const SharedBlock&) = delete;

        bool Attach(xcb_connection_t* inConnection, std::size_t inSize) noexcept;
        void Detach() noexcept;
        std::span<std::uint8_t> Bytes() const noexcept { return mBytes; }
        xcb_shm_seg_t Segment() const noexcept { return mSegment; }

    private:
        xcb_connection_t* mConnection = nullptr;
        xcb_shm_seg_t mSegment = 0;
        std::span<std::uint8_t> mBytes;
    };

    static bool CanShareMemory(xcb_connection_t* inConnection) noexcept;

    /// Memory of at least this size, shared where possible.
    std::uint8_t* Transfer(std::size_t inSize);
    bool SendThroughConnection(xcb_drawable_t inDrawable, xcb_gcontext_t inGraphics, int inX, int inY) noexcept;

    xcb_connection_t* mConnection;
    XPixelLayout mLayout;
    std::uint8_t mDepth;
    bool mShares;
    SharedBlock mShared;
    std::vector<std::uint8_t> mUnshared; ///< in place of the shared block
    std::vector<std::uint8_t> mUnpacked; ///< what is written where the server's pixels are other ones
    std::uint8_t* mTransfer = nullptr;
    int mWidth = 0;
    int mHeight = 0;
};

} // namespace WindowsApi
