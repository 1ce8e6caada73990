#include "end_to_end/cards_on_screen.h"

#include <QByteArray>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <tuple>
#include <xcb/xcb.h>

namespace kivolo {

namespace {

template<typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *reply)
{
    return {reply, &std::free};
}

/// One connection to the X server of the environment.
class Display
{
public:
    Display()
        : connection_(xcb_connect(nullptr, nullptr))
        , screen_(xcb_setup_roots_iterator(xcb_get_setup(connection_)).data)
    {}
    ~Display() { xcb_disconnect(connection_); }
    Display(const Display &) = delete;
    Display &operator=(const Display &) = delete;

    xcb_window_t root() const { return screen_->root; }

    auto image(const QRect &area) const
    {
        return owned(xcb_get_image_reply(
            connection_,
            xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, root(), int16_t(area.x()),
                          int16_t(area.y()), uint16_t(area.width()), uint16_t(area.height()), ~0U),
            nullptr));
    }

    QByteArray property(xcb_window_t window, const char *name) const
    {
        const auto atom = owned(xcb_intern_atom_reply(
            connection_, xcb_intern_atom(connection_, 1, uint16_t(qstrlen(name)), name), nullptr));
        const auto reply = owned(xcb_get_property_reply(
            connection_,
            xcb_get_property(connection_, 0, window, atom->atom, XCB_ATOM_ANY, 0, 4096), nullptr));
        if (!reply)
            return {}; // the window has gone
        return {static_cast<const char *>(xcb_get_property_value(reply.get())),
                xcb_get_property_value_length(reply.get())};
    }

    QList<uint32_t> numbers(xcb_window_t window, const char *name) const
    {
        const QByteArray bytes = property(window, name);
        QList<uint32_t> values(bytes.size() / 4);
        std::copy_n(bytes.constData(), values.size() * 4, reinterpret_cast<char *>(values.data()));
        return values;
    }

    bool isViewable(xcb_window_t window) const
    {
        const auto reply = owned(xcb_get_window_attributes_reply(
            connection_, xcb_get_window_attributes(connection_, window), nullptr));
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    QRect frame(xcb_window_t window) const
    {
        const auto size = owned(
            xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
        const auto origin = owned(xcb_translate_coordinates_reply(
            connection_, xcb_translate_coordinates(connection_, window, root(), 0, 0), nullptr));
        if (!size || !origin)
            return {};
        const QList<uint32_t> shadow = numbers(window, "_GTK_FRAME_EXTENTS");
        const auto edge = [&](qsizetype i) { return int(shadow.value(i)); };
        return QRect(origin->dst_x, origin->dst_y, size->width, size->height)
            .adjusted(edge(0), edge(2), -edge(1), -edge(3));
    }

private:
    xcb_connection_t *connection_;
    xcb_screen_t *screen_;
};

} // namespace

QRect workArea()
{
    const Display display;
    const QList<uint32_t> area = display.numbers(display.root(), "_NET_WORKAREA");
    return {int(area.value(0)), int(area.value(1)), int(area.value(2)), int(area.value(3))};
}

QList<QRect> cardsOnScreen()
{
    const Display display;
    QList<QRect> frames;
    for (const uint32_t window : display.numbers(display.root(), "_NET_CLIENT_LIST")) {
        if (display.property(window, "WM_CLASS").contains("kivolo") && display.isViewable(window))
            frames.append(display.frame(window));
    }
    std::sort(frames.begin(), frames.end(), [](const QRect &a, const QRect &b) {
        return std::tuple(a.top(), a.left()) < std::tuple(b.top(), b.left());
    });
    return frames;
}

QRect popupSlot(int i)
{
    const QRect area = workArea();
    return {area.x() + area.width() - 316, area.y() + 16 + 162 * i, 300, 150};
}

QRect capsuleSlot(int i)
{
    const QRect area = workArea();
    return {area.x() + area.width() - 306, area.y() + area.height() - 108 - 102 * i, 290, 92};
}

QRect buzzPlace()
{
    const QRect area = workArea();
    return {area.x() + area.width() / 2 - 210, area.y() + area.height() / 2 - 100, 420, 200};
}

static QList<QRgb> pixelsOnScreen(const QRect &area)
{
    const Display display;
    const auto reply = display.image(area);
    QList<QRgb> pixels(reply ? xcb_get_image_data_length(reply.get()) / int(sizeof(QRgb)) : 0);
    if (reply)
        std::copy_n(xcb_get_image_data(reply.get()), pixels.size() * sizeof(QRgb),
                    reinterpret_cast<uint8_t *>(pixels.data()));
    return pixels;
}

QColor colorOnScreen(const QPoint &pixel)
{
    const QList<QRgb> pixels = pixelsOnScreen(QRect(pixel, QSize(1, 1)));
    return pixels.isEmpty() ? QColor() : QColor::fromRgb(pixels.constFirst());
}

float mostColorOnScreen(const QRect &area)
{
    int most = 0;
    for (const QRgb pixel : pixelsOnScreen(area)) {
        const auto [low, high] = std::minmax({qRed(pixel), qGreen(pixel), qBlue(pixel)});
        most = std::max(most, high - low);
    }
    return float(most) / 255;
}

} // namespace kivolo
