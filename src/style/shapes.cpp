#include "style/shapes.h"

#include <QImage>
#include <QPainter>
#include <array>
#include <cmath>
#include <numbers>

namespace kivolo {

namespace {

constexpr int cornerSteps = 24; // keeps the polygon within 0.03 pixels of the curve up to radius 44
// The transition begins this many radii before the edge would have met, as far as there is room.
constexpr qreal transition = 1.25;

/// One quadrant of the superellipse |x|^n + |y|^n = 1, from (1, 0) to (0, 1).
std::array<QPointF, cornerSteps + 1> quadrant(qreal extentInRadii)
{
    // n is such that the curve passes through the middle of the circular corner; it is 2, a circle,
    // when the corner has its radius for room and no more.
    const qreal inset = (1 - 1 / std::numbers::sqrt2) / extentInRadii;
    const qreal n = -std::numbers::ln2 / std::log(1 - inset);
    std::array<QPointF, cornerSteps + 1> points;
    for (int i = 0; i <= cornerSteps; ++i) {
        const qreal angle = std::numbers::pi / 2 * i / cornerSteps;
        points[size_t(i)] = {i == cornerSteps ? 0 : std::pow(std::cos(angle), 2 / n),
                             i == 0 ? 0 : std::pow(std::sin(angle), 2 / n)};
    }
    return points;
}

} // namespace

QPainterPath continuousRoundedRect(const QRectF &rect, qreal radius)
{
    QPainterPath path;
    const qreal room = qMin(rect.width(), rect.height()) / 2;
    const qreal r = qMin(radius, room);
    if (r <= 0) {
        path.addRect(rect);
        return path;
    }
    const qreal extent = qMin(r * transition, room);
    const auto corner = quadrant(extent / r);
    // Clockwise from the right end of the top edge. Each corner runs through the quadrant, in turn
    // in one and in the other direction.
    struct Corner
    {
        QPointF centre;
        qreal x;
        qreal y;
    };
    const QRectF centres = rect.adjusted(extent, extent, -extent, -extent);
    const std::array<Corner, 4> corners{{{centres.topRight(), 1, -1},
                                         {centres.bottomRight(), 1, 1},
                                         {centres.bottomLeft(), -1, 1},
                                         {centres.topLeft(), -1, -1}}};
    QPolygonF polygon;
    polygon.reserve(4 * (cornerSteps + 1));
    for (size_t c = 0; c < corners.size(); ++c) {
        const Corner &at = corners[c];
        for (size_t i = 0; i <= cornerSteps; ++i) {
            const QPointF &p = corner[c % 2 == 0 ? cornerSteps - i : i];
            polygon << at.centre + QPointF(p.x() * at.x * extent, p.y() * at.y * extent);
        }
    }
    path.addPolygon(polygon);
    path.closeSubpath();
    return path;
}

QPainterPath continuousCapsule(const QRectF &rect)
{
    return continuousRoundedRect(rect, qMin(rect.width(), rect.height()) / 2);
}

QRectF onPixels(const QPainter &painter, const QRectF &rect)
{
    const QTransform &toDevice = painter.deviceTransform();
    const QRectF device = toDevice.mapRect(rect);
    const QRectF whole(QPointF(qRound(device.left()), qRound(device.top())),
                       QPointF(qRound(device.right()), qRound(device.bottom())));
    return toDevice.inverted().mapRect(whole);
}

void strokeInside(QPainter &painter, const QRectF &rect, qreal radius, qreal lineWidth,
                  const QBrush &brush)
{
    const qreal scale = deviceScale(painter);
    const qreal line = qMax(1.0, std::floor(lineWidth * scale)) / scale;
    // The ring between two outlines: a stroked polygon would show where it begins and ends.
    QPainterPath ring = continuousRoundedRect(rect, radius);
    ring.addPath(
        continuousRoundedRect(rect.adjusted(line, line, -line, -line), qMax(0.0, radius - line)));
    ring.setFillRule(Qt::OddEvenFill);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(ring, brush);
}

qreal deviceScale(const QPainter &painter)
{
    const QTransform &transform = painter.deviceTransform();
    return std::hypot(transform.m11(), transform.m12());
}

PixelFrame PixelFrame::nearest(const QPainter &painter, const QRectF &box)
{
    const QTransform &toDevice = painter.deviceTransform();
    const QRectF device = toDevice.mapRect(box);
    const QSize pixels(qMax(1, qRound(device.width())), qMax(1, qRound(device.height())));
    const QRectF snapped(QPointF(qRound(device.x()), qRound(device.y())), pixels);
    return {pixels, toDevice.inverted().mapRect(snapped)};
}

QTransform PixelFrame::toPicture() const
{
    return QTransform::fromTranslate(-frame.x(), -frame.y()) *
           QTransform::fromScale(pixels.width() / frame.width(), pixels.height() / frame.height());
}

QImage framedPicture(const QImage &image, const QSizeF &frame, qreal scale)
{
    const QSize pixels = (frame * scale).toSize().expandedTo({1, 1});
    QImage framed(pixels, QImage::Format_RGB32);
    framed.fill(Qt::white);
    QSize fitted = image.size().scaled(pixels, Qt::KeepAspectRatio).expandedTo({1, 1});
    const QImage scaled = image.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QPainter painter(&framed);
    painter.drawImage((pixels.width() - fitted.width()) / 2,
                      (pixels.height() - fitted.height()) / 2, scaled);
    return framed;
}

void fillWithPicture(QPainter &painter, const QPainterPath &shape, const QRectF &frame,
                     const QImage &picture)
{
    QBrush brush(picture);
    brush.setTransform(
        QTransform::fromScale(frame.width() / picture.width(), frame.height() / picture.height()) *
        QTransform::fromTranslate(frame.x(), frame.y()));
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.fillPath(shape, brush);
}

} // namespace kivolo
