// What panels and docks leave of a screen, under X11.
#include "platform/desktop/work_area.h"
#include "platform/desktop/x11.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <algorithm>
#include <span>
#include <vector>

namespace kivolo::window_system {

using namespace x11;

namespace {

// Other programs' numbers: no screen reaches further.
int coordinate(uint32_t number)
{
    return int(std::min<uint32_t>(number, 0x7fff));
}

// Four numbers for each; what is left over is not one.
std::vector<QRect> rectangles(const std::vector<uint32_t> &numbers)
{
    std::vector<QRect> result;
    for (std::size_t i = 0; i + 4 <= numbers.size(); i += 4)
        result.emplace_back(coordinate(numbers[i]), coordinate(numbers[i + 1]),
                            coordinate(numbers[i + 2]), coordinate(numbers[i + 3]));
    return result;
}

QSize desktopSize()
{
    const ReplyPtr<xcb_get_geometry_reply_t> reply(xcb_get_geometry_reply(
        connection(), xcb_get_geometry(connection(), rootWindow()), nullptr));
    return reply ? QSize(reply->width, reply->height) : QSize();
}

// `partial` tells how far along the edges, `whole` only how deep.
std::optional<Strut> strut(const std::vector<uint32_t> &partial, const std::vector<uint32_t> &whole)
{
    const auto &numbers = partial.size() < 12 ? whole : partial;
    if (numbers.size() < 4)
        return std::nullopt;
    Strut result;
    for (std::size_t edge = 0; edge < 4; ++edge) {
        const bool along = partial.size() >= 12;
        result.reach[edge] = coordinate(numbers[edge]);
        result.extent[edge] = {coordinate(along ? partial[4 + 2 * edge] : 0),
                               coordinate(along ? partial[5 + 2 * edge] : ~0U)};
    }
    return result;
}

std::vector<Strut> struts(std::span<const xcb_window_t> windows)
{
    std::vector<std::array<xcb_get_property_cookie_t, 2>> asked;
    for (const xcb_window_t window : windows)
        asked.push_back({askFor(window, Strut_partial), askFor(window, Strut_whole)});
    std::vector<Strut> result;
    for (const auto &[partial, whole] : asked) {
        if (const auto one = strut(numbers(partial), numbers(whole)))
            result.push_back(*one);
    }
    return result;
}

// The windows on the screen, and those in frames that a window manager has put around them.
std::vector<xcb_window_t> windowsAndFramed()
{
    auto windows = childrenIn(xcb_query_tree(connection(), rootWindow()));
    std::vector<xcb_query_tree_cookie_t> asked;
    for (const xcb_window_t window : windows)
        asked.push_back(xcb_query_tree(connection(), window));
    for (const auto cookie : asked) {
        const auto framed = childrenIn(cookie);
        windows.insert(windows.end(), framed.begin(), framed.end());
    }
    return windows;
}

class WorkAreaWatch final : public QObject, public QAbstractNativeEventFilter, public Watch
{
    Q_OBJECT
public:
    explicit WorkAreaWatch(std::function<void()> changed)
    {
        connect(this, &WorkAreaWatch::changed, this, std::move(changed), Qt::QueuedConnection);
        qApp->installNativeEventFilter(this);
    }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
            return false;
        const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(event);
        const auto isOneOf = [notify](auto... properties) {
            return ((notify->atom == atom(properties)) || ...);
        };
        if (notify->window == rootWindow() && isOneOf(Work_area, Work_areas_of_screens))
            Q_EMIT changed();
        return false;
    }

Q_SIGNALS:
    void changed();
};

} // namespace

std::optional<QRect> workArea(const QRect &screen)
{
    if (!connection())
        return std::nullopt;
    // Those of the first virtual desktop will do: panels are on all of them.
    const auto ofScreens = askFor(rootWindow(), Work_areas_of_screens);
    const auto ofDesktop = askFor(rootWindow(), Work_area);
    const auto perScreen = rectangles(numbers(ofScreens));
    const auto together = rectangles(numbers(ofDesktop));
    if (const auto area = areaOn(screen, perScreen))
        return area;
    const auto clients = numbers(askFor(rootWindow(), Clients));
    if (const auto reserved = struts(clients); !reserved.empty())
        return withoutStruts(screen, desktopSize(), reserved);
    // The bounding box of the rest of all screens, which says little about each.
    if (!together.empty())
        return areaOn(screen, std::span(together).first(1));
    // Who tells nothing may leave panels out of the list of windows, too.
    return withoutStruts(screen, desktopSize(), struts(windowsAndFramed()));
}

std::unique_ptr<Watch> watchWorkArea(std::function<void()> changed)
{
    return connection() ? std::make_unique<WorkAreaWatch>(std::move(changed)) : nullptr;
}

} // namespace kivolo::window_system

#include "work_area_x11.moc"
