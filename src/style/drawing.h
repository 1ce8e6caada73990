// The drawings of assets/.
#pragma once

#include <QPicture>
#include <QRectF>
#include <QString>

class QPainter;

namespace kivolo {

/// A drawing, sharp at every size. The build has recorded it (record_drawings.cpp).
class Drawing
{
public:
    /// `name` is that of its file and the folder that holds it: "symbols/checkmark".
    explicit Drawing(const QString &name);

    /// Paints it in the middle of `box`, as large as fits with its proportions kept.
    void paint(QPainter &painter, const QRectF &box);

private:
    QSizeF size_;
    QPicture picture_;
};

} // namespace kivolo
