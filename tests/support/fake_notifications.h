// A desktop that takes notifications and shows them to the test.
#pragma once

#include <QDBusConnection>
#include <QImage>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace kivolo {

class FakeNotifications final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Taken
    {
        QString summary;
        QString body;
        QVariantMap hints;
        int expiry; // milliseconds

        uint urgency() const { return hints.value(QStringLiteral("urgency")).toUInt(); }
        /// Null when there is none, or none that the interface's rules allow.
        QImage picture() const;
    };

    FakeNotifications(QDBusConnection bus, QStringList capabilities);
    ~FakeNotifications() override;

    const QList<Taken> &taken() const { return taken_; }

public Q_SLOTS:
    QStringList GetCapabilities() const { return capabilities_; }
    uint Notify(const QString &application, uint replaced, const QString &icon,
                const QString &summary, const QString &body, const QStringList &actions,
                const QVariantMap &hints, int expiry);

private:
    QDBusConnection bus_;
    QStringList capabilities_;
    QList<Taken> taken_;
};

} // namespace kivolo
