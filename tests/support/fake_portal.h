// A desktop whose settings a test decides.
#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QMap>
#include <QObject>
#include <QProcess>
#include <QTemporaryFile>

namespace kivolo {

/// A message bus of its own: nothing that runs beside the test is on it, and nothing that the
/// machine has installed is started on it.
class PrivateBus
{
public:
    PrivateBus();
    ~PrivateBus();

    /// For DBUS_SESSION_BUS_ADDRESS.
    const QString &address() const { return address_; }
    /// A new connection under a name of its own.
    QDBusConnection connect() const;

private:
    QTemporaryFile configuration_;
    QProcess daemon_;
    QString address_;
};

/// The desktop's settings, as a portal of version 2 or 1 tells them.
class FakePortal final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    FakePortal(QDBusConnection bus, const QVariant &colorScheme, int version = 2);
    ~FakePortal() override;

    /// Changes the colour scheme, and tells everybody.
    void change(const QVariant &colorScheme);
    /// Changes any setting, likewise.
    void set(const QString &group, const QString &key, const QVariant &value);
    /// Questions for the colour scheme.
    int reads() const { return reads_; }

public Q_SLOTS:
    QDBusVariant ReadOne(const QString &settings, const QString &key, const QDBusMessage &call);
    QDBusVariant Read(const QString &settings, const QString &key, const QDBusMessage &call);

private:
    void tell(const QString &settings, const QString &key, const QVariant &value);
    QVariant answer(const QString &settings, const QString &key, const QDBusMessage &call);

    QDBusConnection bus_;
    QMap<QString, QVariant> values_; // by group/key
    int version_;
    int reads_ = 0;
};

} // namespace kivolo
