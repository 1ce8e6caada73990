// A desktop whose settings a test decides, and that shows the test its notifications.
#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QImage>
#include <QMap>
#include <QProcess>
#include <QTemporaryFile>
#include <QUuid>
#include <stdexcept>
#include <utility>

namespace kivolo {

using namespace Qt::StringLiterals;

/// A message bus of its own: nothing that runs beside the test is on it, and nothing that the
/// machine has installed is started on it.
class PrivateBus
{
public:
    PrivateBus()
    {
        configuration_.open();
        configuration_.write(
            R"(<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)");
        configuration_.close();
        daemon_.start(u"dbus-daemon"_s, {u"--config-file"_s, configuration_.fileName(),
                                         u"--nofork"_s, u"--print-address"_s});
        QByteArray line;
        while (!line.endsWith('\n') && daemon_.waitForReadyRead(10'000))
            line += daemon_.readAllStandardOutput();
        address_ = QString::fromLatin1(line).trimmed();
        if (address_.isEmpty())
            throw std::runtime_error("no bus could be started");
    }
    ~PrivateBus()
    {
        daemon_.terminate();
        daemon_.waitForFinished(10'000);
    }

    /// For DBUS_SESSION_BUS_ADDRESS.
    const QString &address() const { return address_; }
    /// A new connection under a name of its own.
    QDBusConnection connect() const
    {
        return QDBusConnection::connectToBus(address_, QUuid::createUuid().toString());
    }

private:
    QTemporaryFile configuration_;
    QProcess daemon_;
    QString address_;
};

/// One service of a desktop, on a connection that ends with it.
class FakeService : public QDBusVirtualObject
{
public:
    FakeService(QDBusConnection bus, const QString &path, const QString &name)
        : bus_(std::move(bus))
    {
        bus_.registerVirtualObject(path, this);
        bus_.registerService(name);
    }
    ~FakeService() override { QDBusConnection::disconnectFromBus(bus_.name()); }
    QString introspect(const QString &) const override { return {}; }

protected:
    QDBusConnection bus_;
};

/// The desktop's settings, as a portal of version 2 or 1 tells them.
class FakePortal final : public FakeService
{
public:
    inline static const QString appearance = u"org.freedesktop.appearance"_s;
    inline static const QString interface = u"org.gnome.desktop.interface"_s;

    FakePortal(QDBusConnection bus, const QVariant &colorScheme, int version = 2)
        : FakeService(std::move(bus), path, u"org.freedesktop.portal.Desktop"_s)
        , version_(version)
    {
        values[{appearance, u"color-scheme"_s}] = colorScheme;
    }

    QMap<std::pair<QString, QString>, QVariant> values; ///< By group and key.

    /// Changes a setting, and tells everybody, after others that nobody should heed.
    void set(const QString &group, const QString &key, const QVariant &value)
    {
        tell(interface, u"color-scheme"_s, u"not the one"_s);
        tell(appearance, u"contrast"_s, 7U);
        values[{group, key}] = value;
        tell(group, key, value);
    }
    void change(const QVariant &colorScheme) { set(appearance, u"color-scheme"_s, colorScheme); }

    bool handleMessage(const QDBusMessage &call, const QDBusConnection &bus) override
    {
        const bool old = call.member() == u"Read"_s;
        if (!old && version_ < 2)
            return bus.send(call.createErrorReply(QDBusError::UnknownMethod, u"no such method"_s));
        const QVariantList names = call.arguments();
        const QVariant value = values.value({names[0].toString(), names[1].toString()});
        if (!value.isValid())
            return bus.send(
                call.createErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"none"_s));
        const QVariant once = QVariant::fromValue(QDBusVariant(value));
        return bus.send(call.createReply(old ? QVariant::fromValue(QDBusVariant(once)) : once));
    }

private:
    inline static const QString path = u"/org/freedesktop/portal/desktop"_s;

    void tell(const QString &group, const QString &key, const QVariant &value)
    {
        QDBusMessage message = QDBusMessage::createSignal(
            path, u"org.freedesktop.portal.Settings"_s, u"SettingChanged"_s);
        message << group << key << QVariant::fromValue(QDBusVariant(value));
        bus_.send(message);
    }

    int version_;
};

/// Takes notifications.
class FakeNotifications final : public FakeService
{
public:
    struct Taken
    {
        QString summary;
        QString body;
        QVariantMap hints;
        int expiry; // milliseconds

        uint urgency() const { return hints.value(u"urgency"_s).toUInt(); }
        /// Null when there is none, or none that the interface's rules allow.
        QImage picture() const
        {
            const auto data = hints.value(u"image-data"_s).value<QDBusArgument>();
            if (data.currentSignature() != u"(iiibiiay)"_s)
                return {};
            int width = 0;
            int height = 0;
            int bytesPerLine = 0;
            bool hasAlpha = false;
            int bitsPerSample = 0;
            int channels = 0;
            QByteArray bytes;
            data.beginStructure();
            data >> width >> height >> bytesPerLine >> hasAlpha >> bitsPerSample >> channels >>
                bytes;
            data.endStructure();
            if (!hasAlpha || bitsPerSample != 8 || channels != 4 ||
                bytes.size() != bytesPerLine * height)
                return {};
            return QImage(reinterpret_cast<const uchar *>(bytes.constData()), width, height,
                          bytesPerLine, QImage::Format_RGBA8888)
                .copy();
        }
    };

    FakeNotifications(QDBusConnection bus, QStringList capabilities)
        : FakeService(std::move(bus), u"/org/freedesktop/Notifications"_s,
                      u"org.freedesktop.Notifications"_s)
        , capabilities_(std::move(capabilities))
    {}

    const QList<Taken> &taken() const { return taken_; }

    bool handleMessage(const QDBusMessage &call, const QDBusConnection &bus) override
    {
        if (call.member() != u"Notify"_s)
            return bus.send(call.createReply(capabilities_));
        const QVariantList given = call.arguments();
        taken_.append({given[3].toString(), given[4].toString(), qdbus_cast<QVariantMap>(given[6]),
                       given[7].toInt()});
        return bus.send(call.createReply(uint(taken_.size())));
    }

private:
    QStringList capabilities_;
    QList<Taken> taken_;
};

} // namespace kivolo
