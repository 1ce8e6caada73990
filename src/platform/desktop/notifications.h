// Short messages that the desktop shows for its programs.
#pragma once

#include "platform/desktop/session_bus.h"

#include <QImage>
#include <QObject>
#include <chrono>
#include <functional>
#include <vector>

namespace kivolo {

/// What a notification says. All of it is plain text, whatever it may look like.
struct Notification
{
    QString summary; ///< One line: what ends a line becomes a space.
    QString body;
    QImage picture; ///< May be null. Goes over the bus as it is: a few hundred pixels a side.
    std::chrono::milliseconds life{0}; ///< Desktops may differ on it.
    bool urgent = false;
};

/// The desktop's notification service (org.freedesktop.Notifications on the session bus), to which
/// the program is what the application object says of its name and its desktop file. Nothing
/// here waits for the bus or the service: where one is missing or slow, nothing is shown.
/// Main thread only.
class Notifications final : public QObject
{
    Q_OBJECT
public:
    using Told = std::function<void(bool taken)>;

    /// `connect` makes the connection, see SessionBus.
    explicit Notifications(SessionBus::Connect connect = &QDBusConnection::sessionBus);
    ~Notifications() override;

    /// Shows `notification`; those shown one after the other stay in that order. `told` is called
    /// later, from the event loop, with whether the service has taken it.
    void show(const Notification &notification, Told told = {});

private:
    struct Waiting
    {
        Notification notification;
        Told told;
    };
    void send(const Waiting &message);
    void notify(const Waiting &message, bool takesMarkup);

    SessionBus bus_;
    std::vector<Waiting> waiting_; // for the connection
};

} // namespace kivolo
