#include "ui/x_windows.h"

#include <algorithm>
#include <cstring>

namespace kivolo {

XWindows::XWindows(const char *display)
    : connection_(xcb_connect(display, nullptr))
    , root_(xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root)
{}

XWindows::~XWindows()
{
    xcb_disconnect(connection_);
}

xcb_atom_t XWindows::atom(const char *name) const
{
    const auto length = std::uint16_t(std::strlen(name));
    return answer<xcb_intern_atom, xcb_intern_atom_reply>(false, length, name)->atom;
}

auto XWindows::property(xcb_window_t window, const char *name, int format) const
{
    auto reply = answer<xcb_get_property, xcb_get_property_reply>(false, window, atom(name),
                                                                  XCB_ATOM_ANY, 0U, 512U);
    return reply && reply->format == format ? std::move(reply) : nullptr;
}

std::vector<std::uint32_t> XWindows::values(xcb_window_t window, const char *name) const
{
    const auto reply = property(window, name, 32);
    if (!reply)
        return {};
    const auto *data = static_cast<const std::uint32_t *>(xcb_get_property_value(reply.get()));
    return {data, data + reply->value_len};
}

std::string XWindows::text(xcb_window_t window, const char *name) const
{
    const auto reply = property(window, name, 8);
    if (!reply)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(reply.get())), reply->value_len};
}

xcb_window_t XWindows::activeWindow() const
{
    const auto active = values(root_, "_NET_ACTIVE_WINDOW");
    return active.empty() ? xcb_window_t(XCB_WINDOW_NONE) : active.front();
}

bool XWindows::isViewable(xcb_window_t window) const
{
    const auto reply = answer<xcb_get_window_attributes, xcb_get_window_attributes_reply>(window);
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

void XWindows::ask(xcb_window_t window, const char *what, std::array<std::uint32_t, 5> data) const
{
    send(root_, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, window,
         what, data);
}

void XWindows::send(xcb_window_t to, std::uint32_t mask, xcb_window_t window, const char *type,
                    std::array<std::uint32_t, 5> data) const
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(type);
    std::copy(data.begin(), data.end(), event.data.data32);
    xcb_send_event(connection_, false, to, mask, reinterpret_cast<const char *>(&event));
    // Until the server has it: a program that ends now may take unread requests with it.
    answer<xcb_get_input_focus, xcb_get_input_focus_reply>();
}

} // namespace kivolo
