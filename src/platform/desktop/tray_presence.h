// Whether the desktop shows icons of programs all the time.
#pragma once

#include "platform/desktop/presence.h"
#include "platform/desktop/session_bus.h"

#include <QObject>
#include <memory>

namespace kivolo {

/// A desktop's tray, which comes later than the program at a login, and may go and come back. It
/// makes itself known on the session bus (org.kde.StatusNotifierWatcher) or as the owner of a
/// selection of the X server. Nothing here waits for either. Main thread only.
class TrayPresence final : public QObject
{
    Q_OBJECT
public:
    TrayPresence();
    ~TrayPresence() override;

    /// False until the bus has answered or turned out not to be there: Qt asks the bus
    /// only once in a process which of the two it is to be, and would wait for its answer.
    bool isThere() const { return isThere_; }

Q_SIGNALS:
    /// isThere() has another value.
    void changed();

private Q_SLOTS:
    // By name, because a bus connects to nothing else.
    void ask();

private:
    void listen();
    void update();

    SessionBus bus_;
    std::unique_ptr<window_system::Presence> windowTray_;
    bool busHasAnswered_ = false;
    bool busTray_ = false;
    bool isThere_ = false;
};

} // namespace kivolo
