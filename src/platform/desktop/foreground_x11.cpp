// Which windows stand in front of which, under X11.
#include "platform/desktop/floating_window.h"
#include "platform/desktop/x11.h"
#include "platform/foundation/main_queue.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <algorithm>
#include <span>
#include <vector>

namespace kivolo::window_system {

using namespace std::chrono_literals;
using namespace x11;

namespace {

std::vector<xcb_window_t> windowsOnScreen()
{
    return childrenIn(xcb_query_tree(connection(), rootWindow()));
}

// Those of `windows` that show something. One round trip.
std::vector<xcb_window_t> shownAmong(std::span<const xcb_window_t> windows)
{
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    for (const xcb_window_t window : windows)
        cookies.push_back(xcb_get_window_attributes(connection(), window));
    std::vector<xcb_window_t> shown;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const ReplyPtr<xcb_get_window_attributes_reply_t> reply(
            xcb_get_window_attributes_reply(connection(), cookies[i], nullptr));
        if (reply && reply->map_state == XCB_MAP_STATE_VIEWABLE &&
            reply->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
            shown.push_back(windows[i]);
    }
    return shown;
}

// A window manager marks the windows that it manages, and may have put them into a frame of its
// own, or into two. One round trip for each of these levels.
bool isManaged(xcb_window_t window)
{
    std::vector level{window};
    for (int depth = 0; depth < 3 && !level.empty(); ++depth) {
        std::vector<xcb_get_property_cookie_t> marks;
        std::vector<xcb_query_tree_cookie_t> trees;
        for (const xcb_window_t one : level) {
            marks.push_back(xcb_get_property(connection(), false, one, atom(Managed_state),
                                             XCB_GET_PROPERTY_TYPE_ANY, 0, 0));
            trees.push_back(xcb_query_tree(connection(), one));
        }
        bool marked = false;
        std::vector<xcb_window_t> below;
        for (std::size_t i = 0; i < level.size(); ++i) {
            const ReplyPtr<xcb_get_property_reply_t> mark(
                xcb_get_property_reply(connection(), marks[i], nullptr));
            marked = marked || (mark && mark->type != XCB_ATOM_NONE);
            const auto children = childrenIn(trees[i]);
            below.insert(below.end(), children.begin(), children.end());
        }
        if (marked)
            return true;
        level = std::move(below);
    }
    return false;
}

// Some screen locks leave out the outermost pixels, because compositors treat a window that covers
// all of them in a way of its own.
bool covers(xcb_window_t window, const QScreen &screen)
{
    constexpr int nearlyAll = 90; // per cent
    const ReplyPtr<xcb_get_geometry_reply_t> reply(
        xcb_get_geometry_reply(connection(), xcb_get_geometry(connection(), window), nullptr));
    if (!reply)
        return false; // it has gone
    // Qt scales the size of a screen but keeps its top-left corner in device pixels.
    const QRect device(screen.geometry().topLeft(),
                       (QSizeF(screen.size()) * screen.devicePixelRatio()).toSize());
    const QRect covered = device & QRect(reply->x, reply->y, reply->width, reply->height);
    return qint64(covered.width()) * covered.height() * 100 >=
           qint64(device.width()) * device.height() * nearlyAll;
}

void restack(xcb_window_t window, xcb_stack_mode_t mode, xcb_window_t sibling)
{
    const uint32_t values[] = {sibling, mode};
    const auto cookie = xcb_configure_window_checked(
        connection(), window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values);
    // It fails when the other one has gone meanwhile.
    xcb_discard_reply(connection(), cookie.sequence);
}

// Keeps all floating windows of the program together in front. While there are none it does not
// exist, and the server tells nothing of other programs' windows.
class Front final : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    Front()
    {
        listen(true);
        qApp->installNativeEventFilter(this);
    }
    ~Front() override { listen(false); }

    static std::shared_ptr<Front> shared()
    {
        static std::weak_ptr<Front> theOne;
        auto held = theOne.lock();
        if (!held)
            theOne = held = std::make_shared<Front>();
        return held;
    }

    void add(xcb_window_t id, const QScreen &screen)
    {
        if (windows_.empty())
            putInFront(id, screen);
        else
            restack(id, XCB_STACK_MODE_ABOVE, windows_.back());
        windows_.push_back(id);
    }

    void remove(xcb_window_t window) { std::erase(windows_, window); }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        switch (event->response_type & 0x7f) {
        case XCB_CONFIGURE_NOTIFY: {
            const auto *notify = reinterpret_cast<const xcb_configure_notify_event_t *>(event);
            follow(notify->event);
            break;
        }
        case XCB_MAP_NOTIFY: {
            const auto *notify = reinterpret_cast<const xcb_map_notify_event_t *>(event);
            if (notify->event == rootWindow() && isOurs(notify->window))
                queue_.after(0ms, this, [this, window = notify->window] { yieldToLock(window); });
            follow(notify->event);
            break;
        }
        case XCB_CLIENT_MESSAGE:
            return isForWindowManager(
                reinterpret_cast<const xcb_client_message_event_t *>(event)->type);
        default:
            break;
        }
        return false;
    }

private:
    // What the program asks of the window manager goes to the root window, and so comes to whoever
    // listens there. Of these Qt would complain that it knows no such message.
    static bool isForWindowManager(xcb_atom_t message)
    {
        return message == atom(Desktop) || message == atom(Change_state);
    }

