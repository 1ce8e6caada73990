#include "style/background.h"

#include "style/palette.h"
#include "style/shapes.h"

#include <QPainter>
#include <cmath>

namespace kivolo {

Background Background::outlined(Fill line, qreal width) const
{
    Background copy = *this;
    copy.outline_ = {line, width};
    return copy;
}

QPainterPath Background::shape(const QRectF &rect) const
{
    if (form_ == Rounded)
        return continuousRoundedRect(rect, radius_);
    if (form_ == Capsule)
        return continuousCapsule(rect);
    QPainterPath path;
    path.addRect(rect);
    return path;
}

qreal Background::cornerRadius(const QSizeF &size) const
{
    return form_ == Capsule ? qMin(size.width(), size.height()) / 2 : radius_;
}

void Background::paint(QPainter &painter, const QRectF &rect, const Palette &colors) const
{
    const QRectF sharp = onPixels(painter, rect);
    painter.setRenderHint(QPainter::Antialiasing);
    if (form_ != HairLine)
        painter.fillPath(shape(sharp), fill_.brush(sharp, colors));
    if (form_ == Bar || form_ == HairLine) {
        const qreal scale = deviceScale(painter);
        const qreal line = std::floor(scale) / scale;
        painter.fillRect(QRectF(sharp.topLeft(), QSizeF(sharp.width(), line)), colors.quaternary);
    }
    if (outline_)
        strokeInside(painter, sharp, cornerRadius(sharp.size()), outline_->width,
                     outline_->fill.brush(sharp, colors));
}

} // namespace kivolo
