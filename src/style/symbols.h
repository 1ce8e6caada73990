// Symbols and illustrations.
#pragma once

#include <QBrush>
#include <QRectF>
#include <QString>

class QPainter;

namespace kivolo {

/// The program's symbols, each called as its file in assets/symbols/.
enum class SymbolName {
    ArrowDownCircleFill,
    Checkmark,
    DocOnDoc,
    DotRadiowavesLeftAndRight,
    Ellipsis,
    GiftFill,
    Hourglass,
    PaperplaneFill,
    PersonBadgePlus,
    ScribbleVariable,
    Textformat,
    Xmark,
    XmarkCircleFill,
};
/// The name of that file, without its ending.
QString fileName(SymbolName symbol);

/// The side of the square that a symbol takes in text of `fontSize`, in whole points.
qreal symbolSide(qreal fontSize);

/// Paints `symbol` in `brush`, centred in `box` and as large as fits, aligned to device
/// pixels. What is white in the drawing becomes a hole. Main thread only.
void paintSymbol(QPainter &painter, SymbolName symbol, const QRectF &box, const QBrush &brush);

/// Paints the illustration whose file in assets/images/ is called `name`, centred in `box` and as
/// large as fits with its proportions kept. Main thread only.
void paintIllustration(QPainter &painter, const QString &name, const QRectF &box);

} // namespace kivolo
