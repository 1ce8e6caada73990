#include "style/focus_ring.h"

#include "style/brand.h"
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

/// `widget`, if a ring is to be around it now.
static const Ringed *ringed(const QWidget *widget)
{
    const auto *found = dynamic_cast<const Ringed *>(widget);
    return found && found->showsFocus() ? found : nullptr;
}

void FocusRing::follow(QWidget *focused)
{
    for (QWidget *at = focused_; at && at != parentWidget(); at = at->parentWidget())
        at->removeEventFilter(this);
    focused_ = ringed(focused) && parentWidget()->isAncestorOf(focused) ? focused : nullptr;
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
    const bool shown = ringed(focused_) && focused_->isVisible();
    setVisible(shown);
    if (!shown)
        return;
    const QRect around(focused_->mapTo(parentWidget(), QPoint()), focused_->size());
    setGeometry(around.adjusted(-reach, -reach, reach, reach));
    raise();
    update();
}

void FocusRing::paintEvent(QPaintEvent *)
{
    const Ringed *surrounded = ringed(focused_);
    if (!surrounded)
        return;
    QPainter painter(this);
    const qreal radius = surrounded->cornerRadius() + reach;
    const QRectF sharp = onPixels(painter, rect());
    // White beside violet, so that it shows on the brand's gradient as well as on the window.
    strokeInside(painter, sharp.adjusted(1, 1, -1, -1), radius - 1, 2, QColor(255, 255, 255, 217));
    strokeInside(painter, sharp, radius, 2, Brand::violet());
}

} // namespace kivolo
