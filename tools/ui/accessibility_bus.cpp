#include "ui/accessibility_bus.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QUuid>
#include <stdexcept>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

constexpr int answerTimeout = 10'000; // of a program that may be busy

constexpr char accessible[] = "org.a11y.atspi.Accessible";
constexpr char action[] = "org.a11y.atspi.Action";
constexpr char component[] = "org.a11y.atspi.Component";
constexpr char editableText[] = "org.a11y.atspi.EditableText";
constexpr char textInterface[] = "org.a11y.atspi.Text";

QDBusConnection connectToAccessibility()
{
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.a11y.Bus"_s, u"/org/a11y/bus"_s,
                                                       u"org.a11y.Bus"_s, u"GetAddress"_s);
    const QDBusReply<QString> address = QDBusConnection::sessionBus().call(call);
    if (!address.isValid())
        throw std::runtime_error("no accessibility bus: " +
                                 address.error().message().toStdString());
    QDBusConnection bus =
        QDBusConnection::connectToBus(address.value(), QUuid::createUuid().toString());
    if (!bus.isConnected())
        throw std::runtime_error("no accessibility bus: " +
                                 bus.lastError().message().toStdString());
    return bus;
}

} // namespace

Accessible::Accessible(QDBusConnection bus, QString service, QString path)
    : bus_(std::move(bus))
    , service_(std::move(service))
    , path_(std::move(path))
{}

QDBusMessage Accessible::call(const char *interface, const QString &method,
                              const QVariantList &arguments) const
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(service_, path_, QLatin1String(interface), method);
    message.setArguments(arguments);
    return bus_.call(message, QDBus::Block, answerTimeout);
}

QVariant Accessible::property(const char *interface, const QString &name) const
{
    const QDBusReply<QDBusVariant> reply =
        call("org.freedesktop.DBus.Properties", u"Get"_s, {QString::fromLatin1(interface), name});
    return reply.isValid() ? reply.value().variant() : QVariant();
}

QString Accessible::name() const
{
    return property(accessible, u"Name"_s).toString();
}

QString Accessible::description() const
{
    return property(accessible, u"Description"_s).toString();
}

QString Accessible::role() const
{
    return QDBusReply<QString>(call(accessible, u"GetRoleName"_s)).value();
}

bool Accessible::is(State state) const
{
    const QDBusReply<QList<uint>> words = call(accessible, u"GetState"_s);
    const int bit = int(state);
    return (words.value().value(bit / 32) >> (bit % 32)) & 1U;
}

QList<Accessible> Accessible::children() const
{
    const QDBusMessage reply = call(accessible, u"GetChildren"_s);
    if (reply.signature() != "a(so)"_L1)
        return {};
    QList<Accessible> found;
    const auto references = reply.arguments().constFirst().value<QDBusArgument>();
    for (references.beginArray(); !references.atEnd();) {
        QString service;
        QDBusObjectPath path;
        references.beginStructure();
        references >> service >> path;
        references.endStructure();
        found.append(Accessible(bus_, service, path.path()));
    }
    references.endArray();
    return found;
}

QRect Accessible::extents() const
{
    constexpr uint ofTheScreen = 0;
    const QDBusMessage reply = call(component, u"GetExtents"_s, {ofTheScreen});
    if (reply.signature() != "(iiii)"_L1)
        return {};
    const auto rectangle = reply.arguments().constFirst().value<QDBusArgument>();
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    rectangle.beginStructure();
    rectangle >> x >> y >> width >> height;
    rectangle.endStructure();
    return {x, y, width, height};
}

QString Accessible::text() const
{
    constexpr int end = -1;
    return QDBusReply<QString>(call(textInterface, u"GetText"_s, {0, end})).value();
}

bool Accessible::setText(const QString &text) const
{
    return QDBusReply<bool>(call(editableText, u"SetTextContents"_s, {text})).value();
}

bool Accessible::press() const
{
    constexpr int itsFirst = 0;
    return QDBusReply<bool>(call(action, u"DoAction"_s, {itsFirst})).value();
}

qint64 Accessible::processId() const
{
    return bus_.interface()->servicePid(service_).value();
}

AccessibilityBus::AccessibilityBus()
    : bus_(connectToAccessibility())
{}

AccessibilityBus::~AccessibilityBus()
{
    QDBusConnection::disconnectFromBus(bus_.name());
}

std::optional<Accessible> AccessibilityBus::program(qint64 processId) const
{
    const Accessible registry(bus_, u"org.a11y.atspi.Registry"_s,
                              u"/org/a11y/atspi/accessible/root"_s);
    for (const Accessible &program : registry.children()) {
        if (program.processId() == processId)
            return program;
    }
    return {};
}

} // namespace kivolo
