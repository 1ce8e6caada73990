#include "style/menu.h"

#include "style/button.h"
#include "style/fill.h"
#include "style/palette.h"
#include "style/shapes.h"
#include "style/text_style.h"

#include <QMenu>
#include <QPainter>
#include <QProxyStyle>
#include <QStyleOptionMenuItem>

namespace kivolo {

namespace {

constexpr int overflowWidth = 22;
constexpr int overflowPadding = 6;
constexpr int edge = 5; // around all items
constexpr int itemPadding = 10;
constexpr int itemHeight = 26;
constexpr int separatorHeight = 9;
constexpr qreal highlightRadius = 5;

constexpr char destructive[] = "destructive";

/// Paints a menu in the colours of the window it belongs to. How it works is the desktop's.
class MenuStyle final : public QProxyStyle
{
public:
    int pixelMetric(PixelMetric metric, const QStyleOption *option,
                    const QWidget *widget) const override
    {
        switch (metric) {
        case PM_MenuHMargin:
        case PM_MenuVMargin:
            return edge;
        case PM_MenuPanelWidth:
            return 1;
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
        }
    }

    QSize sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &size,
                           const QWidget *widget) const override
    {
        const auto *item = qstyleoption_cast<const QStyleOptionMenuItem *>(option);
        if (type != CT_MenuItem || !item)
            return QProxyStyle::sizeFromContents(type, option, size, widget);
        if (item->menuItemType == QStyleOptionMenuItem::Separator)
            return {1, separatorHeight};
        return {QFontMetrics(item->font).horizontalAdvance(item->text) + 2 * itemPadding,
                itemHeight};
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget) const override
    {
        const Palette colors = Palette::of(option->palette);
        if (element == PE_PanelMenu)
            painter->fillRect(option->rect, Fill::material().color(colors));
        else if (element == PE_FrameMenu)
            strokeInside(*painter, option->rect, 0, 1, colors.quaternary);
        else
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }

    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override
    {
        const auto *item = qstyleoption_cast<const QStyleOptionMenuItem *>(option);
        const auto *menu = qobject_cast<const QMenu *>(widget);
        if (element == CE_MenuItem && item && menu)
            drawItem(*item, menu->actionAt(item->rect.center()), *painter);
        else if (element != CE_MenuEmptyArea)
            QProxyStyle::drawControl(element, option, painter, widget);
    }

private:
    static void drawItem(const QStyleOptionMenuItem &item, const QAction *action, QPainter &painter)
    {
        const Palette colors = Palette::of(item.palette);
        const QRect inner = item.rect.adjusted(itemPadding, 0, -itemPadding, 0);
        if (item.menuItemType == QStyleOptionMenuItem::Separator) {
            painter.fillRect(QRect(inner.left(), inner.center().y(), inner.width(), 1),
                             colors.quaternary);
            return;
        }
        const bool highlighted = item.state & State_Selected;
        if (highlighted) {
            painter.setRenderHint(QPainter::Antialiasing);
            painter.fillPath(continuousRoundedRect(item.rect, highlightRadius),
                             Fill::violet().color(colors));
        }
        const bool takesAway = action && action->property(destructive).toBool();
        painter.setPen(highlighted ? Qt::white : takesAway ? colors.red : colors.primary);
        painter.setFont(item.font);
        painter.drawText(inner, Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextHideMnemonic,
                         item.text);
    }
};

} // namespace

Button *overflowMenu(QMenu *menu)
{
    Symbol *dots = symbol(QStringLiteral("ellipsis"), textFont(TextStyle::Body).pixelSize())
                       ->in(Fill::white());
    Button *button = plainButton(dots, Button::tr("Menu"), [menu] {
        const auto *opener = static_cast<const QWidget *>(menu->parent());
        const QPoint below = opener->mapToGlobal(QPoint(opener->width(), opener->height()));
        menu->popup(below - QPoint(menu->sizeHint().width(), 0));
    });
    menu->setParent(button, menu->windowFlags());
    menu->setFont(textFont(TextStyle::Body));
    auto *style = new MenuStyle;
    style->setParent(menu);
    menu->setStyle(style);
    // By itself it stays when assistive technology has chosen the item.
    QObject::connect(menu, &QMenu::triggered, menu, &QMenu::close);
    return button->padded(0, overflowPadding)->wide(overflowWidth);
}

void addDestructiveAction(QMenu *menu, const QString &text, std::function<void()> action)
{
    menu->addAction(text, menu, std::move(action))->setProperty(destructive, true);
}

} // namespace kivolo
