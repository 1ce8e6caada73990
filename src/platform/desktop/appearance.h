// Whether the desktop is set to light or to dark.
#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QFutureWatcher>
#include <QObject>
#include <functional>
#include <optional>

namespace kivolo {

/// What the user has chosen for the whole desktop, as its settings portal tells it
/// (org.freedesktop.portal.Settings on the session bus). Nothing here waits for the bus or the
/// portal: where one is missing, slow or answers nonsense, the desktop simply says nothing.
/// Main thread only.
class Appearance final : public QObject
{
    Q_OBJECT
public:
    using Connect = std::function<QDBusConnection()>;

    /// Begins to ask at once. `connect` is called on the thread pool, because a bus takes its time
    /// to accept a connection.
    explicit Appearance(Connect connect = &QDBusConnection::sessionBus, QObject *parent = nullptr);
    ~Appearance() override;

    /// Absent while the desktop has not said anything, or has no preference.
    std::optional<bool> prefersDark() const { return prefersDark_; }

Q_SIGNALS:
    /// prefersDark() has another value.
    void changed();

private Q_SLOTS:
    // By name, because a bus connects to nothing else.
    void settingChanged(const QString &settings, const QString &key, const QDBusVariant &value);

private:
    void listen();
    void ask(const QString &method);
    void take(const QVariant &colorScheme);

    QFutureWatcher<QDBusConnection> connection_;
    std::optional<bool> prefersDark_;
};

} // namespace kivolo
