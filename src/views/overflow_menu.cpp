#include "views/overflow_menu.h"

#include "platform/desktop/floating_window.h"
#include "platform/desktop/presence.h"
#include "style/button.h"
#include "style/fill.h"
#include "style/palette.h"
#include "style/shadow.h"
#include "style/shapes.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QProxyStyle>
#include <QStyleOptionMenuItem>
#include <QWindow>

namespace kivolo {

namespace {

constexpr int overflowWidth = 22;
constexpr int overflowPadding = 6;
constexpr double radius = 12;
constexpr Shadow shadow{.opacity = 0.25, .sigma = 9, .drop = 4};
constexpr int shadowReach = 24; // as far as anything of it can be seen
constexpr int edge = 5;         // around all items
constexpr int itemPadding = 10;
constexpr int itemHeight = 26;
constexpr int separatorHeight = 9;
constexpr qreal highlightRadius = radius - edge;

constexpr char destructive[] = "destructive";

/// Paints a menu as the window's own surfaces are painted. Its window is larger by the shadow,
/// which takes the margins around the contents; a menu without margins is opaque and square.
class MenuStyle final : public QProxyStyle
{
public:
    MenuStyle()
        : QProxyStyle(QStringLiteral("fusion")) // others have shadows of their own for menus
    {}

    int pixelMetric(PixelMetric metric, const QStyleOption *option,
                    const QWidget *widget) const override
    {
        switch (metric) {
        case PM_MenuHMargin:
        case PM_MenuVMargin:
            return edge;
        case PM_MenuPanelWidth:
            return 0;
        case PM_MenuDesktopFrameWidth:
            // The shadow may lie beyond the edge of the screen.
            return widget ? -widget->contentsMargins().left() : 0;
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
        if (element == PE_PanelMenu && widget)
            drawSurface(*painter, widget->contentsRect(), !widget->contentsMargins().isNull(),
                        Theme::shared().colors());
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

    /// A press on the shadow is one beside the menu.
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *menu = qobject_cast<QMenu *>(watched);
        if (!menu || event->type() != QEvent::MouseButtonPress ||
            menu->contentsRect().contains(static_cast<QMouseEvent *>(event)->position().toPoint()))
            return QProxyStyle::eventFilter(watched, event);
        menu->close();
        return true;
    }

private:
    static void drawSurface(QPainter &painter, const QRectF &surface, bool floats,
                            const Palette &colors)
    {
        const double corner = floats ? radius : 0;
        if (floats)
            paintShadow(painter, surface, corner, shadow);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(continuousRoundedRect(surface, corner), Fill::material().color(colors));
        strokeInside(painter, surface, corner, 1, Fill::violet(0.3).color(colors));
    }

    static void drawItem(const QStyleOptionMenuItem &item, const QAction *action, QPainter &painter)
    {
        const Palette &colors = Theme::shared().colors();
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

/// Leaves room for the shadow where it can be seen.
void makeRoomForShadow(QMenu &menu)
{
    const bool onWayland = QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
    const bool blended = onWayland || window_system::observeCompositor([] {})->isThere();
    const int reach = blended ? shadowReach : 0;
    const QMargins margins(reach, reach, reach, reach);
    if (menu.contentsMargins() == margins)
        return;
    menu.setContentsMargins(margins);
    QEvent measureAgain(QEvent::StyleChange);
    QCoreApplication::sendEvent(&menu, &measureAgain);
}

/// Below `opener`, both ending at the same place on the right.
void popUp(QMenu &menu, const QWidget &opener)
{
    makeRoomForShadow(menu);
    const QMargins margins = menu.contentsMargins();
    const QSize size = menu.sizeHint();
    const QPoint corner = opener.mapToGlobal(QPoint(opener.width(), opener.height()));
    menu.winId(); // from here on there is a window handle
    window_system::setCard(*menu.windowHandle(), size.shrunkBy(margins), margins);
    menu.popup(corner - QPoint(size.width() - margins.right(), margins.top()));
}

} // namespace

Button *overflowMenu(QMenu *menu)
{
    Symbol *dots =
        symbol(SymbolName::Ellipsis, textFont(TextStyle::Body).pixelSize())->in(Fill::white());
    Button *button = plainButton(dots, Button::tr("Menu"), [menu] {
        popUp(*menu, *static_cast<const QWidget *>(menu->parent()));
    });
    menu->setParent(button,
                    menu->windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    menu->setAttribute(Qt::WA_TranslucentBackground);
    menu->setFont(textFont(TextStyle::Body));
    auto *style = new MenuStyle;
    style->setParent(menu);
    menu->setStyle(style);
    menu->installEventFilter(style);
    // By itself it stays when assistive technology has chosen the item.
    QObject::connect(menu, &QMenu::triggered, menu, &QMenu::close);
    return button->padded(0, overflowPadding)->wide(overflowWidth);
}

void addDestructiveAction(QMenu *menu, const QString &text, std::function<void()> action)
{
    menu->addAction(text, menu, std::move(action))->setProperty(destructive, true);
}

} // namespace kivolo
