#include "Window.h"

#include <algorithm>
#include <cstring>

namespace WindowsApi {
namespace {

constexpr std::size_t kMostMessages = 10000; // as many as Windows keeps for a thread
constexpr std::uint8_t kSentByAnotherClient = 0x80;
constexpr std::uint8_t kBitsOfAWord = 32;
constexpr std::uint8_t kBitsOfAByte = 8;

} // namespace

std::shared_ptr<Window> Window::Open(const char* inTitle, int inX, int inY, int inWidth, int inHeight) {
    const PipeSignalGuard guard;
    XDisplay display = OpenDisplay();
    if (display.screen == nullptr) {
        return nullptr;
    }
    const xcb_visualtype_t* const visual = FindVisual(*display.screen, display.screen->root_visual);
    if (visual == nullptr) {
        return nullptr;
    }
    const XPixelLayout layout(*xcb_get_setup(display.connection.get()), *visual, display.screen->root_depth);
    if (!layout.IsValid()) {
        return nullptr;
    }
    auto window = std::make_shared<Window>(std::move(display), layout);
    return window->Create(inTitle, inX, inY, inWidth, inHeight) ? window : nullptr;
}

Window::Window(XDisplay inDisplay, XPixelLayout inLayout)
    : mScreen(DescribeScreen(*inDisplay.connection, *inDisplay.screen)), mConnection(std::move(inDisplay.connection)),
      mXScreen(inDisplay.screen), mLayout(inLayout) {
    deletion = Deletion::Elsewhere;
    mSender.emplace(mConnection.get(), mLayout, mXScreen->root_depth);
}

bool Window::Create(const char* inTitle, int inX, int inY, int inWidth, int inHeight) {
    xcb_connection_t* const connection = mConnection.get();
    mWindow = xcb_generate_id(connection);
    mGraphics = xcb_generate_id(connection);
    mWidth = inWidth;
    mHeight = inHeight;
    const std::uint32_t settings[] = {mXScreen->black_pixel, XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY |
                                                                 XCB_EVENT_MASK_KEY_PRESS};
    constexpr std::uint16_t kNoBorder = 0;
    const auto created = xcb_create_window_checked(
        connection, XCB_COPY_FROM_PARENT, mWindow, mXScreen->root, static_cast<std::int16_t>(inX),
        static_cast<std::int16_t>(inY), static_cast<std::uint16_t>(inWidth), static_cast<std::uint16_t>(inHeight),
        kNoBorder, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK,
        settings);
    const auto graphics = xcb_create_gc_checked(connection, mGraphics, mWindow, 0, nullptr);
    if (!Succeeds(connection, created) || !Succeeds(connection, graphics)) {
        return false;
    }
    NameFor(inTitle);
    ReadKeys();
    return xcb_connection_has_error(connection) == 0;
}

xcb_atom_t Window::Atom(const char* inName) noexcept {
    constexpr std::uint8_t kMakeIt = 0;
    const auto request =
        xcb_intern_atom(mConnection.get(), kMakeIt, static_cast<std::uint16_t>(std::strlen(inName)), inName);
    const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(mConnection.get(), request, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

void Window::NameFor(const char* inTitle) noexcept {
    xcb_connection_t* const connection = mConnection.get();
    const xcb_atom_t protocols = Atom("WM_PROTOCOLS");
    mDeleteWindow = Atom("WM_DELETE_WINDOW");
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, mWindow, protocols, XCB_ATOM_ATOM, kBitsOfAWord, 1,
                        &mDeleteWindow);
    const auto length = static_cast<std::uint32_t>(strnlen(inTitle, 1024));
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, mWindow, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, kBitsOfAByte,
                        length, inTitle);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, mWindow, Atom("_NET_WM_NAME"), Atom("UTF8_STRING"),
                        kBitsOfAByte, length, inTitle);
}

void Window::ReadKeys() {
    const xcb_setup_t& setup = *xcb_get_setup(mConnection.get());
    const auto count = static_cast<std::uint8_t>(setup.max_keycode - setup.min_keycode + 1);
    const XReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        mConnection.get(), xcb_get_keyboard_mapping(mConnection.get(), setup.min_keycode, count), nullptr));
    if (!reply || reply->keysyms_per_keycode == 0) {
        return;
    }
    mFirstKey = setup.min_keycode;
    const std::span<const xcb_keysym_t> symbols(
        xcb_get_keyboard_mapping_keysyms(reply.get()),
        static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(reply.get())));
    for (std::size_t at = 0; at < symbols.size(); at += reply->keysyms_per_keycode) {
        mKeys.push_back(symbols[at]);
    }
}

