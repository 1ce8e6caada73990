// Windows under X11, by the Extended Window Manager Hints.
#include "platform/desktop/panel_system.h"
#include "platform/desktop/x11.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QCoreApplication>
#include <QPainterPath>
#include <QRegion>
#include <QWindow>
#include <algorithm>
#include <array>
#include <span>
#include <vector>
#include <xcb/shape.h>
#include <xcb/xfixes.h>

namespace kivolo::panel_system {

using namespace x11;

namespace {

void setProperty(QWindow &window, Atom property, xcb_atom_t type, std::span<const uint32_t> values)
{
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, xcb_window_t(window.winId()),
                        atom(property), type, 32, uint32_t(values.size()), values.data());
}

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

// Follows the selection that a desktop's program owns for as long as it serves, so that it costs
// one round trip to the server however many windows ask.
class SelectionOwner final : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    explicit SelectionOwner(Atom selection)
        : selection_(atom(selection))
    {
        const ReplyPtr<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection(), xcb_get_selection_owner(connection(), selection_), nullptr));
        isThere_ = reply && reply->owner != XCB_WINDOW_NONE;

        const auto *xfixes = xcb_get_extension_data(connection(), &xcb_xfixes_id);
        if (!xfixes || !xfixes->present)
            return;
        event_ = uint8_t(xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY);
        xcb_xfixes_select_selection_input(
            connection(), rootWindow(), selection_,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        qApp->installNativeEventFilter(this);
    }

    /// The one that follows the selection now; lives as long as somebody holds it.
    static std::shared_ptr<SelectionOwner> of(Atom selection)
    {
        static std::array<std::weak_ptr<SelectionOwner>, Atom_count> shared;
        auto held = shared[selection].lock();
        if (!held && connection())
            shared[selection] = held = std::make_shared<SelectionOwner>(selection);
        return held;
    }

    bool isThere() const { return isThere_; }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != event_)
            return false;
        const auto *notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event);
        if (notify->selection == selection_) {
            isThere_ = notify->owner != XCB_WINDOW_NONE;
            Q_EMIT changed();
        }
        return false;
    }

Q_SIGNALS:
    void changed();

private:
    xcb_atom_t selection_;
    bool isThere_ = false;
    uint8_t event_ = 0;
};

// Follows a property of the root window by which a compositor announces what it can.
class Announcement final : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    explicit Announcement(Atom property)
        : property_(property)
    {
        look();
        qApp->installNativeEventFilter(this);
    }

    static std::shared_ptr<Announcement> of(Atom property)
    {
        static std::array<std::weak_ptr<Announcement>, Atom_count> shared;
        auto held = shared[property].lock();
        if (!held && connection())
            shared[property] = held = std::make_shared<Announcement>(property);
        return held;
    }

    bool isThere() const { return isThere_; }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
            return false;
        const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(event);
        if (notify->window == rootWindow() && notify->atom == atom(property_)) {
            isThere_ = notify->state == XCB_PROPERTY_NEW_VALUE;
            Q_EMIT changed();
        }
        return false;
    }

Q_SIGNALS:
    void changed();

private:
    void look()
    {
        const ReplyPtr<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(connection(), askFor(rootWindow(), property_), nullptr));
        isThere_ = reply && reply->type != XCB_ATOM_NONE;
    }

    Atom property_;
    bool isThere_ = false;
};

// Of what many may follow at once, a SelectionOwner or an Announcement.
template<typename Followed>
class SharedPresence final : public Presence
{
public:
    SharedPresence(Atom which, std::function<void()> changed)
        : followed_(Followed::of(which))
    {
        if (followed_)
            QObject::connect(followed_.get(), &Followed::changed, &context_, std::move(changed),
                             Qt::QueuedConnection);
    }
    bool isThere() const override { return followed_ && followed_->isThere(); }

private:
    std::shared_ptr<Followed> followed_;
    QObject context_;
};

// The card's shape in device pixels, as rectangles.
std::vector<uint32_t> blurRegion(const QRectF &card, double radius)
{
    QPainterPath path;
    path.addRoundedRect(card, radius, radius);
    std::vector<uint32_t> numbers;
    for (const QRect &part : QRegion(path.toFillPolygon().toPolygon())) {
        for (const int number : {part.x(), part.y(), part.width(), part.height()})
            numbers.push_back(uint32_t(number));
    }
    return numbers;
}

} // namespace

std::unique_ptr<Presence> observeCompositor(std::function<void()> changed)
{
    return std::make_unique<SharedPresence<SelectionOwner>>(Compositor, std::move(changed));
}

std::unique_ptr<Presence> observeBlur(std::function<void()> changed)
{
    return std::make_unique<SharedPresence<Announcement>>(Blur_region, std::move(changed));
}

std::unique_ptr<Presence> observeTray(std::function<void()> changed)
{
    return std::make_unique<SharedPresence<SelectionOwner>>(Tray, std::move(changed));
}

void makeFloating(QWindow &window)
{
    if (!connection())
        return;
    // In place of Qt's own types: for compositors, who treat each kind in its own way.
    setProperty(window, Window_type, XCB_ATOM_ATOM, std::array{atom(Type_notification)});
}

void setCard(QWindow &window, const QSize &card, const QMargins &shadow)
{
    if (!connection())
        return;
    const double scale = window.devicePixelRatio();
    const auto device = [scale](int points) { return uint32_t(qRound(points * scale)); };
    // Compositors throw a shadow of their own around windows that do not say where they end.
    setProperty(window, Frame_extents, XCB_ATOM_CARDINAL,
                std::array{device(shadow.left()), device(shadow.right()), device(shadow.top()),
                           device(shadow.bottom())});
    const xcb_rectangle_t shape = {int16_t(device(shadow.left())), int16_t(device(shadow.top())),
                                   uint16_t(device(card.width())), uint16_t(device(card.height()))};
    xcb_shape_rectangles(connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT,
                         XCB_CLIP_ORDERING_UNSORTED, xcb_window_t(window.winId()), 0, 0, 1, &shape);
}

void setBlur(QWindow &window, const QRect &card, double cornerRadius, bool blurred)
{
    if (!connection())
        return;
    if (!blurred) {
        xcb_delete_property(connection(), xcb_window_t(window.winId()), atom(Blur_region));
        return;
    }
    const double scale = window.devicePixelRatio();
    const QRectF device(QPointF(card.topLeft()) * scale, QSizeF(card.size()) * scale);
    setProperty(window, Blur_region, XCB_ATOM_CARDINAL, blurRegion(device, cornerRadius * scale));
}

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

} // namespace kivolo::panel_system

#include "panel_x11.moc"
