#include "support/fake_portal.h"

#include <QDBusMessage>
#include <QUuid>

namespace kivolo {

using namespace Qt::StringLiterals;

static const QString path = u"/org/freedesktop/portal/desktop"_s;

PrivateBus::PrivateBus()
{
    daemon_.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
    QByteArray line;
    while (!line.endsWith('\n') && daemon_.waitForReadyRead(10'000))
        line += daemon_.readAllStandardOutput();
    address_ = QString::fromLatin1(line).trimmed();
}

PrivateBus::~PrivateBus()
{
    daemon_.terminate();
    daemon_.waitForFinished(10'000);
}

QDBusConnection PrivateBus::connect() const
{
    return QDBusConnection::connectToBus(address_, QUuid::createUuid().toString());
}

FakePortal::FakePortal(QDBusConnection bus, const QVariant &colorScheme, int version)
    : bus_(std::move(bus))
    , colorScheme_(colorScheme)
    , version_(version)
{
    bus_.registerObject(path, this, QDBusConnection::ExportAllSlots);
    bus_.registerService(u"org.freedesktop.portal.Desktop"_s);
}

FakePortal::~FakePortal()
{
    QDBusConnection::disconnectFromBus(bus_.name());
}

void FakePortal::change(const QVariant &colorScheme)
{
    colorScheme_ = colorScheme;
    tell(u"org.gnome.desktop.interface"_s, u"color-scheme"_s, u"not the one"_s);
    tell(u"org.freedesktop.appearance"_s, u"contrast"_s, 7U);
    tell(u"org.freedesktop.appearance"_s, u"color-scheme"_s, colorScheme);
}

void FakePortal::tell(const QString &settings, const QString &key, const QVariant &value)
{
    QDBusMessage message =
        QDBusMessage::createSignal(path, u"org.freedesktop.portal.Settings"_s, u"SettingChanged"_s);
    message << settings << key << QVariant::fromValue(QDBusVariant(value));
    bus_.send(message);
}

QDBusVariant FakePortal::ReadOne(const QString &settings, const QString &key,
                                 const QDBusMessage &call)
{
    if (version_ < 2) {
        call.setDelayedReply(true);
        bus_.send(call.createErrorReply(QDBusError::UnknownMethod, u"no such method"_s));
        return {};
    }
    return QDBusVariant(answer(settings, key, call));
}

QDBusVariant FakePortal::Read(const QString &settings, const QString &key, const QDBusMessage &call)
{
    const QVariant value = answer(settings, key, call);
    return QDBusVariant(QVariant::fromValue(QDBusVariant(value)));
}

QVariant FakePortal::answer(const QString &settings, const QString &key, const QDBusMessage &call)
{
    ++reads_;
    const bool known = settings == "org.freedesktop.appearance"_L1 && key == "color-scheme"_L1;
    if (known && colorScheme_.isValid())
        return colorScheme_;
    call.setDelayedReply(true);
    bus_.send(call.createErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"no setting"_s));
    return 0;
}

} // namespace kivolo
