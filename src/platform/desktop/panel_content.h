// What fills a floating window.
#pragma once

#include <QMargins>
#include <QRectF>
#include <QWidget>

class QPainter;

namespace kivolo {

/// What a floating window asks of the widget that fills it.
class PanelContent : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

    /// What the desktop does with what lies beneath the window.
    enum class Blending {
        None,   ///< It is not seen; what is not painted would be black, the corners too.
        Plain,  ///< It is seen as it is, and would be read through a translucent content.
        Blurred ///< It is seen blurred.
    };

    /// Called before the first painting and whenever it changes.
    virtual void setBlending(Blending blending) = 0;

    /// Of its shape, in points, where windows are blended.
    virtual double cornerRadius() const { return 0; }

    /// How far its shadow reaches beyond its edges, in points.
    virtual QMargins shadowMargins() const { return {}; }
    /// Paints that around the content, which stands at `place` in the painter's coordinates.
    virtual void paintShadow(QPainter & /*painter*/, const QRectF & /*place*/) const {}
};

} // namespace kivolo
