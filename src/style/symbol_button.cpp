#include "style/symbol_button.h"

#include "style/palette.h"
#include "style/theme.h"

#include <QPainter>

namespace kivolo {

static constexpr int margin = 6; // a symbol alone is a small target

SymbolButton::SymbolButton(SymbolName symbol, qreal fontSize, const QString &name)
    : symbol_(symbol)
    , side_(symbolSide(fontSize))
{
    setAccessibleName(name);
    setFocusPolicy(Qt::TabFocus); // a click gives its window no focus
    resize(sizeHint());
}

void SymbolButton::moveSymbolTo(const QPointF &topLeft)
{
    move((topLeft - QPointF(margin, margin)).toPoint());
}

QSize SymbolButton::sizeHint() const
{
    const int side = int(side_) + 2 * margin;
    return {side, side};
}

void SymbolButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const Palette &colors = Theme::shared().colors();
    const QRectF box = QRectF(rect()).adjusted(margin, margin, -margin, -margin);
    paintSymbol(painter, symbol_, box,
                underMouse() || isDown() ? colors.primary : colors.secondary);
}

void SymbolButton::enterEvent(QEnterEvent *)
{
    update();
}

void SymbolButton::leaveEvent(QEvent *)
{
    update();
}

} // namespace kivolo
