#include "platform/desktop/x11.h"

#include <QByteArray>
#include <QGuiApplication>
#include <array>

namespace kivolo::x11 {

xcb_connection_t *connection()
{
    const auto *x11 =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_window_t rootWindow()
{
    return xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root;
}

// Asked of the server once, all in one round trip. The names are the same for every connection,
// and the program has only one.
xcb_atom_t atom(Atom which)
{
    static const std::array<xcb_atom_t, Atom_count> atoms = [] {
        // The selections carry the screen's number.
        constexpr std::array<const char *, Atom_count> names = {
            "_NET_WM_WINDOW_TYPE",  "_NET_WM_WINDOW_TYPE_NOTIFICATION",
            "_NET_WM_DESKTOP",      "_GTK_FRAME_EXTENTS",
            "_NET_WM_CM_S0",        "_NET_SYSTEM_TRAY_S0",
            "_NET_WORKAREA",        "_GTK_WORKAREAS_D0",
            "_NET_CLIENT_LIST",     "_NET_WM_STRUT_PARTIAL",
            "_NET_WM_STRUT",        "_NET_ACTIVE_WINDOW",
            "_NET_CURRENT_DESKTOP", "WM_STATE",
            "_KDE_WM_CHANGE_STATE", "_KDE_NET_WM_BLUR_BEHIND_REGION"};
        std::array<xcb_intern_atom_cookie_t, Atom_count> cookies;
        for (std::size_t i = 0; i < names.size(); ++i)
            cookies[i] =
                xcb_intern_atom(connection(), false, uint16_t(qstrlen(names[i])), names[i]);
        std::array<xcb_atom_t, Atom_count> result{};
        for (std::size_t i = 0; i < names.size(); ++i) {
            const ReplyPtr<xcb_intern_atom_reply_t> reply(
                xcb_intern_atom_reply(connection(), cookies[i], nullptr));
            if (reply)
                result[i] = reply->atom;
        }
        return result;
    }();
    return atoms[which];
}

xcb_get_property_cookie_t askFor(xcb_window_t window, Atom property)
{
    constexpr uint32_t atMost = 16'384;
    return xcb_get_property(connection(), false, window, atom(property), XCB_GET_PROPERTY_TYPE_ANY,
                            0, atMost);
}

std::vector<uint32_t> numbers(xcb_get_property_cookie_t asked)
{
    const ReplyPtr<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection(), asked, nullptr));
    if (!reply || reply->format != 32)
        return {};
    const auto *values = static_cast<const uint32_t *>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

std::vector<xcb_window_t> childrenIn(xcb_query_tree_cookie_t asked)
{
    const ReplyPtr<xcb_query_tree_reply_t> reply(
        xcb_query_tree_reply(connection(), asked, nullptr));
    if (!reply)
        return {};
    const auto *children = xcb_query_tree_children(reply.get());
    return {children, children + xcb_query_tree_children_length(reply.get())};
}

} // namespace kivolo::x11
