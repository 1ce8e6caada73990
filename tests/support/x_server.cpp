#include "support/x_server.h"

#include <QWidget>
#include <algorithm>
#include <array>
#include <span>
#include <xcb/shape.h>

namespace kivolo {

xcb_window_t idOf(const QWidget &widget)
{
    return xcb_window_t(widget.winId());
}

XServer::XServer(const char *display)
    : XWindows(display)
    , owner_(xcb_generate_id(connection_))
{
    xcb_create_window(connection_, 0, owner_, root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
}

std::vector<std::string> XServer::atoms(xcb_window_t window, const char *property) const
{
    std::vector<std::string> names;
    for (const std::uint32_t value : values(window, property)) {
        const auto reply = answer<xcb_get_atom_name, xcb_get_atom_name_reply>(value);
        names.emplace_back(xcb_get_atom_name_name(reply.get()), reply->name_len);
    }
    return names;
}

std::vector<xcb_window_t> XServer::allWindows() const
{
    std::vector<xcb_window_t> all{root()};
    for (std::size_t parent = 0; parent < all.size(); ++parent) {
        const auto below = children(all[parent]);
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

std::vector<xcb_window_t> XServer::children(xcb_window_t window) const
{
    const auto reply = answer<xcb_query_tree, xcb_query_tree_reply>(window);
    if (!reply)
        return {}; // it has gone
    const std::span windows(xcb_query_tree_children(reply.get()), reply->children_len);
    return {windows.begin(), windows.end()};
}

xcb_window_t XServer::outermost(xcb_window_t window) const
{
    for (xcb_window_t parent = window; parent != root();) {
        window = parent;
        const auto reply = answer<xcb_query_tree, xcb_query_tree_reply>(window);
        if (!reply)
            break; // it has gone
        parent = reply->parent;
    }
    return window;
}

bool XServer::isInFrontOf(xcb_window_t front, xcb_window_t back) const
{
    const auto stack = children(root());
    return std::find(stack.begin(), stack.end(), outermost(front)) >
           std::find(stack.begin(), stack.end(), outermost(back));
}

void XServer::raise(xcb_window_t window) const
{
    constexpr std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection_, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_flush(connection_);
}

void XServer::markAsManaged(xcb_window_t window) const
{
    constexpr std::array<std::uint32_t, 2> normal{1, XCB_WINDOW_NONE};
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom("WM_STATE"),
                        atom("WM_STATE"), 32, normal.size(), normal.data());
    xcb_flush(connection_);
}

void XServer::move(xcb_window_t window, const QPoint &to) const
{
    const std::array place{std::uint32_t(to.x()), std::uint32_t(to.y())};
    xcb_configure_window(connection_, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         place.data());
    xcb_flush(connection_);
}

void XServer::close(xcb_window_t window) const
{
    send(window, XCB_EVENT_MASK_NO_EVENT, window, "WM_PROTOCOLS", {atom("WM_DELETE_WINDOW")});
}

QRect XServer::geometry(xcb_window_t window) const
{
    const auto size = answer<xcb_get_geometry, xcb_get_geometry_reply>(window);
    const auto place = answer<xcb_translate_coordinates, xcb_translate_coordinates_reply>(
        window, root(), std::int16_t(0), std::int16_t(0));
    if (!size || !place)
        return {}; // it has gone
    return {place->dst_x, place->dst_y, size->width, size->height};
}

void XServer::followPlaces() const
{
    constexpr std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, root(), XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection_);
}

std::vector<std::pair<xcb_window_t, QRect>> XServer::placesGiven() const
{
    std::vector<std::pair<xcb_window_t, QRect>> places;
    while (const auto event = own(xcb_poll_for_event(connection_))) {
        if ((event->response_type & 0x7f) != XCB_CONFIGURE_NOTIFY)
            continue;
        const auto *notify = reinterpret_cast<const xcb_configure_notify_event_t *>(event.get());
        places.emplace_back(notify->window,
                            QRect(notify->x, notify->y, notify->width, notify->height));
    }
    return places;
}

std::vector<QRgb> XServer::pixels(const QRect &area) const
{
    const auto reply = answer<xcb_get_image, xcb_get_image_reply>(
        XCB_IMAGE_FORMAT_Z_PIXMAP, root(), std::int16_t(area.x()), std::int16_t(area.y()),
        std::uint16_t(area.width()), std::uint16_t(area.height()), ~0U);
    if (!reply)
        return {}; // not all of it is on the screen
    const auto *data = reinterpret_cast<const QRgb *>(xcb_get_image_data(reply.get()));
    return {data, data + std::size_t(xcb_get_image_data_length(reply.get())) / sizeof(QRgb)};
}

std::vector<QRect> XServer::inputShape(xcb_window_t window) const
{
    const auto reply = answer<xcb_shape_get_rectangles, xcb_shape_get_rectangles_reply>(
        window, XCB_SHAPE_SK_INPUT);
    std::vector<QRect> shape;
    if (!reply)
        return shape; // it has gone
    for (const xcb_rectangle_t &part :
         std::span(xcb_shape_get_rectangles_rectangles(reply.get()), reply->rectangles_len))
        shape.emplace_back(part.x, part.y, part.width, part.height);
    return shape;
}

xcb_window_t XServer::addWindow()
{
    const xcb_window_t window = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, root(), 0, 0, 200, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(connection_, window);
    xcb_flush(connection_);
    return window;
}

xcb_window_t XServer::focus() const
{
    return answer<xcb_get_input_focus, xcb_get_input_focus_reply>()->focus;
}

void XServer::addBar(Edge edge, std::uint32_t depth, std::array<std::uint32_t, 2> extent)
{
    const xcb_window_t bar = xcb_generate_id(connection_);
    xcb_create_window(connection_, 0, bar, root(), std::int16_t(extent[0]), 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const std::array type{atom("_NET_WM_WINDOW_TYPE_DOCK")};
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, bar, atom("_NET_WM_WINDOW_TYPE"),
                        XCB_ATOM_ATOM, 32, type.size(), type.data());
    // How deep at each edge, then where along each of them that begins and ends.
    std::array<std::uint32_t, 12> strut{};
    strut[edge] = depth;
    strut[4 + 2 * std::size_t(edge)] = extent[0];
    strut[5 + 2 * std::size_t(edge)] = extent[1];
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, bar, atom("_NET_WM_STRUT_PARTIAL"),
                        XCB_ATOM_CARDINAL, 32, strut.size(), strut.data());
    xcb_map_window(connection_, bar);
    xcb_flush(connection_);
}

void XServer::claimCompositor(bool claim)
{
    xcb_set_selection_owner(connection_, claim ? owner_ : xcb_window_t(XCB_WINDOW_NONE),
                            atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
    xcb_flush(connection_);
}

void XServer::announceBlur(bool can)
{
    const xcb_atom_t property = atom("_KDE_NET_WM_BLUR_BEHIND_REGION");
    if (can)
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, root(), property, property, 8, 0,
                            nullptr);
    else
        xcb_delete_property(connection_, root(), property);
    xcb_flush(connection_);
}

bool XServer::hasCompositor() const
{
    return answer<xcb_get_selection_owner, xcb_get_selection_owner_reply>(atom("_NET_WM_CM_S0"))
               ->owner != XCB_WINDOW_NONE;
}

} // namespace kivolo
