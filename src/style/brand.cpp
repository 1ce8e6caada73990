#include "style/brand.h"

#include <QLinearGradient>

namespace kivolo {

QColor Brand::violet(double opacity)
{
    return QColor::fromRgbF(0.49F, 0.36F, 0.99F, float(opacity));
}

QColor Brand::coral(double opacity)
{
    return QColor::fromRgbF(1.0F, 0.42F, 0.54F, float(opacity));
}

QBrush Brand::gradient(const QRectF &shape)
{
    QLinearGradient gradient(shape.topLeft(), shape.bottomRight());
    gradient.setColorAt(0.0, violet());
    gradient.setColorAt(1.0, coral());
    return gradient;
}

} // namespace kivolo
