#include "style/stack.h"

#include "style/stack_layout.h"
#include "style/text.h"
#include "style/theme.h"

#include <QAbstractButton>
#include <QPainter>

namespace kivolo {

Stack::Stack(Qt::Orientation direction, int spacing, Qt::Alignment across,
             std::initializer_list<Child> children)
    : layout_(new StackLayout(direction, spacing, across))
    , centersLines_(direction == Qt::Vertical && across & Qt::AlignHCenter)
{
    setLayout(layout_);
    holding(children);
}

Stack *Stack::holding(std::initializer_list<Child> children)
{
    for (const Child &child : children) {
        if (!child.view)
            layout_->addSpacer();
        else if (child.yields)
            layout_->addYielding(child.view);
        else
            layout_->addWidget(child.view);
        if (auto *line = qobject_cast<Text *>(child.view); line && centersLines_)
            line->centered();
    }
    return this;
}

Stack *Stack::on(const Background &background)
{
    background_ = background;
    update();
    return this;
}

Stack *Stack::tightening(int leastSpacing)
{
    layout_->setLeastSpacing(leastSpacing);
    return this;
}

void Stack::paintEvent(QPaintEvent *)
{
    if (!background_)
        return;
    QPainter painter(this);
    painter.setOpacity(inkOpacity(*this));
    background_->paint(painter, rect(), Theme::shared().colors());
}

Stack *vstack(int spacing, std::initializer_list<Stack::Child> children, Qt::Alignment across)
{
    return new Stack(Qt::Vertical, spacing, across, children);
}

Stack *hstack(int spacing, std::initializer_list<Stack::Child> children, Qt::Alignment across)
{
    return new Stack(Qt::Horizontal, spacing, across, children);
}

Stack::Child spacer()
{
    return {nullptr};
}

Stack::Child yielding(QWidget *view)
{
    Stack::Child child(view);
    child.yields = true;
    return child;
}

QWidget *divider()
{
    return hstack(0, {})->on(Background::hairLine())->filling(Qt::Horizontal)->high(1);
}

void setShown(QWidget *view, bool shown)
{
    if (view->isHidden() == shown)
        view->setVisible(shown);
}

static const QAbstractButton *buttonOf(const QWidget &view)
{
    for (const QWidget *at = &view; at; at = at->isWindow() ? nullptr : at->parentWidget()) {
        if (const auto *button = qobject_cast<const QAbstractButton *>(at))
            return button;
    }
    return nullptr;
}

qreal inkOpacity(const QWidget &view)
{
    const QAbstractButton *button = buttonOf(view);
    if (button && !button->isEnabled())
        return button == &view ? 0.2 : 1;
    return button && button->isDown() ? 0.7 : 1;
}

Fill ink(const QWidget &view, Fill fill)
{
    const QAbstractButton *button = buttonOf(view);
    return button && !button->isEnabled() && fill == Fill::white() ? Fill::primary(0.7) : fill;
}

} // namespace kivolo
