#include "overlays/card_surface.h"

#include "style/brand.h"
#include "style/shadow.h"
#include "style/shapes.h"
#include "style/theme.h"

#include <QPainter>

namespace kivolo {

static constexpr float translucency = 0.95F; // lets a little of what is behind it through

CardSurface::CardSurface(const Outline &outline)
    : outline_(outline)
{
    setAttribute(Qt::WA_TranslucentBackground);
}

void CardSurface::setBlending(Blending blending)
{
    blending_ = blending;
    setAttribute(Qt::WA_OpaquePaintEvent, blending == Blending::None);
    update();
}

QMargins CardSurface::shadowMargins() const
{
    return kivolo::shadowMargins;
}

void CardSurface::paintShadow(QPainter &painter, const QRectF &place) const
{
    kivolo::paintShadow(painter, place, cornerRadius());
}

void CardSurface::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QRectF card(rect());
    const qreal radius = blending_ == Blending::None ? 0 : outline_.radius;
    QColor material = Theme::shared().colors().material;
    if (blending_ == Blending::Blurred)
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
