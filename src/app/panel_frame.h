// What the menu-bar panel's content stands in.
#pragma once

#include <QWidget>
#include <memory>

namespace kivolo {

/// Gives its content the window's background, continuous rounded corners and a hair line around
/// them. The content has all of its size; corners and line lie over it.
class PanelFrame final : public QWidget
{
    Q_OBJECT
    // What carries the frame sets this without knowing its type.
    Q_PROPERTY(bool squareCorners READ hasSquareCorners WRITE setSquareCorners)
public:
    explicit PanelFrame(std::unique_ptr<QWidget> content);

    /// Where nothing composes windows, what is cut off would be black.
    void setSquareCorners(bool square);
    bool hasSquareCorners() const { return squareCorners_; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    class Edge;

    QWidget *content_;
    Edge *edge_;
    bool squareCorners_ = true;
};

} // namespace kivolo
