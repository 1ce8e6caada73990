// Bringing a window to the user under X11, by the Extended Window Manager Hints.
#include "platform/desktop/activation.h"
#include "platform/desktop/x11.h"

#include <QWindow>
#include <algorithm>
#include <array>

namespace kivolo::window_system {

using namespace x11;

namespace {

constexpr uint32_t allDesktops = 0xFFFFFFFF;

// Window managers listen on the root window for what they are to do with another one.
void askWindowManager(QWindow &window, Atom message, std::array<uint32_t, 5> data)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = xcb_window_t(window.winId());
    event.type = atom(message);
    std::copy(data.begin(), data.end(), event.data.data32);
    xcb_send_event(connection(), false, rootWindow(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
}

} // namespace

void bringToUser(QWindow &window)
{
    if (!connection()) {
        window.requestActivate();
        return;
    }
    // Where a program asks for itself, a window manager compares when the user last touched which
    // window, and may refuse.
    constexpr uint32_t onTheUsersBehalf = 2;
    const auto stands = numbers(askFor(xcb_window_t(window.winId()), Desktop));
    const auto seen = numbers(askFor(rootWindow(), Current_desktop));
    const bool everywhere = !stands.empty() && stands.front() == allDesktops;
    if (!seen.empty() && !everywhere)
        askWindowManager(window, Desktop, {seen.front(), onTheUsersBehalf});
    askWindowManager(window, Active_window, {onTheUsersBehalf, XCB_CURRENT_TIME});
    xcb_flush(connection());
}

} // namespace kivolo::window_system
