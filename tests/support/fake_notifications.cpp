#include "support/fake_notifications.h"

#include <QDBusArgument>
#include <utility>

namespace kivolo {

using namespace Qt::StringLiterals;

QImage FakeNotifications::Taken::picture() const
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
    data >> width >> height >> bytesPerLine >> hasAlpha >> bitsPerSample >> channels >> bytes;
    data.endStructure();
    if (!hasAlpha || bitsPerSample != 8 || channels != 4 || bytes.size() != bytesPerLine * height)
        return {};
    return QImage(reinterpret_cast<const uchar *>(bytes.constData()), width, height, bytesPerLine,
                  QImage::Format_RGBA8888)
        .copy();
}

FakeNotifications::FakeNotifications(QDBusConnection bus, QStringList capabilities)
    : bus_(std::move(bus))
    , capabilities_(std::move(capabilities))
{
    bus_.registerObject(u"/org/freedesktop/Notifications"_s, this, QDBusConnection::ExportAllSlots);
    bus_.registerService(u"org.freedesktop.Notifications"_s);
}

FakeNotifications::~FakeNotifications()
{
    QDBusConnection::disconnectFromBus(bus_.name());
}

uint FakeNotifications::Notify(const QString &, uint, const QString &, const QString &summary,
                               const QString &body, const QStringList &, const QVariantMap &hints,
                               int expiry)
{
    taken_.append({summary, body, hints, expiry});
    return uint(taken_.size());
}

} // namespace kivolo
