// Panels under X11, by the Extended Window Manager Hints.
#include "platform/desktop/panel_system.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QWindow>
#include <array>
#include <cstdlib>
#include <span>
#include <xcb/shape.h>
#include <xcb/xfixes.h>

namespace kivolo::panel_system {

namespace {

struct FreeReply
{
    void operator()(void *reply) const { std::free(reply); } // NOLINT: xcb allocates with malloc
};
template<typename Reply>
using ReplyPtr = std::unique_ptr<Reply, FreeReply>;

// Null when the program does not run on X11.
xcb_connection_t *connection()
{
    const auto *x11 =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

enum Atom {
    Window_type,
    Type_notification,
    Type_dock,
    State,
    State_above,
    State_sticky,
    State_skip_taskbar,
    State_skip_pager,
    Desktop,
    User_time,
    Frame_extents,
    Protocols,
    Delete_window,
    Ping,
    Selection,
    Work_area,
    Atom_count
};

// Asked of the server once, all in one round trip. The names are the same for every connection,
// and the program has only one.
xcb_atom_t atom(Atom which)
{
    static const std::array<xcb_atom_t, Atom_count> atoms = [] {
        // Qt opens no second X screen, and the compositor's selection carries the screen's number.
        constexpr std::array<const char *, Atom_count> names = {"_NET_WM_WINDOW_TYPE",
                                                                "_NET_WM_WINDOW_TYPE_NOTIFICATION",
                                                                "_NET_WM_WINDOW_TYPE_DOCK",
                                                                "_NET_WM_STATE",
                                                                "_NET_WM_STATE_ABOVE",
                                                                "_NET_WM_STATE_STICKY",
                                                                "_NET_WM_STATE_SKIP_TASKBAR",
                                                                "_NET_WM_STATE_SKIP_PAGER",
                                                                "_NET_WM_DESKTOP",
                                                                "_NET_WM_USER_TIME",
                                                                "_GTK_FRAME_EXTENTS",
                                                                "WM_PROTOCOLS",
                                                                "WM_DELETE_WINDOW",
                                                                "_NET_WM_PING",
                                                                "_NET_WM_CM_S0",
                                                                "_NET_WORKAREA"};
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

void setProperty(QWindow &window, Atom property, xcb_atom_t type, std::span<const uint32_t> values)
{
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, xcb_window_t(window.winId()),
                        atom(property), type, 32, uint32_t(values.size()), values.data());
}

xcb_window_t rootWindow()
{
    return xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root;
}

// Follows the selection that a compositor owns for as long as it blends windows, so that it costs
// one round trip to the server however many panels ask.
class Compositor final : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    Compositor()
    {
        const ReplyPtr<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection(), xcb_get_selection_owner(connection(), atom(Selection)), nullptr));
        present_ = reply && reply->owner != XCB_WINDOW_NONE;

        const auto *xfixes = xcb_get_extension_data(connection(), &xcb_xfixes_id);
        if (!xfixes || !xfixes->present)
            return;
        event_ = uint8_t(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
        xcb_xfixes_select_selection_input(
            connection(), rootWindow(), atom(Selection),
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        qApp->installNativeEventFilter(this);
    }

    /// The one that follows the selection now; lives as long as somebody holds it.
    static std::shared_ptr<Compositor> current()
    {
        static std::weak_ptr<Compositor> shared;
        auto held = shared.lock();
        if (!held && connection())
            shared = held = std::make_shared<Compositor>();
        return held;
    }

    bool isPresent() const { return present_; }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != event_)
            return false;
        const auto *notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event);
        if (notify->selection == atom(Selection)) {
            present_ = notify->owner != XCB_WINDOW_NONE;
            Q_EMIT changed();
        }
        return false;
    }

Q_SIGNALS:
    void changed();

private:
    bool present_ = false;
    uint8_t event_ = 0;
};

class CompositorBlending final : public Blending
{
public:
    explicit CompositorBlending(std::function<void()> changed)
        : compositor_(Compositor::current())
    {
        if (compositor_)
            QObject::connect(compositor_.get(), &Compositor::changed, &context_, std::move(changed),
                             Qt::QueuedConnection);
    }
    bool isOn() const override { return compositor_ && compositor_->isPresent(); }

private:
    std::shared_ptr<Compositor> compositor_;
    QObject context_;
};

} // namespace

std::unique_ptr<Blending> observeBlending(std::function<void()> changed)
{
    return std::make_unique<CompositorBlending>(std::move(changed));
}

void makeFloating(QWindow &window)
{
    if (!connection())
        return;
    constexpr uint32_t allDesktops = 0xFFFFFFFF;
    constexpr uint32_t neverUsed = 0;
    // A window manager that knows no notifications would take them for ordinary windows and pull
    // those that stand beyond the edge of the screen back onto it. It leaves docks alone.
    setProperty(window, Window_type, XCB_ATOM_ATOM,
                std::array{atom(Type_notification), atom(Type_dock)});
    setProperty(window, State, XCB_ATOM_ATOM,
                std::array{atom(State_above), atom(State_sticky), atom(State_skip_taskbar),
                           atom(State_skip_pager)});
    setProperty(window, Desktop, XCB_ATOM_CARDINAL, std::array{allDesktops});
    // A window that no user has touched must not be given the focus when it appears.
    setProperty(window, User_time, XCB_ATOM_CARDINAL, std::array{neverUsed});
    // Qt offers to take the focus when asked (WM_TAKE_FOCUS), which some window managers do at a
    // click even on a window whose input hint refuses it.
    setProperty(window, Protocols, XCB_ATOM_ATOM, std::array{atom(Delete_window), atom(Ping)});
}

void setCard(QWindow &window, const QSize &windowSize, const QRect &card)
{
    if (!connection())
        return;
    const double scale = window.devicePixelRatio();
    const auto device = [scale](int points) { return uint32_t(qRound(points * scale)); };
    const int right = windowSize.width() - card.left() - card.width();
    const int bottom = windowSize.height() - card.top() - card.height();
    setProperty(window, Frame_extents, XCB_ATOM_CARDINAL,
                std::array{device(card.left()), device(right), device(card.top()), device(bottom)});
    const xcb_rectangle_t shape = {int16_t(device(card.left())), int16_t(device(card.top())),
                                   uint16_t(device(card.width())), uint16_t(device(card.height()))};
    xcb_shape_rectangles(connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                         XCB_CLIP_ORDERING_UNSORTED, xcb_window_t(window.winId()), 0, 0, 1, &shape);
}

std::optional<QRect> workArea()
{
    if (!connection())
        return std::nullopt;
    // One rectangle per virtual desktop. The first one will do: panels are on all of them.
    constexpr uint32_t length = 4;
    const ReplyPtr<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection(),
                               xcb_get_property(connection(), false, rootWindow(), atom(Work_area),
                                                XCB_ATOM_CARDINAL, 0, length),
                               nullptr));
    if (!reply || reply->format != 32 || reply->value_len < length)
        return std::nullopt;
    const auto *area = static_cast<const int32_t *>(xcb_get_property_value(reply.get()));
    return QRect(area[0], area[1], area[2], area[3]);
}

} // namespace kivolo::panel_system

#include "panel_x11.moc"
