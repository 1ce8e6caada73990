#include "style/activity_indicator.h"

#include "style/palette.h"
#include "style/theme.h"

#include <QPainter>

namespace kivolo {

namespace {

constexpr int smallSide = 14;
constexpr int regularSide = 28;
constexpr int steps = 24; // a turn
constexpr int stepLength = 50;
constexpr int fullTurn = 360 * 16; // in the painter's units

} // namespace

ActivityIndicator::ActivityIndicator(ControlSize size)
{
    const int side = size == ControlSize::Small ? smallSide : regularSide;
    setFixedSize(side, side);
    setAccessibleName(tr("Busy"));
}

void ActivityIndicator::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const Palette &colors = Theme::shared().colors();
    const qreal line = width() / 7.0;
    const QRectF circle = QRectF(rect()).adjusted(line / 2, line / 2, -line / 2, -line / 2);
    painter.setPen(QPen(colors.quaternary, line));
    painter.drawEllipse(circle);
    painter.setPen(QPen(colors.secondary, line, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(circle, fullTurn / 4 - step_ * fullTurn / steps, -fullTurn / 4);
}

void ActivityIndicator::timerEvent(QTimerEvent *)
{
    step_ = (step_ + 1) % steps;
    update();
}

void ActivityIndicator::showEvent(QShowEvent *)
{
    if (!Theme::shared().reducesMotion())
        timer_.start(stepLength, this);
}

void ActivityIndicator::hideEvent(QHideEvent *)
{
    timer_.stop();
}

} // namespace kivolo
