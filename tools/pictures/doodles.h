// What people draw, for pictures.
#pragma once

#include <QList>
#include <QPolygonF>
#include <QString>

class QWidget;

namespace kivolo {

/// Drawings on a canvas of 496 × 180 points, as the strokes of a hand that is not quite steady.
QList<QPolygonF> catDoodle();
QList<QPolygonF> cupDoodle();

/// Draws on `canvas` with the mouse, from the size the drawing was made for to the canvas's own.
void drawByHand(QWidget &canvas, const QList<QPolygonF> &strokes);

/// A drawing as the body of a beam.
QString doodleBody(const QList<QPolygonF> &strokes);

} // namespace kivolo
