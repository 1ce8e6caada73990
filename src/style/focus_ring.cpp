#include "style/focus_ring.h"

#include "style/brand.h"
#include "style/button.h"
#include "style/field.h"
#include "style/shapes.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>

namespace kivolo {

static constexpr int reach = 3; // points beyond what it surrounds

FocusRing::FocusRing(QWidget *root)
    : QWidget(root)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
    connect(qApp, &QApplication::focusChanged, this,
            [this](QWidget *, QWidget *now) { follow(now); });
}

bool isShownFocus(Qt::FocusReason reason)
{
    return reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason;
}

static bool hasRing(const QWidget *widget)
{
    const auto *button = qobject_cast<const Button *>(widget);
    const auto *field = qobject_cast<const Field *>(widget);
    return (button && button->showsFocus()) || (field && field->showsFocus());
}

void FocusRing::follow(QWidget *focused)
{
    for (QWidget *at = focused_; at && at != parentWidget(); at = at->parentWidget())
        at->removeEventFilter(this);
    focused_ = hasRing(focused) && parentWidget()->isAncestorOf(focused) ? focused : nullptr;
    for (QWidget *at = focused_; at && at != parentWidget(); at = at->parentWidget())
        at->installEventFilter(this);
    place();
}

bool FocusRing::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::KeyPress:
        // What it surrounds may still be on its way.
        QMetaObject::invokeMethod(this, &FocusRing::place, Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void FocusRing::place()
{
    const bool shown = hasRing(focused_) && focused_->isVisible();
    setVisible(shown);
    if (!shown)
        return;
    const QRect around(focused_->mapTo(parentWidget(), QPoint()), focused_->size());
    setGeometry(around.adjusted(-reach, -reach, reach, reach));
    raise();
    update();
}

qreal FocusRing::cornerRadius() const
{
    if (const auto *button = qobject_cast<const Button *>(focused_))
        return button->cornerRadius();
    const auto *field = qobject_cast<const Field *>(focused_);
    return field ? field->cornerRadius() : 0;
}

void FocusRing::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const qreal radius = cornerRadius() + reach;
    const QRectF sharp = onPixels(painter, rect());
    // White beside violet, so that it shows on the brand's gradient as well as on the window.
    strokeInside(painter, sharp.adjusted(1, 1, -1, -1), radius - 1, 2, QColor(255, 255, 255, 217));
    strokeInside(painter, sharp, radius, 2, Brand::violet());
}

} // namespace kivolo
