#include "style/warm_up.h"

#include "style/avatar.h"
#include "style/symbols.h"
#include "style/text_block.h"
#include "style/text_style.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

namespace kivolo {

void warmUpStyle()
{
    constexpr int side = 64;
    const qreal scale = qGuiApp->devicePixelRatio();
    QImage image(QSize(side, side) * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    QPainter painter(&image);
    const QRectF box(0, 0, side, side);
    const QFont fonts[] = {font(TextStyle::Headline),           font(TextStyle::Title3),
                           bold(font(TextStyle::Title3)),       bold(font(TextStyle::LargeTitle)),
                           bold(font(TextStyle::Subheadline)),  bold(font(TextStyle::Caption)),
                           monospaced(font(TextStyle::Caption))};
    for (const QFont &each : fonts) {
        const TextBlock text(QStringLiteral("Aa 0…💜"), each, {.width = side});
        text.paint(painter, {}, side, Qt::black, box);
    }
    Avatar(QStringLiteral("A"), side).paint(painter, {});
    const qreal closeButton = symbolSide(13);
    paintSymbol(painter, QStringLiteral("xmark.circle.fill"), {0, 0, closeButton, closeButton},
                Qt::black);
}

} // namespace kivolo
