// The soft shadow of a floating card.
#pragma once

#include <QMargins>
#include <QRectF>

class QPainter;

namespace kivolo {

/// How far the shadow reaches beyond the card's edges, in points.
constexpr QMargins shadowMargins{32, 24, 32, 44};

/// How dark and how soft; by default, that of a card that floats high above the desktop.
struct Shadow
{
    double opacity = 0.25;
    double sigma = 15; ///< Points; the margins hold what can be seen of it.
    double drop = 10;  ///< Points downwards: the light comes from above.
};

/// Paints the shadow that a card with rounded corners throws around itself, and nothing beneath the
/// card. The picture it is put together from is shared between all cards of a radius.
void paintShadow(QPainter &painter, const QRectF &card, double cornerRadius,
                 const Shadow &shadow = {});

} // namespace kivolo
