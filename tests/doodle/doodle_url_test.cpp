#include "doodle/doodle_url.h"

#include <QBuffer>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

constexpr QSize bounds(1200, 600);
const QString prefix = QStringLiteral("data:image/png;base64,");

QImage drawing(const QSize &size = {40, 20})
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    image.setPixelColor(3, 4, QColor(125, 92, 252));
    return image;
}

QByteArray encoded(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QString url(const QByteArray &bytes)
{
    return prefix + QString::fromLatin1(bytes.toBase64());
}

/// A PNG of as many pixels that takes few bytes.
QByteArray empty(const QSize &size)
{
    QImage image(size, QImage::Format_Mono);
    image.fill(0);
    return encoded(image, "PNG");
}

TEST(DoodleUrlTest, RoundTrip)
{
    const std::optional<QString> body = encodeDoodle(drawing());
    ASSERT_TRUE(body);
    EXPECT_TRUE(body->startsWith(prefix));
    EXPECT_TRUE(QByteArray::fromBase64(body->mid(prefix.size()).toLatin1()).startsWith("\x89PNG"));
    const std::optional<Doodle> doodle = decodeDoodle(*body, bounds);
    ASSERT_TRUE(doodle);
    EXPECT_EQ(doodle->size, QSize(40, 20));
    EXPECT_EQ(doodle->image.pixelColor(3, 4), QColor(125, 92, 252));
    EXPECT_FALSE(encodeDoodle(QImage()));
    const Doodle wide = decodeDoodle(encodeDoodle(drawing({4000, 1000})).value(), bounds).value();
    EXPECT_EQ(wide.size, QSize(4000, 1000));
    EXPECT_EQ(wide.image.size(), QSize(1200, 300));
}

TEST(DoodleUrlTest, Base64IsStrict)
{
    // Twice as many bytes as a multiple of three, plus one, so that there is padding.
    QByteArray png = encoded(drawing(), "PNG");
    while (png.size() % 3 != 1)
        png.append('\0'); // behind the end of the picture
    const QString base64 = QString::fromLatin1(png.toBase64());
    ASSERT_TRUE(base64.endsWith(QLatin1String("==")));
    const QString half = base64.left(40);
    const QString rest = base64.mid(40);
    const struct
    {
        const char *what;
        QString body;
        bool decodes;
    } cases[] = {
        {"prefix", prefix + base64, true},
        {"no prefix", base64, true},
        {"the prefix twice, once in the middle", prefix + half + prefix + rest, true},
        {"another prefix", QStringLiteral("data:image/jpeg;base64,") + base64, false},
        {"line break", prefix + half + u'\n' + rest, false},
        {"blank", prefix + half + u' ' + rest, false},
        {"no padding", prefix + base64.chopped(2), false},
        {"too much padding", prefix + base64 + QStringLiteral("===="), false},
        {"URL alphabet", prefix + half + QStringLiteral("-_-_") + rest, false},
        {"nothing", prefix, false},
    };
    for (const auto &[what, body, decodes] : cases)
        EXPECT_EQ(decodeDoodle(body, bounds).has_value(), decodes) << what;
}

TEST(DoodleUrlTest, OnlyRasterImagesOfBoundedSize)
{
    const QByteArray png = encoded(drawing(), "PNG");
    const QByteArray gif =
        QByteArray::fromBase64("R0lGODlhAQABAIAAAP///wAAACwAAAAAAQABAAACAkQBADs=");
    const QByteArray svg = "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>";
    const struct
    {
        const char *what;
        QByteArray bytes;
        bool decodes;
    } cases[] = {
        {"PNG", png, true},
        {"JPEG", encoded(drawing(), "JPEG"), true},
        {"GIF", gif, true},
        {"BMP", encoded(drawing(), "BMP"), false},
        {"SVG with a declaration", "<?xml version='1.0'?>" + svg, false},
        {"a PNG without its last pixels", png.chopped(30), false},
        {"16 megapixels", empty({8192, 2048}), true},
        {"more than those", empty({8192, 2049}), false},
        {"a longer side", empty({8193, 1}), false},
        {"bytes behind a PNG", png + QByteArray(20, '\x7f'), true},
        {"an HTML page", "<!doctype html><title>502</title>", false},
    };
    for (const auto &[what, bytes, decodes] : cases)
        EXPECT_EQ(decodeDoodle(url(bytes), bounds).has_value(), decodes) << what;
}

TEST(DoodleUrlTest, ScalesWhatHasATableOfColoursWithoutStrayColours)
{
    QImage striped(bounds * 2, QImage::Format_Indexed8);
    striped.setColorTable({qRgb(255, 255, 255), qRgb(125, 92, 252)});
    striped.fill(0);
    for (int y = 0; y < striped.height(); ++y)
        memset(striped.scanLine(y), 1, size_t(striped.width() / 3));
    const std::optional<Doodle> doodle = decodeDoodle(encodeDoodle(striped).value(), bounds);
    ASSERT_TRUE(doodle);
    ASSERT_EQ(doodle->image.size(), bounds);
    for (int y = 0; y < bounds.height(); ++y) {
        ASSERT_EQ(doodle->image.pixel(bounds.width() / 3 - 3, y), qRgb(125, 92, 252)) << y;
        ASSERT_EQ(doodle->image.pixel(bounds.width() / 3 + 3, y), qRgb(255, 255, 255)) << y;
    }
}

} // namespace
} // namespace kivolo
