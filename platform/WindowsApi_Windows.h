#pragma once

/// Windows on the screen: enough to show pictures, and to notice keys and the wish to close. They are windows of the X
/// server that DISPLAY names.
///
/// A window is ended by DestroyWindow, by its user, by another program, or with its server. Functions answer failure
/// from then on, and nothing is drawn any more; the handle, and every context of the window, still is to be taken back.
/// Unlike on Windows any thread may use a window, and there is no window that is not asked for its own events.

#include "WindowsApi_Types.h"

#if !defined(_WIN32)

typedef const char* LPCSTR;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;
typedef struct HMENU__* HMENU;

#define WS_OVERLAPPEDWINDOW 0x00CF0000u
#define WS_VISIBLE 0x10000000u
#define CW_USEDEFAULT ((int)0x80000000)

#define SW_HIDE 0
#define SW_SHOW 5

#define PM_NOREMOVE 0x0000
#define PM_REMOVE 0x0001

#define WM_PAINT 0x000F
#define WM_CLOSE 0x0010
#define WM_KEYDOWN 0x0100

/// Keys in wParam; letters and digits are their own capital character.
#define VK_BACK 0x08
#define VK_TAB 0x09
#define VK_RETURN 0x0D
#define VK_ESCAPE 0x1B
#define VK_SPACE 0x20
#define VK_LEFT 0x25
#define VK_UP 0x26
#define VK_RIGHT 0x27
#define VK_DOWN 0x28

typedef struct tagMSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time; /* 0 */
    POINT pt;   /* (0, 0) */
} MSG;

#if defined(__cplusplus)
static_assert(sizeof(MSG) == 48);

extern "C" {
#endif

/// A top-level window of the class "STATIC", the one that needs no registering; its pixels are black at first. The
/// title is UTF-8. Of the styles WS_VISIBLE counts, and parent and menu are null. Width and height are those of the
/// client area: the frame is the window manager's. Null without a display, for sizes that the X protocol does not have,
/// where the screen's pixels are not 16 or 32 bits of true colour, and when memory is exhausted. DestroyWindow takes
/// the handle back.
WINDOWSAPI_API HWND CreateWindowExA(DWORD inExtendedStyle, LPCSTR inClass, LPCSTR inTitle, DWORD inStyle, int inX,
                                    int inY, int inWidth, int inHeight, HWND inParent, HMENU inMenu,
                                    HINSTANCE inInstance, LPVOID inParameter);

WINDOWSAPI_API BOOL DestroyWindow(HWND inWindow);

/// Whether the window is still there. It asks what the server has sent, so it notices one that has died.
WINDOWSAPI_API BOOL IsWindow(HWND inWindow);

/// Hides a window with SW_HIDE, else shows it. Whether it was shown before.
WINDOWSAPI_API BOOL ShowWindow(HWND inWindow, int inCommand);

/// The part that is drawn on, from (0, 0). It changes when the user resizes the window.
WINDOWSAPI_API BOOL GetClientRect(HWND inWindow, RECT* outRect);

/// For a client area, the rectangle to give to CreateWindowExA: the same one.
WINDOWSAPI_API BOOL AdjustWindowRect(RECT* ioRect, DWORD inStyle, BOOL inHasMenu);

/// The next message of the window, which must be given; FALSE when there is none, and for a range other than 0 to 0.
/// WM_PAINT: all of the window must be drawn again. WM_KEYDOWN: a key of the list above, or a letter or digit.
/// WM_CLOSE: the user wants the window closed.
WINDOWSAPI_API BOOL PeekMessageA(MSG* outMessage, HWND inWindow, UINT inFirst, UINT inLast, UINT inRemove);

/// Does what a program leaves to the window: WM_CLOSE destroys it. 0.
WINDOWSAPI_API LRESULT DispatchMessageA(const MSG* inMessage);

#if defined(__cplusplus)
}
#endif

#endif
