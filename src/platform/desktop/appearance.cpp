#include "platform/desktop/appearance.h"

#include <QDBusMessage>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

// The names of the portal's interface, version 2.
const QString portal = u"org.freedesktop.portal.Desktop"_s;
const QString object = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QString appearance = u"org.freedesktop.appearance"_s;
const QString interfaceSettings = u"org.gnome.desktop.interface"_s;
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

Appearance::Appearance(SessionBus::Connect connect)
    : bus_(std::move(connect))
{
    QObject::connect(&bus_, &SessionBus::settled, this, &Appearance::listen);
}

Appearance::~Appearance() = default;

void Appearance::listen()
{
    QDBusConnection bus = bus_.connection();
    if (!bus.isConnected())
        return;
    // A bus finds the types of a slot by their names, and does not know this one by itself yet.
    qRegisterMetaType<QDBusVariant>();
    // From whoever sends it: to be told the portal's address by the bus would mean to wait, and
    // everybody on this bus is the same user. The bus passes on these settings only.
    for (const QString &group : {appearance, interfaceSettings}) {
        bus.connect({}, object, interface, u"SettingChanged"_s, {group}, u"ssv"_s, this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
    }
    for (const Setting &setting : settings())
        ask(setting, read);
}

const std::array<Appearance::Setting, 3> &Appearance::settings()
{
    static const std::array<Setting, 3> all{{
        {appearance, u"color-scheme"_s, &Appearance::takeColorScheme},
        // Newer portals know the first of these two, desktops that once had GNOME's settings the
        // second.
        {appearance, u"reduced-motion"_s, &Appearance::takeReducedMotion},
        {interfaceSettings, u"enable-animations"_s, &Appearance::takeAnimations},
    }};
    return all;
}

void Appearance::ask(const Setting &setting, const QString &method)
{
    QDBusMessage question = QDBusMessage::createMethodCall(portal, object, interface, method);
    question.setArguments({setting.group, setting.key});
    bus_.ask(question, [this, &setting, method](const QDBusPendingCall &answer) {
        if (!answer.isError())
            (this->*setting.take)(unwrapped(answer.reply().arguments().value(0)));
        else if (answer.error().type() == QDBusError::UnknownMethod && method == read)
            ask(setting, readBeforeVersion2);
    });
}

void Appearance::settingChanged(const QString &group, const QString &key, const QDBusVariant &value)
{
    for (const Setting &setting : settings()) {
        if (setting.group == group && setting.key == key)
            (this->*setting.take)(unwrapped(value.variant()));
    }
}

// A value of a type of its own is not converted: a text "1" means nothing here.
void Appearance::takeColorScheme(const QVariant &value)
{
    std::optional<bool> prefersDark;
    if (value.metaType() == QMetaType::fromType<uint>()) {
        if (value.toUInt() == dark || value.toUInt() == light)
            prefersDark = value.toUInt() == dark;
    }
    if (prefersDark == prefersDark_)
        return;
    prefersDark_ = prefersDark;
    Q_EMIT changed();
}

void Appearance::takeReducedMotion(const QVariant &value)
{
    constexpr uint reduce = 1;
    setMotion(reducedMotion_,
              value.metaType() == QMetaType::fromType<uint>() && value.toUInt() == reduce);
}

void Appearance::takeAnimations(const QVariant &value)
{
    setMotion(animationsOff_, value.metaType() == QMetaType::fromType<bool>() && !value.toBool());
}

void Appearance::setMotion(bool &aspect, bool reduced)
{
    const bool before = reducesMotion();
    aspect = reduced;
    if (reducesMotion() != before)
        Q_EMIT motionChanged();
}

} // namespace kivolo
