#include "platform/desktop/session_bus.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QtConcurrentRun>

namespace kivolo {

SessionBus::SessionBus(Connect connect)
{
    QObject::connect(&connection_, &QFutureWatcherBase::finished, this, &SessionBus::settled);
    connection_.setFuture(QtConcurrent::run(std::move(connect)));
}

SessionBus::~SessionBus() = default;

void SessionBus::ask(const QDBusMessage &question, Answered answered)
{
    auto *call = new QDBusPendingCallWatcher(connection().asyncCall(question), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [call, answered = std::move(answered)] {
        call->deleteLater();
        answered(*call);
    });
}

} // namespace kivolo
