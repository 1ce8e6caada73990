// Doodles as they come from other people's machines. An input is a picture's bytes; the checksums
// of a PNG are put right, because chance does not hit them. Where it begins with '!' the rest is
// the body.

#include "doodle/doodle_url.h"
#include "fuzz.h"

#include <QGuiApplication>
#include <QtEndian>
#include <span>
#include <zlib.h>

namespace kivolo {
namespace {

using fuzz::require;

constexpr QSize bounds(64, 48);
// Of a picture as large as is allowed, with a copy of it and room for its decoder.
constexpr std::ptrdiff_t mostHeld = 200 << 20;

void putChecksumsRight(QByteArray &png)
{
    constexpr qsizetype signature = 8, frame = 12;
    for (qsizetype at = signature; at + frame <= png.size();) {
        const auto length = qFromBigEndian<quint32>(png.constData() + at);
        if (length > png.size() - at - frame)
            return;
        const auto *chunk = reinterpret_cast<const Bytef *>(png.constData() + at + 4);
        qToBigEndian(quint32(crc32(0, chunk, 4 + length)), png.data() + at + 8 + length);
        at += frame + length;
    }
}

void tryBody(const QString &body)
{
    const std::optional<Doodle> doodle = decodeDoodle(body, bounds);
    if (!doodle)
        return;
    const QSize size = doodle->size;
    const QSize shown = doodle->image.size();
    require(!shown.isEmpty() && shown.width() <= bounds.width() &&
                shown.height() <= bounds.height(),
            "a picture keeps to its bounds");
    require(size.width() <= 8192 && size.height() <= 8192 &&
                qint64(size.width()) * size.height() <= 16 << 20,
            "a picture has the size that is allowed");
    require(size == shown || size.width() > bounds.width() || size.height() > bounds.height(),
            "a small picture is shown as it is");
    const QImage &image = doodle->image;
    // Its pixels alone: an encoder does not take every text that came along.
    const std::optional<QString> again =
        encodeDoodle({image.constBits(), image.width(), image.height(), image.format()});
    const std::optional<Doodle> copy = decodeDoodle(again.value(), bounds);
    require(copy && copy->image.size() == shown, "a picture comes back");
    const auto row = [](const QImage &of, int y) {
        const auto *pixels = reinterpret_cast<const QRgb *>(of.constScanLine(y));
        return std::span(pixels, std::size_t(of.width()));
    };
    // Colours of what is nearly transparent have few values left to come back to.
    const auto comesBack = [](QRgb was, QRgb is) {
        return was == is || (qAlpha(was) == qAlpha(is) && qAlpha(was) < 255);
    };
    require(doodle->image.format() == copy->image.format() && doodle->image.depth() == 32,
            "pictures are of one format");
    for (int y = 0; y < shown.height(); ++y)
        require(std::ranges::equal(row(doodle->image, y), row(copy->image, y), comesBack),
                "its colours come back");
}

} // namespace
} // namespace kivolo

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kivolo;
    using fuzz::Heap;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    Heap::begin();
    const auto length = static_cast<qsizetype>(size);
    QByteArray bytes(reinterpret_cast<const char *>(data), length);
    if (bytes.startsWith('!')) {
        tryBody(QString::fromUtf8(bytes.sliced(1)));
    } else {
        putChecksumsRight(bytes);
        tryBody(QStringLiteral("data:image/png;base64,") + QLatin1String(bytes.toBase64()));
    }
    require(Heap::most() < mostHeld, "a picture takes no more memory than is allowed");
    return 0;
}
