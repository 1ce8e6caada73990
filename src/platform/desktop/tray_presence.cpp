#include "platform/desktop/tray_presence.h"

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <utility>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

const QString watcher = u"org.kde.StatusNotifierWatcher"_s;
const QString object = u"/StatusNotifierWatcher"_s;

} // namespace

TrayPresence::TrayPresence()
    : windowTray_(window_system::observeTray([this] { update(); }))
{
    connect(&bus_, &SessionBus::settled, this, &TrayPresence::listen);
}

TrayPresence::~TrayPresence() = default;

void TrayPresence::listen()
{
    QDBusConnection bus = bus_.connection();
    if (!bus.isConnected()) {
        busHasAnswered_ = true;
        update();
        return;
    }
    auto *service =
        new QDBusServiceWatcher(watcher, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(service, &QDBusServiceWatcher::serviceOwnerChanged, this, &TrayPresence::ask);
    for (const QString &signal :
         {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        bus.connect(watcher, object, watcher, signal, this, SLOT(ask()));
    ask();
}

// The watcher keeps the list of icons; only a host shows them.
void TrayPresence::ask()
{
    QDBusMessage question = QDBusMessage::createMethodCall(
        watcher, object, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    question.setArguments({watcher, u"IsStatusNotifierHostRegistered"_s});
    question.setAutoStartService(false);
    bus_.ask(question, [this](const QDBusPendingCall &answer) {
        const QVariant value = answer.reply().arguments().value(0);
        busTray_ = !answer.isError() && value.value<QDBusVariant>().variant().toBool();
        busHasAnswered_ = true;
        update();
    });
}

void TrayPresence::update()
{
    const bool isThere = busHasAnswered_ && (busTray_ || windowTray_->isThere());
    if (std::exchange(isThere_, isThere) != isThere)
        Q_EMIT changed();
}

} // namespace kivolo
