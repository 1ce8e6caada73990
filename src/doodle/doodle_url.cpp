#include "doodle/doodle_url.h"

#include <QBuffer>
#include <QImageReader>
#include <QtConcurrentRun>
#include <QtEndian>

namespace kivolo {

namespace {

constexpr QLatin1String prefix("data:image/png;base64,");
/// Selects how hard the encoder looks for repetitions: a drawing takes a third of the time that it
/// does by default, and a fiftieth more bytes. Nothing is lost at any value.
constexpr int quality = 50;
constexpr int maxSide = 8192;
constexpr qint64 maxPixels = 16 * 1024 * 1024;
constexpr int maxMegabytes = 64; // 16 megapixels of four bytes each

bool isBase64Character(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/';
}

/// Qt's own decoder lets missing padding and, unless told otherwise, any character pass.
std::optional<QByteArray> decodeBase64(const QByteArray &text)
{
    if (text.isEmpty() || text.size() % 4 != 0)
        return std::nullopt;
    qsizetype end = text.size();
    for (int padding = 0; padding < 2 && text.at(end - 1) == '='; ++padding)
        --end;
    if (!std::all_of(text.cbegin(), text.cbegin() + end, isBase64Character))
        return std::nullopt;
    return QByteArray::fromBase64(text);
}

/// The format of `bytes` by their first ones. Asking the image plug-ins instead would also let
/// vector formats in, which read files and run as long as they like.
QByteArray rasterFormat(const QByteArray &bytes)
{
    if (bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return "png";
    if (bytes.startsWith("GIF87a") || bytes.startsWith("GIF89a"))
        return "gif";
    if (bytes.startsWith("\xff\xd8\xff"))
        return "jpeg";
    return {};
}

/// Whether a chunk of a PNG claims more than there is. The decoder takes memory for all that it
/// claims, up to 2 GiB, before it reads.
bool claimsTooMuch(const QByteArray &png)
{
    constexpr qsizetype signature = 8, frame = 12; // its length, its type, its checksum
    for (qsizetype at = signature; at + frame <= png.size();) {
        if (png.sliced(at + 4, 4) == "IEND")
            return false;
        const auto length = qsizetype(qFromBigEndian<quint32>(png.constData() + at));
        if (length > png.size() - at - frame)
            return true;
        at += frame + length;
    }
    return false;
}

bool isAllowed(const QSize &size)
{
    return !size.isEmpty() && size.width() <= maxSide && size.height() <= maxSide &&
           qint64(size.width()) * size.height() <= maxPixels;
}

void limitAllocation()
{
    static const bool limited = [] {
        QImageReader::setAllocationLimit(maxMegabytes);
        return true;
    }();
    Q_UNUSED(limited)
}

} // namespace

std::optional<QString> encodeDoodle(const QImage &image)
{
    QByteArray png;
    QBuffer buffer(&png);
    if (!buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "PNG", quality))
        return std::nullopt;
    return prefix + QLatin1String(png.toBase64());
}

std::optional<Doodle> decodeDoodle(const QString &body, const QSize &bounds)
{
    QString base64 = body;
    base64.remove(prefix);
    const auto bytes = decodeBase64(base64.toLatin1()); // other characters become '?', which fails
    if (!bytes)
        return std::nullopt;
    const QByteArray format = rasterFormat(*bytes);
    if (format.isEmpty() || (format == "png" && claimsTooMuch(*bytes)))
        return std::nullopt;

    limitAllocation();
    QBuffer buffer;
    buffer.setData(*bytes);
    QImageReader reader(&buffer, format);
    reader.setAutoDetectImageFormat(false);
    const QSize size = reader.size();
    if (!isAllowed(size))
        return std::nullopt;
    const bool tooLarge = size.width() > bounds.width() || size.height() > bounds.height();
    const QSize shown =
        tooLarge ? size.scaled(bounds, Qt::KeepAspectRatio).expandedTo({1, 1}) : size;
    // A reader would squeeze the blended colours of a scaled picture back into a table of colours.
    if (reader.imageFormat() >= QImage::Format_RGB32)
        reader.setScaledSize(shown);
    const QImage image = reader.read();
    if (image.isNull())
        return std::nullopt;
    const QImage blended = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    return Doodle{blended.scaled(shown, Qt::IgnoreAspectRatio, Qt::SmoothTransformation), size};
}

QFuture<std::optional<Doodle>> decodeDoodleLater(const QString &body, const QSize &bounds)
{
    return QtConcurrent::run(decodeDoodle, body, bounds);
}

} // namespace kivolo
