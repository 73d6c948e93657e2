#include "DisplayWindow.h"

#include "Display.h"
#include "ExitCodes.h"
#include "FrameConverter.h"
#include "TPixHandleUtilities.h"
#include "WindowsApi_DeviceContexts.h"
#include "WindowsApi_Windows.h"

#include <algorithm>
#include <new>

namespace tool {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookForUser{20}; // soon enough for a key

} // namespace

DisplayWindow::DisplayWindow(const std::string& title, int width, int height)
    : mWindow(CreateWindowExA(0, "STATIC", title.c_str(), WS_OVERLAPPEDWINDOW | WS_VISIBLE, CW_USEDEFAULT,
                              CW_USEDEFAULT, width, height, nullptr, nullptr, nullptr, nullptr)),
      mContext(mWindow != nullptr ? GetDC(mWindow) : nullptr) {
    if (mContext == nullptr) {
        throw Failure(ExitCode::NoDisplay, "no window can be opened: DISPLAY names no X server that shows true colour");
    }
}

DisplayWindow::~DisplayWindow() {
    ReleaseDC(mWindow, mContext);
    DestroyWindow(mWindow);
}

void DisplayWindow::Show(const Frame& frame) {
    mShown = ConvertFrame(frame, zynmediatypes::kPixelFormat_BGRA_4444_8u, WidthOf(frame), HeightOf(frame),
                          zynmediatypes::kRenderQuality_High);
    Draw();
}

void DisplayWindow::Draw() const {
    RECT client{};
    if (!mShown || GetClientRect(mWindow, &client) == FALSE) {
        return;
    }
    const TPixHand pixmap = VF::NewTPixFromVideoFrame(mShown);
    if (pixmap == nullptr) {
        throw std::bad_alloc();
    }
    const RECT whole = (*pixmap)->bounds;
    tpixToScreen(pixmap, mContext, &client, &whole);
    VF::DisposeTPixFromVideoFrame(pixmap);
}

bool DisplayWindow::AttendUntil(steady_clock::time_point time, const Interruption& interruption) {
    while (Attend() && !interruption.Requested()) {
        const auto now = steady_clock::now();
        if (now >= time) {
            return true;
        }
        interruption.SleepUntil(std::min<steady_clock::time_point>(time, now + kLookForUser));
    }
    return false;
}

// False when the window has ended.
bool DisplayWindow::Attend() {
    MSG message;
    bool isLost = false;
    while (PeekMessageA(&message, mWindow, 0, 0, PM_REMOVE) != FALSE) {
        if (message.message == WM_KEYDOWN && (message.wParam == VK_ESCAPE || message.wParam == 'Q')) {
            return false;
        }
        isLost = isLost || message.message == WM_PAINT;
        DispatchMessageA(&message);
    }
    if (isLost) {
        Draw();
    }
    return IsWindow(mWindow) != FALSE;
}

} // namespace tool
