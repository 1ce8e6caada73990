// What the X server itself says, asked over a connection of the test's own.
#pragma once

#include "ui/x_windows.h"

#include <QColor>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QWidget>
#include <algorithm>
#include <span>
#include <utility>
#include <xcb/shape.h>

namespace kivolo {

inline xcb_window_t idOf(const QWidget &widget)
{
    return xcb_window_t(widget.winId());
}

/// Does with mouse and keys what xdotool understands. Whether that could be done.
inline bool input(const QString &actions)
{
    return QProcess::execute(QStringLiteral("xdotool"), actions.split(u' ')) == 0;
}

class XServer : public XWindows
{
public:
    explicit XServer(const char *display = nullptr)
        : XWindows(display)
        , owner_(xcb_generate_id(connection_))
    {
        xcb_create_window(connection_, 0, owner_, root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    }

    /// The names that a property's values stand for.
    std::vector<std::string> atoms(xcb_window_t window, const char *property) const
    {
        std::vector<std::string> names;
        for (const std::uint32_t value : values(window, property)) {
            const auto reply = answer<xcb_get_atom_name, xcb_get_atom_name_reply>(value);
            names.emplace_back(xcb_get_atom_name_name(reply.get()), reply->name_len);
        }
        return names;
    }

    /// Every window there is, managed or not, each before those that stand in it.
    std::vector<xcb_window_t> allWindows() const
    {
        std::vector<xcb_window_t> all{root()};
        for (std::size_t parent = 0; parent < all.size(); ++parent) {
            const auto below = children(all[parent]);
            all.insert(all.end(), below.begin(), below.end());
        }
        return all;
    }

    /// Whether `front` stands nearer to the user than `back`, each with the frame that a window
    /// manager may have put it into.
    bool isInFrontOf(xcb_window_t front, xcb_window_t back) const
    {
        const auto stack = children(root());
        return std::find(stack.begin(), stack.end(), outermost(front)) >
               std::find(stack.begin(), stack.end(), outermost(back));
    }

    /// Puts an unmanaged window in front of all others.
    void raise(xcb_window_t window) const
    {
        constexpr std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection_, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_flush(connection_);
    }

    /// Marks an unmanaged window as window managers mark those that they take care of.
    void markAsManaged(xcb_window_t window) const
    {
        constexpr std::uint32_t normal[] = {1, XCB_WINDOW_NONE};
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom("WM_STATE"),
                            atom("WM_STATE"), 32, std::size(normal), normal);
        xcb_flush(connection_);
    }

    /// As a program does that wants its own window elsewhere.
    void move(xcb_window_t window, const QPoint &to) const
    {
        const std::uint32_t place[] = {std::uint32_t(to.x()), std::uint32_t(to.y())};
        xcb_configure_window(connection_, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
        xcb_flush(connection_);
    }

    /// As the user does.
    void close(xcb_window_t window) const
    {
        send(window, XCB_EVENT_MASK_NO_EVENT, window, "WM_PROTOCOLS", {atom("WM_DELETE_WINDOW")});
    }

    /// Where the window stands on the screen, in device pixels.
    QRect geometry(const QWidget &widget) const { return geometry(idOf(widget)); }
    QRect geometry(xcb_window_t window) const
    {
        const auto size = answer<xcb_get_geometry, xcb_get_geometry_reply>(window);
        const auto place = answer<xcb_translate_coordinates, xcb_translate_coordinates_reply>(
            window, root(), std::int16_t(0), std::int16_t(0));
        if (!size || !place)
            return {}; // it has gone
        return {place->dst_x, place->dst_y, size->width, size->height};
    }
    /// And with the frame that a window manager has put it into.
    QRect frame(const QWidget &widget) const { return geometry(outermost(idOf(widget))); }

    /// Takes note from now on of every place that is given to a window without a frame.
    void followPlaces() const
    {
        constexpr std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection_, root(), XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection_);
    }

    /// Those noted since it was last asked.
    std::vector<std::pair<xcb_window_t, QRect>> placesGiven() const
    {
        std::vector<std::pair<xcb_window_t, QRect>> places;
        while (const auto event = own(xcb_poll_for_event(connection_))) {
            if ((event->response_type & 0x7f) != XCB_CONFIGURE_NOTIFY)
                continue;
            const auto *at = reinterpret_cast<const xcb_configure_notify_event_t *>(event.get());
            places.emplace_back(at->window, QRect(at->x, at->y, at->width, at->height));
        }
        return places;
    }

