// What every floating card stands on.
#pragma once

#include "platform/desktop/panel_content.h"

namespace kivolo {

/// A translucent surface with continuous corners and an outline along its inner edge; a subclass
/// paints what is on it. Fills its widget, which is meant to be all of a translucent window.
class CardSurface : public PanelContent
{
    Q_OBJECT
public:
    /// Opaque unless what lies beneath is blurred, and square where that is not seen at all.
    void setBlending(Blending blending) override;
    double cornerRadius() const override { return outline_.radius; }
    QMargins shadowMargins() const override;
    void paintShadow(QPainter &painter, const QRectF &place) const override;

protected:
    struct Outline
    {
        qreal radius;
        qreal lineWidth;
        bool gradient; ///< In the brand's gradient, else in a pale violet.
    };
    explicit CardSurface(const Outline &outline);

    /// Paints in points from the widget's top-left corner. The painter is clipped to the widget,
    /// has antialiasing on, and may be left in any state.
    virtual void paintContent(QPainter &painter) = 0;

    void paintEvent(QPaintEvent *event) override;

private:
    Outline outline_;
    Blending blending_ = Blending::Blurred;
};

} // namespace kivolo
