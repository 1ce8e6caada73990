// The programs that serve the whole desktop, under X11.
#include "platform/desktop/presence.h"
#include "platform/desktop/x11.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QCoreApplication>
#include <array>
#include <optional>
#include <xcb/xfixes.h>

namespace kivolo::window_system {

using namespace x11;

namespace {

// Something that shows on the X server whether a program serves the desktop. Shared by all who
// follow it, so that it costs one round trip to the server however many ask.
class Followed : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT
public:
    Followed() { qApp->installNativeEventFilter(this); }

    /// The one of its kind that follows `which` now; lives as long as somebody holds it. None when
    /// there is no X server.
    template<typename Kind>
    static std::shared_ptr<Followed> shared(Atom which)
    {
        static std::array<std::weak_ptr<Followed>, Atom_count> all;
        auto held = all[which].lock();
        if (!held && connection())
            all[which] = held = std::make_shared<Kind>(atom(which));
        return held;
    }

    bool isThere() const { return isThere_; }

    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto told = tells(*static_cast<const xcb_generic_event_t *>(message));
        if (told) {
            isThere_ = *told;
            Q_EMIT changed();
        }
        return false;
    }

Q_SIGNALS:
    void changed();

protected:
    /// Whether `event` says that it is there now, or has gone; absent for any other event.
    virtual std::optional<bool> tells(const xcb_generic_event_t &event) const = 0;

    bool isThere_ = false;
};

// The selection that a desktop's program owns for as long as it serves.
class SelectionOwner final : public Followed
{
public:
    explicit SelectionOwner(xcb_atom_t selection)
        : selection_(selection)
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
    }

private:
    std::optional<bool> tells(const xcb_generic_event_t &event) const override
    {
        if (!event_ || (event.response_type & 0x7f) != *event_)
            return {};
        const auto &notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t &>(event);
        if (notify.selection != selection_)
            return {};
        return notify.owner != XCB_WINDOW_NONE;
    }

    xcb_atom_t selection_;
    std::optional<uint8_t> event_; // absent where the server tells nothing
};

// A property of the root window by which a compositor announces what it can.
class Announcement final : public Followed
{
public:
    explicit Announcement(xcb_atom_t property)
        : property_(property)
    {
        const ReplyPtr<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(connection(),
                                   xcb_get_property(connection(), false, rootWindow(), property_,
                                                    XCB_GET_PROPERTY_TYPE_ANY, 0, 0),
                                   nullptr));
        isThere_ = reply && reply->type != XCB_ATOM_NONE;
    }

private:
    std::optional<bool> tells(const xcb_generic_event_t &event) const override
    {
        if ((event.response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
            return {};
        const auto &notify = reinterpret_cast<const xcb_property_notify_event_t &>(event);
        if (notify.window != rootWindow() || notify.atom != property_)
            return {};
        return notify.state == XCB_PROPERTY_NEW_VALUE;
    }

    xcb_atom_t property_;
};

class SharedPresence final : public Presence
{
public:
    SharedPresence(std::shared_ptr<Followed> followed, std::function<void()> changed)
        : followed_(std::move(followed))
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

} // namespace

std::unique_ptr<Presence> observeCompositor(std::function<void()> changed)
{
    return std::make_unique<SharedPresence>(Followed::shared<SelectionOwner>(Compositor),
                                            std::move(changed));
}

std::unique_ptr<Presence> observeBlur(std::function<void()> changed)
{
    return std::make_unique<SharedPresence>(Followed::shared<Announcement>(Blur_region),
                                            std::move(changed));
}

std::unique_ptr<Presence> observeTray(std::function<void()> changed)
{
    return std::make_unique<SharedPresence>(Followed::shared<SelectionOwner>(Tray),
                                            std::move(changed));
}

} // namespace kivolo::window_system

#include "presence_x11.moc"
