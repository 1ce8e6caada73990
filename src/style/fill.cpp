#include "style/fill.h"

#include "style/brand.h"
#include "style/palette.h"

namespace kivolo {

static QColor faded(QColor color, double opacity)
{
    color.setAlphaF(float(double(color.alphaF()) * opacity));
    return color;
}

QColor Fill::color(const Palette &colors) const
{
    switch (source_) {
    case Primary:
        return opacity_ < 1 ? colors.tint(opacity_) : colors.primary;
    case Secondary:
        return faded(colors.secondary, opacity_);
    case Quaternary:
        return colors.quaternary;
    case Window:
        return colors.window;
    case Bar:
        return colors.bar;
    case Material:
        return QColor(colors.material.rgb());
    case Field:
        return colors.field;
    case Button:
        return colors.button;
    case Red:
        return colors.red;
    case White:
        return faded(Qt::white, opacity_);
    case Black:
        return faded(Qt::black, opacity_);
    case Violet:
    case Gradient:
        break;
    }
    return Brand::violet(opacity_);
}

QBrush Fill::brush(const QRectF &shape, const Palette &colors) const
{
    return source_ == Gradient ? Brand::gradient(shape) : QBrush(color(colors));
}

} // namespace kivolo