    bool isOurs(xcb_window_t window) const
    {
        return std::find(windows_.begin(), windows_.end(), window) != windows_.end();
    }

    // Qt listens to the root window over the same connection, for other events.
    void listen(bool on)
    {
        const ReplyPtr<xcb_get_window_attributes_reply_t> now(xcb_get_window_attributes_reply(
            connection(), xcb_get_window_attributes(connection(), rootWindow()), nullptr));
        if (!now)
            return;
        const uint32_t others =
            now->your_event_mask & ~uint32_t(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
        const uint32_t mask = on ? others | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY : others;
        xcb_change_window_attributes(connection(), rootWindow(), XCB_CW_EVENT_MASK, &mask);
    }

    void putInFront(xcb_window_t window, const QScreen &screen)
    {
        const auto shown = shownAmong(windowsOnScreen());
        xcb_window_t covering = XCB_WINDOW_NONE;
        for (auto other = shown.rbegin(); other != shown.rend(); ++other) {
            if (isManaged(*other)) {
                restack(window, XCB_STACK_MODE_ABOVE, *other);
                return;
            }
            if (covers(*other, screen))
                covering = *other;
        }
        if (covering != XCB_WINDOW_NONE)
            restack(window, XCB_STACK_MODE_BELOW, covering);
    }

    // Compositors that keep an order of their own take a window for the front one when it appears,
    // wherever it was put before. They follow what changes from then on.
    void yieldToLock(xcb_window_t window)
    {
        const auto stack = windowsOnScreen();
        const auto place = std::find(stack.begin(), stack.end(), window);
        if (place == stack.end() || stack.size() < 2)
            return;
        const auto above = shownAmong({std::next(place), stack.end()});
        const bool locked = std::any_of(above.begin(), above.end(), [this](xcb_window_t other) {
            return !isOurs(other) && covers(other, *QGuiApplication::primaryScreen()) &&
                   !isManaged(other);
        });
        if (!locked)
            return;
        const bool isLast = place == stack.begin();
        const xcb_window_t neighbour = isLast ? *std::next(place) : *std::prev(place);
        restack(window, isLast ? XCB_STACK_MODE_ABOVE : XCB_STACK_MODE_BELOW, neighbour);
        restack(window, isLast ? XCB_STACK_MODE_BELOW : XCB_STACK_MODE_ABOVE, neighbour);
        xcb_flush(connection());
    }

    // A window that is dragged tells each of its steps, so that they are gathered. Qt gathers, too:
    // of several windows that have changed it tells the last one, which may be one of ours.
    void follow(xcb_window_t parent)
    {
        constexpr MainQueue::Duration gathering = 10ms;
        if (parent != rootWindow() || lookIsDue_)
            return;
        lookIsDue_ = true;
        const auto rest = lastReturn_ + pause_ - queue_.uptime();
        queue_.after(std::max(rest, gathering), this, [this] { look(); });
    }

    void look()
    {
        lookIsDue_ = false;
        const auto stack = windowsOnScreen();
        const auto lowest =
            std::find_if(stack.begin(), stack.end(), [this](auto one) { return isOurs(one); });
        const auto above = shownAmong({lowest, stack.end()});
        for (auto other = above.rbegin(); other != above.rend(); ++other) {
            if (!isOurs(*other) && isManaged(*other)) {
                returnInFrontOf(*other, {lowest, stack.end()});
                return;
            }
        }
    }

    // Each comes to stand directly in front of `other`, so the front one goes first.
    void returnInFrontOf(xcb_window_t other, std::span<const xcb_window_t> stack)
    {
        const auto end = std::find(stack.begin(), stack.end(), other);
        for (auto one = std::make_reverse_iterator(end); one != stack.rend(); ++one) {
            if (isOurs(*one))
                restack(*one, XCB_STACK_MODE_ABOVE, other);
        }
        xcb_flush(connection());
        rest();
    }

    // Another program may want the same for its window: while one return follows the other, the
    // pauses between them double.
    void rest()
    {
        constexpr MainQueue::Duration longest = 2s;
        const auto now = queue_.uptime();
        const bool again = now - lastReturn_ <= 2 * longest;
        pause_ = again ? std::clamp(2 * pause_, MainQueue::Duration(20ms), longest) : 0ms;
        lastReturn_ = now;
    }

    SystemMainQueue queue_;
    std::vector<xcb_window_t> windows_; // from back to front
    bool lookIsDue_ = false;
    MainQueue::Duration lastReturn_{-1h};
    MainQueue::Duration pause_{0};
};

class FrontPlace final : public Watch
{
public:
    explicit FrontPlace(QWindow &window)
        : front_(Front::shared())
        , window_(xcb_window_t(window.winId()))
    {
        front_->add(window_, *window.screen());
    }
    ~FrontPlace() override { front_->remove(window_); }
    FrontPlace(const FrontPlace &) = delete;
    FrontPlace &operator=(const FrontPlace &) = delete;

private:
    std::shared_ptr<Front> front_;
    xcb_window_t window_;
};

} // namespace

std::unique_ptr<Watch> keepInFront(QWindow &window)
{
    return connection() ? std::make_unique<FrontPlace>(window) : nullptr;
}

} // namespace kivolo::window_system

#include "foreground_x11.moc"
