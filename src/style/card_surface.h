// What every floating card stands on.
#pragma once

#include <QBrush>
#include <QWidget>

namespace kivolo {

/// A translucent surface with continuous corners and an outline along its inner edge; a subclass
/// paints what is on it. Fills its widget, which is meant to be all of a translucent window.
class CardSurface : public QWidget
{
    Q_OBJECT
    // What carries the card sets and reads these without knowing its type.
    Q_PROPERTY(bool squareCorners READ hasSquareCorners WRITE setSquareCorners)
    Q_PROPERTY(bool opaque READ isOpaque WRITE setOpaque)
    Q_PROPERTY(double cornerRadius READ cornerRadius CONSTANT)
public:
    double cornerRadius() const { return outline_.radius; }
    /// Where nothing composes windows, what is not painted would be black: the card is then opaque
    /// and its corners are square.
    void setSquareCorners(bool square);
    bool hasSquareCorners() const { return squareCorners_; }
    /// Where nothing blurs what lies beneath the card, it would be read through its material.
    void setOpaque(bool opaque);
    bool isOpaque() const { return opaque_; }

protected:
    struct Outline
    {
        qreal radius;
        qreal lineWidth;
        bool gradient; ///< In the brand's gradient, else in a pale violet.
    };
    CardSurface(const Outline &outline, QWidget *parent);

    /// Paints in points from the widget's top-left corner. The painter is clipped to the widget,
    /// has antialiasing on, and may be left in any state.
    virtual void paintContent(QPainter &painter) = 0;

    void paintEvent(QPaintEvent *event) override;

private:
    Outline outline_;
    bool squareCorners_ = false;
    bool opaque_ = false;
};

} // namespace kivolo
