#include "WindowsApi_Windows.h"

#include "Window.h"

#include <cstring>
#include <strings.h>

using WindowsApi::Box;
using WindowsApi::Find;
using WindowsApi::Window;

namespace {

constexpr int kLargestSide = 32767; // of a window in the X protocol

} // namespace

HWND CreateWindowExA(DWORD, LPCSTR inClass, LPCSTR inTitle, DWORD inStyle, int inX, int inY, int inWidth, int inHeight,
                     HWND inParent, HMENU inMenu, HINSTANCE, LPVOID) {
    if (inClass == nullptr || strcasecmp(inClass, "STATIC") != 0 || inParent != nullptr || inMenu != nullptr) {
        return nullptr;
    }
    const auto orDefault = [](int value, int other) { return value == CW_USEDEFAULT ? other : value; };
    const int width = orDefault(inWidth, 640);
    const int height = orDefault(inHeight, 480);
    const int x = orDefault(inX, 0);
    const int y = orDefault(inY, 0);
    if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide || x < -kLargestSide ||
        x > kLargestSide || y < -kLargestSide || y > kLargestSide) {
        return nullptr;
    }
    try {
        const std::shared_ptr<Window> window = Window::Open(inTitle != nullptr ? inTitle : "", x, y, width, height);
        if (!window) {
            return nullptr;
        }
        const auto handle = static_cast<HWND>(WindowsApi::AddGraphicsObject(window));
        if ((inStyle & WS_VISIBLE) != 0) {
            window->Show(true);
        }
        return handle;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

BOOL DestroyWindow(HWND inWindow) {
    const std::shared_ptr<Window> window = Find<Window>(inWindow);
    if (!window || !WindowsApi::RemoveGraphicsObject(inWindow)) {
        return FALSE;
    }
    window->Close();
    return TRUE;
}

BOOL IsWindow(HWND inWindow) {
    const std::shared_ptr<Window> window = Find<Window>(inWindow);
    return window && window->IsOpen() ? TRUE : FALSE;
}

BOOL ShowWindow(HWND inWindow, int inCommand) {
    const std::shared_ptr<Window> window = Find<Window>(inWindow);
    return window && window->Show(inCommand != SW_HIDE) ? TRUE : FALSE;
}

BOOL GetClientRect(HWND inWindow, RECT* outRect) {
    const std::shared_ptr<Window> window = Find<Window>(inWindow);
    const std::optional<Box> area = window && outRect != nullptr ? window->ClientArea() : std::nullopt;
    if (!area) {
        return FALSE;
    }
    *outRect = {area->x1, area->y1, area->x2, area->y2};
    return TRUE;
}

BOOL AdjustWindowRect(RECT* ioRect, DWORD, BOOL) {
    return ioRect != nullptr ? TRUE : FALSE;
}

BOOL PeekMessageA(MSG* outMessage, HWND inWindow, UINT inFirst, UINT inLast, UINT inRemove) {
    const std::shared_ptr<Window> window = Find<Window>(inWindow);
    if (!window || outMessage == nullptr || inFirst != 0 || inLast != 0) {
        return FALSE;
    }
    const std::optional<Window::Message> message = window->Next((inRemove & PM_REMOVE) != 0);
    if (!message) {
        return FALSE;
    }
    *outMessage = {};
    outMessage->hwnd = inWindow;
    outMessage->message = message->message;
    outMessage->wParam = message->wParam;
    outMessage->lParam = message->lParam;
    return TRUE;
}

LRESULT DispatchMessageA(const MSG* inMessage) {
    if (inMessage != nullptr && inMessage->message == WM_CLOSE) {
        DestroyWindow(inMessage->hwnd);
    }
    return 0;
}
