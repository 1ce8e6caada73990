#include "style/scroll_bar.h"

#include "style/palette.h"
#include "style/theme.h"

#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>

namespace kivolo {

namespace {

constexpr qreal margin = 2;
constexpr qreal shortestThumb = 28;
constexpr qreal leastTravel = 28; // however little there is to scroll, it can be seen which way
constexpr double restingOpacity = 0.22;
constexpr double heldOpacity = 0.42;

} // namespace

ScrollBar::ScrollBar()
    : QScrollBar(Qt::Vertical)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

QSize ScrollBar::sizeHint() const
{
    return {barWidth, 2 * barWidth};
}

QRectF ScrollBar::thumb() const
{
    const qreal range = maximum() - minimum();
    const qreal track = height() - 2 * margin;
    const qreal share = track * pageStep() / (range + pageStep());
    const qreal length = qMin(track, qMax(shortestThumb, qMin(share, track - leastTravel)));
    const qreal top = margin + (track - length) * (sliderPosition() - minimum()) / qMax(1.0, range);
    return {margin, top, width() - 2 * margin, length};
}

void ScrollBar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const Palette &colors = Theme::shared().colors();
    painter.fillRect(rect(), colors.window);
    if (maximum() <= minimum())
        return;
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colors.tint(isSliderDown() ? heldOpacity : restingOpacity));
    const QRectF shape = thumb();
    painter.drawRoundedRect(shape, shape.width() / 2, shape.width() / 2);
}

void ScrollBar::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || maximum() <= minimum())
        return;
    const QRectF shape = thumb();
    const qreal y = event->position().y();
    if (y < shape.top()) {
        triggerAction(SliderPageStepSub);
    } else if (y >= shape.bottom()) {
        triggerAction(SliderPageStepAdd);
    } else {
        grip_ = y - shape.top();
        setSliderDown(true);
    }
    update();
}

void ScrollBar::mouseMoveEvent(QMouseEvent *event)
{
    if (!isSliderDown())
        return;
    const qreal room = height() - 2 * margin - thumb().height();
    const qreal top = event->position().y() - grip_ - margin;
    const qreal range = maximum() - minimum();
    setSliderPosition(minimum() + int(std::lround(range * top / qMax(1.0, room))));
}

void ScrollBar::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        setSliderDown(false);
    update();
}

void ScrollBar::contextMenuEvent(QContextMenuEvent *event)
{
    event->ignore(); // its entries would name arrows that are not there
}

} // namespace kivolo
