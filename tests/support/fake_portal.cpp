#include "support/fake_portal.h"

#include <QDBusMessage>
#include <QUuid>
#include <stdexcept>

namespace kivolo {

using namespace Qt::StringLiterals;

static const QString path = u"/org/freedesktop/portal/desktop"_s;
static const QString appearance = u"org.freedesktop.appearance"_s;
static const QString colorSchemeKey = u"color-scheme"_s;

static QString pathOf(const QString &group, const QString &key)
{
    return group + QLatin1Char('/') + key;
}

PrivateBus::PrivateBus()
{
    configuration_.open();
    configuration_.write(
        R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
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
    daemon_.start(u"dbus-daemon"_s, {u"--config-file"_s, configuration_.fileName(), u"--nofork"_s,
                                     u"--print-address"_s});
    QByteArray line;
    while (!line.endsWith('\n') && daemon_.waitForReadyRead(10'000))
        line += daemon_.readAllStandardOutput();
    address_ = QString::fromLatin1(line).trimmed();
    if (address_.isEmpty())
        throw std::runtime_error("no bus could be started");
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
    , version_(version)
{
    values_[pathOf(appearance, colorSchemeKey)] = colorScheme;
    bus_.registerObject(path, this, QDBusConnection::ExportAllSlots);
    bus_.registerService(u"org.freedesktop.portal.Desktop"_s);
}

FakePortal::~FakePortal()
{
    QDBusConnection::disconnectFromBus(bus_.name());
}

void FakePortal::change(const QVariant &colorScheme)
{
    tell(u"org.gnome.desktop.interface"_s, colorSchemeKey, u"not the one"_s);
    tell(appearance, u"contrast"_s, 7U);
    set(appearance, colorSchemeKey, colorScheme);
}

void FakePortal::set(const QString &group, const QString &key, const QVariant &value)
{
    values_[pathOf(group, key)] = value;
    tell(group, key, value);
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
    reads_ += key == colorSchemeKey;
    if (const QVariant value = values_.value(pathOf(settings, key)); value.isValid())
        return value;
    call.setDelayedReply(true);
    bus_.send(call.createErrorReply(u"org.freedesktop.portal.Error.NotFound"_s, u"no setting"_s));
    return 0;
}

} // namespace kivolo
