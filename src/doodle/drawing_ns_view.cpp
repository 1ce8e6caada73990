#include "doodle/drawing_ns_view.h"

#include "doodle/ink.h"
#include "style/shapes.h"

#include <QAccessibleWidget>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>
#include <utility>

namespace kivolo {

static QAccessibleInterface *accessibleCanvas(const QString &, QObject *object)
{
    auto *view = qobject_cast<DrawingNSView *>(object);
    return view ? new QAccessibleWidget(view, QAccessible::Canvas) : nullptr;
}

/// To the fraction of a point, which the event's own position has lost on its way to a child.
static QPointF location(const QWidget &view, const QMouseEvent &event)
{
    return view.mapFrom(view.window(), event.scenePosition());
}

DrawingNSView::DrawingNSView()
{
    QAccessible::installFactory(accessibleCanvas); // again and again is no more than once
    setAccessibleName(tr("Doodle"));
    setCornerRadius(0);
}

void DrawingNSView::clear()
{
    paths_.clear();
    current_.reset();
    update();
}

void DrawingNSView::setCornerRadius(qreal radius)
{
    cornerRadius_ = radius;
    setAttribute(Qt::WA_OpaquePaintEvent, radius <= 0);
    update();
}

QImage DrawingNSView::draw(const QRect &pixels, const QTransform &toPixels) const
{
    Ink ink(pixels, toPixels);
    for (const QPolygonF &path : paths_)
        ink.stroke(path);
    if (current_)
        ink.stroke(*current_);
    return ink.image();
}

QImage DrawingNSView::bitmap() const
{
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * ratio).toSize();
    return pixels.isEmpty() ? QImage() : draw({{}, pixels}, QTransform::fromScale(ratio, ratio));
}

void DrawingNSView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    if (cornerRadius_ > 0) {
        painter.setRenderHint(QPainter::Antialiasing);
        const QPainterPath shape = continuousRoundedRect(rect(), cornerRadius_);
        if (!shape.contains(event->rect()))
            painter.setClipPath(shape);
    }
    const QTransform toDevice = painter.deviceTransform();
    // What is to be painted need not be whole pixels.
    const QRect pixels =
        toDevice.mapRect(QRectF(event->rect())).toAlignedRect().adjusted(-1, -1, 1, 1);
    // Nor need the view begin at one, but the picture of it does.
    const QTransform toPixels(toDevice.m11(), 0, 0, toDevice.m22(), std::round(toDevice.dx()),
                              std::round(toDevice.dy()));
    painter.setTransform(toDevice.inverted());
    painter.drawImage(pixels.topLeft(), draw(pixels, toPixels));
}

void DrawingNSView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    if (current_) // its release never came
        updateAlong(*current_);
    current_ = QPolygonF({location(*this, *event)});
}

void DrawingNSView::mouseMoveEvent(QMouseEvent *event)
{
    if (!current_)
        return;
    current_->append(location(*this, *event));
    updateAlong(QPolygonF(current_->last(2)));
}

void DrawingNSView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    if (current_) // shown already: nothing to paint
        paths_.append(*std::exchange(current_, std::nullopt));
}

void DrawingNSView::updateAlong(const QPolygonF &line)
{
    // Antialiasing, the view's begin and the clip: each may be half a pixel further out.
    constexpr qreal reach = Ink::penRadius + 1.5;
    update(line.boundingRect().adjusted(-reach, -reach, reach, reach).toAlignedRect());
}

} // namespace kivolo
