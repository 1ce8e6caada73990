// A slim scroll bar.
#pragma once

#include <QScrollBar>

namespace kivolo {

/// Vertical, without arrows, in the colours of the palette: a thumb that tells where one is, and
/// nothing where all of it is to be seen. A click beside the thumb scrolls by a page.
class ScrollBar final : public QScrollBar
{
    Q_OBJECT
public:
    ScrollBar();

    static constexpr int barWidth = 10;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    QRectF thumb() const;

    qreal grip_ = 0; // where in the thumb it is held
};

} // namespace kivolo
