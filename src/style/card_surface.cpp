#include "style/card_surface.h"

#include "style/brand.h"
#include "style/shapes.h"
#include "style/theme.h"

#include <QPainter>

namespace kivolo {

static constexpr float translucency = 0.95F; // lets a little of what is behind it through

CardSurface::CardSurface(const Outline &outline, QWidget *parent)
    : QWidget(parent)
    , outline_(outline)
{
    setAttribute(Qt::WA_TranslucentBackground);
}

void CardSurface::setSquareCorners(bool square)
{
    squareCorners_ = square;
    setAttribute(Qt::WA_OpaquePaintEvent, square);
    update();
}

void CardSurface::setOpaque(bool opaque)
{
    opaque_ = opaque;
    update();
}

void CardSurface::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QRectF card(rect());
    const qreal radius = squareCorners_ ? 0 : outline_.radius;
    QColor material = Theme::shared().colors().material;
    if (!squareCorners_ && !opaque_)
        material.setAlphaF(translucency);

    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(continuousRoundedRect(card, radius), material);
    painter.save();
    paintContent(painter);
    painter.restore();
    const QBrush outline = outline_.gradient ? Brand::gradient(card) : QBrush(Brand::violet(0.45));
    strokeInside(painter, card, radius, outline_.lineWidth, outline);
}

} // namespace kivolo
