#include "style/symbols.h"

#include "style/drawing.h"
#include "style/shapes.h"

#include <QCache>
#include <QImage>
#include <QPainter>

namespace kivolo {

namespace {

constexpr qsizetype cacheBytes = 4 * 1024 * 1024; // every picture of a window, at two resolutions

QImage rendered(const QString &name, const QSize &pixels)
{
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    Drawing(name).paint(painter, QRectF(QPointF(), QSizeF(pixels)));
    return image;
}

/// What is opaque and black covers, what is white or transparent does not.
QImage maskOf(const QImage &drawing)
{
    QImage mask(drawing.size(), QImage::Format_Alpha8);
    for (int y = 0; y < drawing.height(); ++y) {
        const auto *from = reinterpret_cast<const QRgb *>(drawing.constScanLine(y));
        uchar *to = mask.scanLine(y);
        for (int x = 0; x < drawing.width(); ++x)
            to[x] = uchar(qAlpha(from[x]) - qRed(from[x])); // premultiplied: never below zero
    }
    return mask;
}

const QImage &cached(const QString &name, const QSize &pixels, bool asMask)
{
    static QCache<QString, QImage> cache(cacheBytes);
    const QString key =
        QStringLiteral("%1@%2x%3").arg(name).arg(pixels.width()).arg(pixels.height());
    if (const QImage *image = cache.object(key))
        return *image;
    const QImage drawing = rendered(name, pixels);
    auto image = std::make_unique<QImage>(asMask ? maskOf(drawing) : drawing);
    const qsizetype bytes = qMin(image->sizeInBytes(), cacheBytes);
    const QImage &result = *image;
    cache.insert(key, image.release(), bytes);
    return result;
}

} // namespace

QString fileName(SymbolName symbol)
{
    switch (symbol) {
    case SymbolName::ArrowDownCircleFill:
        return QStringLiteral("arrow.down.circle.fill");
    case SymbolName::Checkmark:
        return QStringLiteral("checkmark");
    case SymbolName::DocOnDoc:
        return QStringLiteral("doc.on.doc");
    case SymbolName::DotRadiowavesLeftAndRight:
        return QStringLiteral("dot.radiowaves.left.and.right");
    case SymbolName::Ellipsis:
        return QStringLiteral("ellipsis");
    case SymbolName::GiftFill:
        return QStringLiteral("gift.fill");
    case SymbolName::Hourglass:
        return QStringLiteral("hourglass");
    case SymbolName::PaperplaneFill:
        return QStringLiteral("paperplane.fill");
    case SymbolName::PersonBadgePlus:
        return QStringLiteral("person.badge.plus");
    case SymbolName::ScribbleVariable:
        return QStringLiteral("scribble.variable");
    case SymbolName::Textformat:
        return QStringLiteral("textformat");
    case SymbolName::Xmark:
        return QStringLiteral("xmark");
    case SymbolName::XmarkCircleFill:
        return QStringLiteral("xmark.circle.fill");
    }
    Q_UNREACHABLE();
}

qreal symbolSide(qreal fontSize)
{
    return qRound(fontSize * 1.15); // as high as the font's letters with their descenders
}

void paintSymbol(QPainter &painter, SymbolName symbol, const QRectF &box, const QBrush &brush)
{
    const qreal side = qMin(box.width(), box.height());
    QRectF square(0, 0, side, side);
    square.moveCenter(box.center());
    const PixelFrame target = PixelFrame::nearest(painter, square);
    const QImage &mask = cached(QStringLiteral("symbols/") + fileName(symbol), target.pixels, true);

    QImage tinted(target.pixels, QImage::Format_ARGB32_Premultiplied);
    tinted.fill(Qt::transparent);
    QPainter tint(&tinted);
    tint.setTransform(target.toPicture());
    tint.fillRect(target.frame, brush);
    tint.resetTransform();
    tint.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    tint.drawImage(0, 0, mask);
    tint.end();
    painter.drawImage(target.frame, tinted);
}

void paintIllustration(QPainter &painter, const QString &name, const QRectF &box)
{
    const PixelFrame target = PixelFrame::nearest(painter, box);
    painter.drawImage(target.frame, cached(QStringLiteral("images/") + name, target.pixels, false));
}

} // namespace kivolo
