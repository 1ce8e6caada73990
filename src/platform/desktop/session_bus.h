// The desktop's message bus.
#pragma once

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QFutureWatcher>
#include <QObject>
#include <functional>

namespace kivolo {

/// A connection to the session bus. It is made on the thread pool, because a bus takes its time to
/// accept one, and nothing here waits for an answer. Main thread only.
class SessionBus final : public QObject
{
    Q_OBJECT
public:
    using Connect = std::function<QDBusConnection()>;
    using Answered = std::function<void(const QDBusPendingCall &answer)>;

    /// Begins to connect at once.
    explicit SessionBus(Connect connect = &QDBusConnection::sessionBus);
    ~SessionBus() override;

    /// Whether it is known if there is a bus.
    bool isSettled() const { return connection_.isFinished(); }
    /// The connection, which need not have succeeded. Only once the bus is settled.
    QDBusConnection connection() const { return connection_.result(); }

    /// Sends `question` over a connection that has succeeded. `answered` is called from the event
    /// loop with the answer or the error, and not any more once this is destroyed.
    void ask(const QDBusMessage &question, Answered answered);

Q_SIGNALS:
    /// isSettled() has become true.
    void settled();

private:
    QFutureWatcher<QDBusConnection> connection_;
};

} // namespace kivolo
