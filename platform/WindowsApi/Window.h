#pragma once

#include "GraphicsObjects.h"
#include "Screen.h"
#include "Surface.h"
#include "WindowsApi_Windows.h"
#include "XDisplay.h"
#include "XPictureSender.h"

#include <deque>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace WindowsApi {

/// A window on an X server, over a connection of its own: what happens to one window's connection concerns no other.
/// It is closed when the server or another program ends it, too. Any thread may call it.
class Window final : public GraphicsObject {
public:
    /// Null without a display, and where the screen's pixels are none that can be drawn. Throws std::bad_alloc.
    static std::shared_ptr<Window> Open(const char* inTitle, int inX, int inY, int inWidth, int inHeight);

    Window(XDisplay inDisplay, XPixelLayout inLayout);

    bool IsOpen() noexcept;
    void Close() noexcept;

    /// Whether it was shown before.
    bool Show(bool inShown) noexcept;

    /// The pixels that can be drawn on, from (0, 0); empty for a closed window.
    std::optional<Box> ClientArea() noexcept;

    /// Draws what of a box lies in the window. False for a closed window, and when the painter fails. Throws what the
    /// painter throws.
    bool Paint(const Box& inBox, const Painter& inPainter);

    /// The next event for the program; nothing when there is none.
    struct Message {
        UINT message = 0;
        WPARAM wParam = 0;
        LPARAM lParam = 0;
    };
    std::optional<Message> Next(bool inRemove) noexcept;

    const Screen& GetScreen() const noexcept { return mScreen; }

private:
    bool Create(const char* inTitle, int inX, int inY, int inWidth, int inHeight);
    void NameFor(const char* inTitle) noexcept;
    void ReadKeys();
    bool LooksOpen() noexcept;
    void TakeEvents() noexcept;
    void TakeEvent(const xcb_generic_event_t& inEvent) noexcept;
    void Post(const Message& inMessage) noexcept;
    WPARAM VirtualKeyOf(xcb_keycode_t inKey) const noexcept;
    xcb_atom_t Atom(const char* inName) noexcept;
    void Forget() noexcept;

    std::mutex mMutex;
    Screen mScreen;
    XConnection mConnection; ///< null when closed
    const xcb_screen_t* mXScreen;
    XPixelLayout mLayout;
    std::optional<XPictureSender> mSender; ///< must end before the connection
    xcb_window_t mWindow = 0;
    xcb_gcontext_t mGraphics = 0;
    xcb_atom_t mDeleteWindow = 0;
    xcb_keycode_t mFirstKey = 0;
    std::vector<xcb_keysym_t> mKeys; ///< what each key means without modifiers, from mFirstKey on
    int mWidth = 0;
    int mHeight = 0;
    bool mShown = false;
    std::deque<Message> mMessages;
};

} // namespace WindowsApi