WPARAM Window::VirtualKeyOf(xcb_keycode_t inKey) const noexcept {
    const std::size_t index = static_cast<std::size_t>(inKey) - mFirstKey;
    const xcb_keysym_t symbol = inKey >= mFirstKey && index < mKeys.size() ? mKeys[index] : 0;
    if (symbol >= 'a' && symbol <= 'z') {
        return symbol - 'a' + 'A';
    }
    if ((symbol >= '0' && symbol <= '9') || symbol == ' ') {
        return symbol;
    }
    constexpr struct {
        xcb_keysym_t symbol;
        WPARAM key;
    } kOthers[] = {{0xFF08, VK_BACK}, {0xFF09, VK_TAB}, {0xFF0D, VK_RETURN}, {0xFF1B, VK_ESCAPE},
                   {0xFF51, VK_LEFT}, {0xFF52, VK_UP},  {0xFF53, VK_RIGHT},  {0xFF54, VK_DOWN}};
    for (const auto& other : kOthers) {
        if (other.symbol == symbol) {
            return other.key;
        }
    }
    return 0;
}

void Window::Post(const Message& inMessage) noexcept {
    const bool isThere = std::ranges::any_of(
        mMessages, [&](const Message& one) { return one.message == WM_PAINT && inMessage.message == WM_PAINT; });
    if (isThere || mMessages.size() >= kMostMessages) {
        return;
    }
    try {
        mMessages.push_back(inMessage);
    } catch (const std::bad_alloc&) { // an event is lost
    }
}

void Window::TakeEvent(const xcb_generic_event_t& inEvent) noexcept {
    const auto as = [&](auto* event) { std::memcpy(event, &inEvent, sizeof *event); };
    switch (inEvent.response_type & ~kSentByAnotherClient) {
    case XCB_CLIENT_MESSAGE: {
        xcb_client_message_event_t event;
        as(&event);
        if (event.format == kBitsOfAWord && event.data.data32[0] == mDeleteWindow) {
            Post({WM_CLOSE, 0, 0});
        }
        break;
    }
    case XCB_KEY_PRESS: {
        xcb_key_press_event_t event;
        as(&event);
        if (const WPARAM key = VirtualKeyOf(event.detail)) {
            Post({WM_KEYDOWN, key, 1 | event.detail << 16}); // once, and which key of the keyboard it was
        }
        break;
    }
    case XCB_CONFIGURE_NOTIFY: {
        xcb_configure_notify_event_t event;
        as(&event);
        mWidth = event.width;
        mHeight = event.height;
        break;
    }
    case XCB_EXPOSE:
        Post({WM_PAINT, 0, 0});
        break;
    case XCB_DESTROY_NOTIFY:
        Forget();
        break;
    default: // others of STRUCTURE_NOTIFY, and errors of requests whose success nobody waits for
        break;
    }
}

void Window::TakeEvents() noexcept {
    while (mConnection) {
        const XReply<xcb_generic_event_t> event(xcb_poll_for_event(mConnection.get()));
        if (!event) {
            break;
        }
        TakeEvent(*event);
    }
}

bool Window::LooksOpen() noexcept {
    TakeEvents();
    if (mConnection && xcb_connection_has_error(mConnection.get()) != 0) {
        Forget();
    }
    return mConnection != nullptr;
}

void Window::Forget() noexcept {
    mSender.reset();
    mConnection.reset(); // the server takes the window away
    mXScreen = nullptr;
}

bool Window::IsOpen() noexcept {
    const PipeSignalGuard guard;
    const std::lock_guard lock(mMutex);
    return LooksOpen();
}

void Window::Close() noexcept {
    const PipeSignalGuard guard;
    const std::lock_guard lock(mMutex);
    Forget();
}

bool Window::Show(bool inShown) noexcept {
    const PipeSignalGuard guard;
    const std::lock_guard lock(mMutex);
    if (!LooksOpen()) {
        return false;
    }
    Succeeds(mConnection.get(), inShown ? xcb_map_window_checked(mConnection.get(), mWindow)
                                        : xcb_unmap_window_checked(mConnection.get(), mWindow));
    return std::exchange(mShown, inShown);
}

std::optional<Box> Window::ClientArea() noexcept {
    const PipeSignalGuard guard;
    const std::lock_guard lock(mMutex);
    return LooksOpen() ? std::optional(Box{0, 0, mWidth, mHeight}) : std::nullopt;
}

bool Window::Paint(const Box& inBox, const Painter& inPainter) {
    const PipeSignalGuard guard;
    const std::lock_guard lock(mMutex);
    if (!LooksOpen()) {
        return false;
    }
    const Box visible = Shared(inBox, Box{0, 0, mWidth, mHeight});
    if (!HasPixels(visible)) {
        return true;
    }
    const Surface surface = mSender->Begin(visible.x2 - visible.x1, visible.y2 - visible.y1);
    return inPainter(visible, surface) && mSender->Send(mWindow, mGraphics, visible.x1, visible.y1);
}

std::optional<Window::Message> Window::Next(bool inRemove) noexcept {
    const PipeSignalGuard guard;
    const std::lock_guard lock(mMutex);
    LooksOpen();
    if (mMessages.empty()) {
        return std::nullopt;
    }
    const Message message = mMessages.front();
    if (inRemove) {
        mMessages.pop_front();
    }
    return message;
}

} // namespace WindowsApi
