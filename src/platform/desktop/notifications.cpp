#include "platform/desktop/notifications.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <algorithm>
#include <utility>

namespace kivolo {

using namespace Qt::StringLiterals;

namespace {

// The names of the interface, version 1.2.
const QString service = u"org.freedesktop.Notifications"_s;
const QString object = u"/org/freedesktop/Notifications"_s;
constexpr uchar normal = 1;
constexpr uchar critical = 2;
constexpr uint replacesNone = 0;

/// A picture as the hint "image-data" has it.
struct ImageData
{
    QImage image; // Format_RGBA8888
};

QDBusArgument &operator<<(QDBusArgument &argument, const ImageData &data)
{
    constexpr bool hasAlpha = true;
    constexpr int bitsPerSample = 8;
    constexpr int channels = 4;
    const QImage &image = data.image;
    argument.beginStructure();
    argument << image.width() << image.height() << int(image.bytesPerLine()) << hasAlpha
             << bitsPerSample << channels
             << QByteArray(reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes());
    argument.endStructure();
    return argument;
}

// A bus wants both ways; nobody sends this one here.
const QDBusArgument &operator>>(const QDBusArgument &argument, ImageData &)
{
    return argument;
}

/// A bus ends its connection with who sends a zero, and services may do what they like with the
/// other control characters.
QString withoutControls(QString text, QStringView kept)
{
    for (QChar &c : text) {
        const bool isControl = c.category() == QChar::Other_Control ||
                               c.category() == QChar::Separator_Line ||
                               c.category() == QChar::Separator_Paragraph;
        if (isControl && !kept.contains(c))
            c = u' ';
    }
    return text;
}

QVariantMap hints(const Notification &notification)
{
    QVariantMap result{
        {u"urgency"_s, QVariant::fromValue(notification.urgent ? critical : normal)},
        {u"category"_s, u"im.received"_s},
        {u"desktop-entry"_s, QGuiApplication::desktopFileName()},
    };
    if (!notification.picture.isNull())
        result[u"image-data"_s] = QVariant::fromValue(
            ImageData{notification.picture.convertToFormat(QImage::Format_RGBA8888)});
    return result;
}

} // namespace

Notifications::Notifications(SessionBus::Connect connect)
    : bus_(std::move(connect))
{
    qDBusRegisterMetaType<ImageData>();
    QObject::connect(&bus_, &SessionBus::settled, this, [this] {
        for (const Waiting &message : std::exchange(waiting_, {}))
            send(message);
    });
}

Notifications::~Notifications() = default;

void Notifications::show(const Notification &notification, Told told)
{
    const Waiting message{notification, std::move(told)};
    if (bus_.isSettled() && waiting_.empty())
        send(message);
    else
        waiting_.push_back(message);
}

// What the service can do is asked each time: another one may have taken its place.
void Notifications::send(const Waiting &message)
{
    if (!bus_.connection().isConnected()) {
        // A call would never end.
        if (message.told)
            QMetaObject::invokeMethod(
                this, [told = message.told] { told(false); }, Qt::QueuedConnection);
        return;
    }
    const QDBusMessage question =
        QDBusMessage::createMethodCall(service, object, service, u"GetCapabilities"_s);
    bus_.ask(question, [this, message](const QDBusPendingCall &answer) {
        const QDBusPendingReply<QStringList> capabilities = answer;
        if (!capabilities.isError())
            notify(message, capabilities.value().contains(u"body-markup"_s));
        else if (message.told)
            message.told(false);
    });
}

void Notifications::notify(const Waiting &message, bool takesMarkup)
{
    const Notification &notification = message.notification;
    const QString body = withoutControls(notification.body, u"\n\t");
    QDBusMessage order = QDBusMessage::createMethodCall(service, object, service, u"Notify"_s);
    order.setArguments({QGuiApplication::applicationDisplayName(), replacesNone,
                        QCoreApplication::applicationName(), // its icon in the theme is called so
                        withoutControls(notification.summary, {}),
                        takesMarkup ? body.toHtmlEscaped() : body, QStringList(),
                        hints(notification), int(notification.life.count())});
    bus_.ask(order, [told = message.told](const QDBusPendingCall &answer) {
        if (told)
            told(!answer.isError());
    });
}

} // namespace kivolo
