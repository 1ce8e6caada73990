#include "platform/desktop/appearance.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QtConcurrentRun>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

// The names of the portal's interface, version 2.
const QString portal = u"org.freedesktop.portal.Desktop"_s;
const QString object = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QString appearance = u"org.freedesktop.appearance"_s;
const QString colorSchemeKey = u"color-scheme"_s;
const QString read = u"ReadOne"_s;
const QString readBeforeVersion2 = u"Read"_s; // puts the value into one variant more

constexpr uint dark = 1;
constexpr uint light = 2;

QVariant unwrapped(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

Appearance::Appearance(Connect connect, QObject *parent)
    : QObject(parent)
{
    QObject::connect(&connection_, &QFutureWatcherBase::finished, this, &Appearance::listen);
    connection_.setFuture(QtConcurrent::run(std::move(connect)));
}

Appearance::~Appearance() = default;

void Appearance::listen()
{
    QDBusConnection bus = connection_.result();
    if (!bus.isConnected())
        return;
    // A bus finds the types of a slot by their names, and does not know this one by itself yet.
    qRegisterMetaType<QDBusVariant>();
    // From whoever sends it: to be told the portal's address by the bus would mean to wait, and
    // everybody on this bus is the same user. The bus passes on these settings only.
    bus.connect({}, object, interface, u"SettingChanged"_s, {appearance}, u"ssv"_s, this,
                SLOT(settingChanged(QString, QString, QDBusVariant)));
    ask(read);
}

void Appearance::ask(const QString &method)
{
    QDBusMessage question = QDBusMessage::createMethodCall(portal, object, interface, method);
    question.setArguments({appearance, colorSchemeKey});
    auto *call = new QDBusPendingCallWatcher(connection_.result().asyncCall(question), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, method] {
        call->deleteLater();
        if (!call->isError())
            take(call->reply().arguments().value(0));
        else if (call->error().type() == QDBusError::UnknownMethod && method == read)
            ask(readBeforeVersion2);
    });
}

void Appearance::settingChanged(const QString &settings, const QString &key,
                                const QDBusVariant &value)
{
    if (settings == appearance && key == colorSchemeKey)
        take(value.variant());
}

void Appearance::take(const QVariant &colorScheme)
{
    const QVariant value = unwrapped(colorScheme);
    std::optional<bool> prefersDark;
    // A type of its own is not converted: a text "1" means nothing here.
    if (value.metaType() == QMetaType::fromType<uint>()) {
        if (value.toUInt() == dark || value.toUInt() == light)
            prefersDark = value.toUInt() == dark;
    }
    if (prefersDark == prefersDark_)
        return;
    prefersDark_ = prefersDark;
    Q_EMIT changed();
}

} // namespace kivolo
