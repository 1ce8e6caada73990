// The surface one draws on.
#pragma once

#include <QImage>
#include <QPolygonF>
#include <QWidget>
#include <optional>

namespace kivolo {

/// Turns what the left mouse button (or a finger or a pen in its place) draws into strokes and
/// shows them on white. The drawing lives in here only, anchored at the top left whatever the size.
class DrawingNSView final : public QWidget
{
    Q_OBJECT
public:
    DrawingNSView();

    /// Finished strokes, in the order in which they were drawn: straight lines through the points
    /// where the pointer was, with nothing smoothed or thinned out.
    const QList<QPolygonF> &paths() const { return paths_; }
    /// The stroke in progress while the button is held.
    const std::optional<QPolygonF> &current() const { return current_; }

    void clear();

    /// Leaves what is outside the continuous rounded rectangle of this radius to whatever is behind
    /// the view. With 0, the value at first, all of its rectangle is shown.
    void setCornerRadius(qreal radius);

    /// The whole drawing as it is shown, on opaque white into the corners, in the pixels of the
    /// view's screen. Null if the view has no size.
    QImage bitmap() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    QImage draw(const QRect &pixels, const QTransform &toPixels) const;
    void updateAlong(const QPolygonF &line);

    QList<QPolygonF> paths_;
    std::optional<QPolygonF> current_;
    qreal cornerRadius_ = 0;
};

} // namespace kivolo
