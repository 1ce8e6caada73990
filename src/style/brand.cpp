#include "style/brand.h"

#include <QLinearGradient>

namespace kivolo {

static QColor color(const Rgb &components, double opacity)
{
    return QColor::fromRgbF(float(components.red), float(components.green), float(components.blue),
                            float(opacity));
}

QColor Brand::violet(double opacity)
{
    return color(violetComponents, opacity);
}

QColor Brand::coral(double opacity)
{
    return color(coralComponents, opacity);
}

QBrush Brand::gradient(const QRectF &shape)
{
    QLinearGradient gradient(shape.topLeft(), shape.bottomRight());
    gradient.setColorAt(0.0, violet());
    gradient.setColorAt(1.0, coral());
    return gradient;
}

} // namespace kivolo
