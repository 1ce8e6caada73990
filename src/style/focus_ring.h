// Where the keyboard is.
#pragma once

#include <QPointer>
#include <QWidget>

namespace kivolo {

/// Whether a focus that arrives for `reason` is to be shown: keys have moved it. A window that
/// becomes active gives the focus to something by itself, and nobody asked for a ring.
bool isShownFocus(Qt::FocusReason reason);

/// What a widget that a ring can surround is besides a QWidget.
class Ringed
{
public:
    virtual ~Ringed() = default;
    /// Of the corners that the ring follows.
    virtual qreal cornerRadius() const = 0;
    /// Whether keys have given it the focus, and nothing has been typed since: then the cursor
    /// tells.
    bool showsFocus() const { return showsFocus_; }

protected:
    bool showsFocus_ = false;
};

/// A ring around the widget to which keys have moved the focus. There is one in a window, above
/// everything else in it, because a view can't paint beyond its own edges.
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

    QPointer<QWidget> focused_;
};

} // namespace kivolo
