// The outlines of cards, bubbles and pictures.
#pragma once

#include <QBrush>
#include <QPainterPath>
#include <QTransform>

class QImage;
class QPainter;

namespace kivolo {

/// A rectangle whose corners have continuous curvature: the edge bends gradually into the corner
/// instead of jumping from straight to round. `radius` is that of the plain circular corner it
/// replaces. Where a side has no room for the transition, the corner becomes the circular one.
QPainterPath continuousRoundedRect(const QRectF &rect, qreal radius);

/// A rectangle with ends as round as it is high (or wide, if it is taller than wide).
QPainterPath continuousCapsule(const QRectF &rect);

/// `rect` with its edges moved to where device pixels of `painter` begin: they are painted sharp,
/// and what stands beside it begins where it ends.
QRectF onPixels(const QPainter &painter, const QRectF &rect);

/// Strokes the inner edge of a continuous rounded rectangle: nothing lies outside `rect`, so the
/// edge of a window cuts nothing off. The line is as many whole device pixels as its width has, one
/// at least.
void strokeInside(QPainter &painter, const QRectF &rect, qreal radius, qreal lineWidth,
                  const QBrush &brush);

/// How many device pixels one point of `painter` is.
qreal deviceScale(const QPainter &painter);

/// A rectangle of whole device pixels, and the same in a painter's coordinates.
struct PixelFrame
{
    QSize pixels;
    QRectF frame;

    /// `box` as the painter's device can show it best: a picture of as many pixels that is painted
    /// there is not resampled.
    static PixelFrame nearest(const QPainter &painter, const QRectF &box);
    /// From the painter's coordinates to those of such a picture.
    QTransform toPicture() const;
};

/// `image` scaled to fit into `frame` points, centred on white, at `scale` device pixels a point.
QImage framedPicture(const QImage &image, const QSizeF &frame, qreal scale);

/// Fills `shape` with `picture`, which covers the shape's bounding rectangle `frame`.
void fillWithPicture(QPainter &painter, const QPainterPath &shape, const QRectF &frame,
                     const QImage &picture);

} // namespace kivolo
