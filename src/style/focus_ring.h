// Where the keyboard is.
#pragma once

#include <QPointer>
#include <QWidget>

namespace kivolo {

/// Whether a focus that arrives for `reason` is to be shown: keys have moved it. A window that
/// becomes active gives the focus to something by itself, and nobody asked for a ring.
bool isShownFocus(Qt::FocusReason reason);

/// A ring around the button or field to which keys have moved the focus. There is one in a window,
/// above everything else in it, because a view can't paint beyond its own edges.
class FocusRing : public QWidget
{
    Q_OBJECT
public:
    /// Follows the focus within `root`, which owns the ring.
    explicit FocusRing(QWidget *root);

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void follow(QWidget *focused);
    void place();
    qreal cornerRadius() const;

    QPointer<QWidget> focused_;
};

} // namespace kivolo
