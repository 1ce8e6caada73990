#include "style/background.h"

#include "style/palette.h"
#include "style/shapes.h"

#include <QPainter>

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
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(shape(rect), fill_.brush(rect, colors));
    if (form_ == Bar)
        painter.fillRect(QRectF(rect.topLeft(), QSizeF(rect.width(), 1)), colors.quaternary);
    if (outline_)
        strokeInside(painter, rect, cornerRadius(rect.size()), outline_->width,
                     outline_->fill.brush(rect, colors));
}

} // namespace kivolo
