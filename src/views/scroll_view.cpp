#include "views/scroll_view.h"

#include "style/background.h"
#include "style/brand.h"
#include "style/focus_ring.h"
#include "style/scroll_bar.h"
#include "style/shapes.h"

#include <QFocusEvent>
#include <QLayout>
#include <QPainter>

namespace kivolo {

static constexpr int wheelStep = 20; // a notch of the wheel is three of them

ScrollView::ScrollView(QWidget *content)
{
    setFrameShape(QFrame::NoFrame);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBar(new ScrollBar);
    verticalScrollBar()->setSingleStep(wheelStep);
    setWidget(content);
    for (QWidget *see : {viewport(), content})
        see->setAutoFillBackground(false);
}

void ScrollView::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    fit();
}

bool ScrollView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == widget() && event->type() == QEvent::LayoutRequest)
        fit();
    return QScrollArea::eventFilter(watched, event);
}

void ScrollView::showFocus(bool shown)
{
    showsFocus_ = shown;
    viewport()->update();
}

void ScrollView::focusInEvent(QFocusEvent *event)
{
    showFocus(isShownFocus(event->reason()));
}

void ScrollView::focusOutEvent(QFocusEvent *)
{
    showFocus(false);
}

void ScrollView::paintEvent(QPaintEvent *)
{
    if (!showsFocus_)
        return;
    QPainter painter(viewport());
    const QRectF inner = QRectF(viewport()->rect()).adjusted(2, 2, -2, -2);
    strokeInside(painter, onPixels(painter, inner), controlRadius, 2, Brand::violet());
}

void ScrollView::fit()
{
    QSize room = maximumViewportSize();
    const auto needed = [this, &room] {
        return widget()->layout()->totalMinimumHeightForWidth(room.width());
    };
    const bool scrolls = needed() > room.height();
    if (scrolls)
        room.rwidth() -= verticalScrollBar()->sizeHint().width();
    widget()->resize(room.width(), qMax(room.height(), needed()));
    // Keys have nothing to do in what is seen whole.
    setFocusPolicy(scrolls ? Qt::TabFocus : Qt::NoFocus);
}

} // namespace kivolo
