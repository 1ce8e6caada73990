#include "style/fill.h"

namespace kivolo {

Fill Fill::gradient()
{
    Fill fill = violet();
    fill.gradient_ = true;
    return fill;
}

QColor Fill::color(const Palette &colors) const
{
    if (role_ == &Palette::primary && opacity_ < 1)
        return colors.tint(opacity_);
    QColor color = role_ ? colors.*role_ : color_;
    color.setAlphaF(float(double(color.alphaF()) * opacity_));
    return color;
}

QBrush Fill::brush(const QRectF &shape, const Palette &colors) const
{
    return gradient_ ? Brand::gradient(shape) : QBrush(color(colors));
}

} // namespace kivolo
