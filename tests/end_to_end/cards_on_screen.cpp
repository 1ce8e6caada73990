#include "end_to_end/cards_on_screen.h"

#include "support/x_server.h"

#include <algorithm>
#include <tuple>

namespace kivolo {

static QRect frame(const XServer &server, xcb_window_t window)
{
    const std::vector<std::uint32_t> shadow = server.values(window, "_GTK_FRAME_EXTENTS");
    if (shadow.size() != 4)
        return server.geometry(window);
    const auto edge = [&](std::size_t i) { return int(shadow[i]); };
    return server.geometry(window).adjusted(edge(0), edge(2), -edge(1), -edge(3));
}

QRect workArea()
{
    const XServer server;
    const std::vector<std::uint32_t> area = server.values(server.root(), "_NET_WORKAREA");
    if (area.size() < 4)
        return {}; // there is no window manager
    return {int(area[0]), int(area[1]), int(area[2]), int(area[3])};
}

QList<QRect> cardsOnScreen()
{
    const XServer server;
    QList<QRect> frames;
    for (const xcb_window_t window : server.unmanagedWindows()) {
        if (server.text(window, "WM_CLASS").find("kivolo") != std::string::npos)
            frames.append(frame(server, window));
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

QColor colorOnScreen(const QPoint &pixel)
{
    const std::vector<QRgb> pixels = XServer().pixels(QRect(pixel, QSize(1, 1)));
    return pixels.empty() ? QColor() : QColor::fromRgb(pixels.front());
}

float mostColorOnScreen(const QRect &area)
{
    int most = 0;
    for (const QRgb pixel : XServer().pixels(area)) {
        const auto [low, high] = std::minmax({qRed(pixel), qGreen(pixel), qBlue(pixel)});
        most = std::max(most, high - low);
    }
    return float(most) / 255;
}

} // namespace kivolo
