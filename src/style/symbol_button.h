// A button that is nothing but a symbol.
#pragma once

#include "style/symbols.h"

#include <QAbstractButton>

namespace kivolo {

/// Has no bezel and no background.
class SymbolButton final : public QAbstractButton
{
    Q_OBJECT
public:
    /// `name` is what assistive technology calls it.
    SymbolButton(SymbolName symbol, qreal fontSize, const QString &name);

    /// Places the symbol, not the somewhat larger area that takes clicks.
    void moveSymbolTo(const QPointF &topLeft);
    qreal side() const { return side_; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    SymbolName symbol_;
    qreal side_;
};

} // namespace kivolo
