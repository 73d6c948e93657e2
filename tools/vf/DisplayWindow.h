#pragma once

/// Pictures in a window on the user's screen.

#include "Frames.h"
#include "WindowsApi_Types.h"

#include <string>

namespace tool {

/// A window that shows frames through pixmaps. The user ends it with Esc, q, or by closing it.
class DisplayWindow {
public:
    /// Throws Failure(NoDisplay) when there is no display, or one that cannot show pictures.
    DisplayWindow(const std::string& title, int width, int height);
    ~DisplayWindow();
    DisplayWindow(const DisplayWindow&) = delete;
    DisplayWindow& operator=(const DisplayWindow&) = delete;

    /// Shows a frame in all of the window, whatever the window's size is by now, and keeps it.
    void Show(const Frame& frame);

    /// Looks after the user and shows the frame again where the screen lost it. False when the window has ended.
    bool Attend();

private:
    void Draw() const;

    HWND mWindow;
    HDC mContext;
    Frame mShown;
};

} // namespace tool