    /// The pixels of a part of the screen, row by row, as the screen shows them.
    std::vector<QRgb> pixels(const QRect &area) const
    {
        const auto reply = answer<xcb_get_image, xcb_get_image_reply>(
            XCB_IMAGE_FORMAT_Z_PIXMAP, root(), std::int16_t(area.x()), std::int16_t(area.y()),
            std::uint16_t(area.width()), std::uint16_t(area.height()), ~0U);
        if (!reply)
            return {}; // not all of it is on the screen
        const auto *data = reinterpret_cast<const QRgb *>(xcb_get_image_data(reply.get()));
        return {data, data + std::size_t(xcb_get_image_data_length(reply.get())) / sizeof(QRgb)};
    }

    /// Where the window takes the mouse, in device pixels from its own corner.
    std::vector<QRect> inputShape(const QWidget &widget) const { return inputShape(idOf(widget)); }
    std::vector<QRect> inputShape(xcb_window_t window) const
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

    /// The window that keys go to; XCB_INPUT_FOCUS_POINTER_ROOT when that is the one under the
    /// pointer.
    xcb_window_t focus() const
    {
        return answer<xcb_get_input_focus, xcb_get_input_focus_reply>()->focus;
    }

    /// An ordinary window of another program, shown. Goes with this connection.
    xcb_window_t addWindow()
    {
        const xcb_window_t window = make({0, 0, 200, 100});
        xcb_map_window(connection_, window);
        xcb_flush(connection_);
        return window;
    }

    enum Edge { Left, Right, Top, Bottom };
    /// Puts a desktop panel along an edge of the whole desktop, from there to there, that keeps
    /// `depth` device pixels for itself. Goes with this connection.
    void addBar(Edge edge, std::uint32_t depth, std::array<std::uint32_t, 2> extent)
    {
        const xcb_window_t bar = make({int(extent[0]), 0, 1, 1});
        const xcb_atom_t type = atom("_NET_WM_WINDOW_TYPE_DOCK");
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, bar, atom("_NET_WM_WINDOW_TYPE"),
                            XCB_ATOM_ATOM, 32, 1, &type);
        // How deep at each edge, then where along each of them that begins and ends.
        std::uint32_t strut[12] = {};
        strut[edge] = depth;
        strut[4 + 2 * edge] = extent[0];
        strut[5 + 2 * edge] = extent[1];
        xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, bar, atom("_NET_WM_STRUT_PARTIAL"),
                            XCB_ATOM_CARDINAL, 32, std::size(strut), strut);
        xcb_map_window(connection_, bar);
        xcb_flush(connection_);
    }

    /// Takes or gives up the selection by which a compositor makes itself known.
    void claimCompositor(bool claim)
    {
        xcb_set_selection_owner(connection_, claim ? owner_ : xcb_window_t(XCB_WINDOW_NONE),
                                atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
        xcb_flush(connection_);
    }
    bool hasCompositor() const
    {
        const auto reply =
            answer<xcb_get_selection_owner, xcb_get_selection_owner_reply>(atom("_NET_WM_CM_S0"));
        return reply->owner != XCB_WINDOW_NONE;
    }

    /// Says that the compositor blurs what lies beneath a window, or takes that back.
    void announceBlur(bool can)
    {
        const xcb_atom_t property = atom("_KDE_NET_WM_BLUR_BEHIND_REGION");
        if (can)
            xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, root(), property, property, 8,
                                0, nullptr);
        else
            xcb_delete_property(connection_, root(), property);
        xcb_flush(connection_);
    }

private:
    std::vector<xcb_window_t> children(xcb_window_t window) const
    {
        const auto reply = answer<xcb_query_tree, xcb_query_tree_reply>(window);
        if (!reply)
            return {}; // it has gone
        const std::span windows(xcb_query_tree_children(reply.get()), reply->children_len);
        return {windows.begin(), windows.end()};
    }

    xcb_window_t outermost(xcb_window_t window) const
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

    xcb_window_t make(const QRect &place)
    {
        const xcb_window_t window = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, root(),
                          std::int16_t(place.x()), std::int16_t(place.y()),
                          std::uint16_t(place.width()), std::uint16_t(place.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        return window;
    }

    xcb_window_t owner_;
};

} // namespace kivolo
