// Symbols and illustrations, by the names of their files in assets/.
#pragma once

#include <QBrush>
#include <QRectF>
#include <QString>

class QPainter;

namespace kivolo {

/// The side of the square that a symbol takes in text of `fontSize`, in whole points.
qreal symbolSide(qreal fontSize);

/// Paints the symbol `name` in `brush`, centred in `box` and as large as fits, aligned to device
/// pixels. What is white in the drawing becomes a hole. Main thread only.
void paintSymbol(QPainter &painter, const QString &name, const QRectF &box, const QBrush &brush);

/// Paints the illustration `name`, centred in `box` and as large as fits with its proportions kept.
/// Main thread only.
void paintIllustration(QPainter &painter, const QString &name, const QRectF &box);

} // namespace kivolo
