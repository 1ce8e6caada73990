#include "style/button.h"

#include "style/palette.h"
#include "style/shapes.h"
#include "style/stack_layout.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QToolTip>
#include <algorithm>

namespace kivolo {

namespace {

constexpr int bezelPadding = 14;
constexpr double hoverTint = 0.05;

/// Qt would leave out the menu that a button opens.
class AccessibleButton final : public QAccessibleWidget
{
public:
    explicit AccessibleButton(Button *button)
        : QAccessibleWidget(button)
    {}

    QAccessible::Role role() const override
    {
        return menu() ? QAccessible::ButtonMenu : QAccessible::Button;
    }
    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.hasPopup = menu() != nullptr;
        return state;
    }
    int childCount() const override { return faceCount() + (menu() ? 1 : 0); }
    QAccessibleInterface *child(int index) const override
    {
        return index == faceCount() ? QAccessible::queryAccessibleInterface(menu())
                                    : QAccessibleWidget::child(index);
    }
    int indexOfChild(const QAccessibleInterface *child) const override
    {
        return menu() && child->object() == menu() ? faceCount()
                                                   : QAccessibleWidget::indexOfChild(child);
    }
    QStringList actionNames() const override
    {
        return QStringList{pressAction()} + QAccessibleWidget::actionNames();
    }
    void doAction(const QString &name) override
    {
        if (name == pressAction())
            static_cast<Button *>(widget())->click();
        else
            QAccessibleWidget::doAction(name);
    }

private:
    /// A face that says no more than the button's name would only be read out a second time.
    int faceCount() const
    {
        const auto texts = widget()->findChildren<Text *>();
        const QString name = widget()->accessibleName();
        const bool saysMore = std::any_of(texts.begin(), texts.end(),
                                          [&](const Text *each) { return each->text() != name; });
        return saysMore ? QAccessibleWidget::childCount() : 0;
    }
    QMenu *menu() const
    {
        return widget()->findChild<QMenu *>(QString(), Qt::FindDirectChildrenOnly);
    }
};

QAccessibleInterface *accessibleButton(const QString &, QObject *object)
{
    auto *button = qobject_cast<Button *>(object);
    return button ? new AccessibleButton(button) : nullptr;
}

} // namespace

Button::Button(QWidget *face, const QString &name, std::function<void()> action)
    : layout_(new StackLayout(Qt::Vertical, 0, Qt::AlignCenter))
{
    setLayout(layout_);
    face->setAttribute(Qt::WA_TransparentForMouseEvents); // it is part of the button
    layout_->addWidget(face);
    QAccessible::installFactory(accessibleButton); // again and again is no more than once
    setAccessibleName(name);
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    connect(this, &QAbstractButton::clicked, this, [run = std::move(action)] { run(); });
}

Button *Button::on(const Background &background)
{
    if (background_ != background) {
        background_ = background;
        update();
    }
    return this;
}

Button *Button::tip(const QString &tip)
{
    setToolTip(tip.toHtmlEscaped());
    return this;
}

qreal Button::cornerRadius() const
{
    return background_ ? background_->cornerRadius(size()) : 4;
}

QSize Button::sizeHint() const
{
    return layout_->totalSizeHint();
}

QSize Button::minimumSizeHint() const
{
    return layout_->totalMinimumSize();
}

bool Button::event(QEvent *event)
{
    // While it has the focus, Return is its own and not the window's default action.
    if (event->type() == QEvent::ShortcutOverride) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            event->accept();
    }
    // Desktops have a font of their own for tips; it is looked up when one is shown.
    if (event->type() == QEvent::ToolTip)
        QToolTip::setFont(textFont(TextStyle::Subheadline));
    return QAbstractButton::event(event);
}

void Button::keyPressEvent(QKeyEvent *event)
{
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && !event->isAutoRepeat())
        click();
    else
        QAbstractButton::keyPressEvent(event);
}

void Button::focusInEvent(QFocusEvent *event)
{
    showsFocus_ = isShownFocus(event->reason());
    QAbstractButton::focusInEvent(event);
}

void Button::paintEvent(QPaintEvent *)
{
    if (!background_)
        return;
    QPainter painter(this);
    painter.setOpacity(inkOpacity(*this));
    const Palette &colors = Theme::shared().colors();
    background_->paint(painter, rect(), colors);
    if (isEnabled() && underMouse() && !isDown())
        painter.fillPath(background_->shape(onPixels(painter, rect())), colors.tint(hoverTint));
}

Button *plainButton(QWidget *face, const QString &name, std::function<void()> action)
{
    return new Button(face, name, std::move(action));
}

Button *plainButton(Text *face, std::function<void()> action)
{
    const QString name = face->text();
    return plainButton(face->oneLine(), name, std::move(action));
}

static Button *bezel(QWidget *face, const QString &name, std::function<void()> action,
                     const Background &background)
{
    return plainButton(face, name, std::move(action))
        ->padded(bezelPadding, 0)
        ->on(background)
        ->high(controlHeight);
}

static Background bordered()
{
    return Background::rounded(controlRadius, Fill::button()).outlined(Fill::quaternary());
}

Button *borderedButton(Text *face, std::function<void()> action)
{
    const QString name = face->text();
    return bezel(face->oneLine(), name, std::move(action), bordered());
}

Button *borderedButton(Label *face, std::function<void()> action)
{
    return bezel(face, face->text(), std::move(action), bordered());
}

static Background prominent()
{
    return Background::rounded(controlRadius, Fill::violet());
}

Button *prominentButton(Text *face, std::function<void()> action)
{
    const QString name = face->text();
    return bezel(face->oneLine()->in(Fill::white()), name, std::move(action), prominent());
}

Button *prominentButton(Label *face, std::function<void()> action)
{
    return bezel(face->in(Fill::white()), face->text(), std::move(action), prominent());
}

Button *chip(const QString &text, SymbolName symbol, std::function<void()> action)
{
    return plainButton(label(text, symbol, bold(textFont(TextStyle::Caption)))->in(Fill::violet()),
                       text, std::move(action))
        ->padded(10, 6)
        ->on(Background::capsule(Fill::violet(0.12)));
}

} // namespace kivolo
