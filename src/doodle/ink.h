// What a pen leaves on white paper, pixel by pixel.
#pragma once

#include <QImage>
#include <QPolygonF>
#include <QTransform>

namespace kivolo {

/// Strokes polylines with a round pen in violet, antialiased.
///
/// A pixel takes the strongest coverage that any segment gives it. So it depends neither on how
/// much of a drawing is painted around it nor on the order, and a part painted afresh fits the rest
/// to the pixel. Qt's stroker, which takes several times as long besides, does not promise
/// that.
class Ink
{
public:
    /// In points. The pen's width is 3 points, round at ends and corners.
    static constexpr qreal penRadius = 1.5;

    /// Paper for the rectangle `pixels` of a device; `toPixels`, from points to the device's
    /// pixels, moves and scales evenly.
    Ink(const QRect &pixels, const QTransform &toPixels);

    /// A line of a single point leaves nothing.
    void stroke(const QPolygonF &line);

    /// The paper: opaque, one colour table entry for each of 256 coverages.
    const QImage &image() const { return image_; }

private:
    bool isInReach(const QPointF &from, const QPointF &to) const;
    void segment(const QPointF &from, const QPointF &to);

    QRect pixels_;
    QTransform toPixels_;
    double radius_;  // in pixels
    QRectF inReach_; // in points
    QImage image_;
};

} // namespace kivolo
