#pragma once

/// Pictures in a window on the user's screen.

#include "Frames.h"
#include "Interruption.h"
#include "WindowsApi_Types.h"

#include <chrono>
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

    /// Looks after the user until the time has come, at least once, and shows the frame again where the screen lost it.
    /// False when the user has ended the window or interrupts.
    bool AttendUntil(std::chrono::steady_clock::time_point time, const Interruption& interruption);

private:
    bool Attend();
    void Draw() const;

    HWND mWindow;
    HDC mContext;
    Frame mShown;
};

} // namespace tool
