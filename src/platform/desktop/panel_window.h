// The window behind a panel. Part of Panel; nothing else uses it.
#pragma once

#include "platform/desktop/floating_window.h"
#include "platform/desktop/panel.h"
#include "platform/desktop/presence.h"

#include <QWidget>

namespace kivolo {

class PanelVeil;

/// Carries the content in the middle of a translucent window that is larger by the shadow, or,
/// where windows are not blended, in an opaque window of its own size.
class PanelWindow final : public QWidget
{
    Q_OBJECT
public:
    /// `owner` observes drags; it outlives the window's visible life.
    PanelWindow(Panel &owner, std::unique_ptr<PanelContent> content, bool movableByBackground);
    ~PanelWindow() override;

    void place(const Rect &frame);
    void setAlpha(double alpha);
    void showInFront();

    /// No event reaches the owner from here on.
    void abandon();

    PanelContent *content() const { return content_; }

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void adaptToCompositor();
    void layOut();
    void thinOut();
    QRect card() const;
    void eraseNeighbours(QPainter &painter) const;
    void repaintShadowsAt(const QRect &place);

    Panel *owner_;
    PanelContent *content_;
    PanelVeil *veil_;
    bool movable_;
    double alpha_ = 1;
    bool blended_ = false;
    Rect frame_;
    QMargins margins_;
    std::optional<Point> grip_; // from the panel's origin to where a drag holds it
    std::unique_ptr<window_system::Presence> compositor_;
    std::unique_ptr<window_system::Presence> blur_;
    std::unique_ptr<window_system::Watch> foreground_; // while it is shown
};

} // namespace kivolo
