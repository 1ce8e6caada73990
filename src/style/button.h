// Buttons of every look.
#pragma once

#include "style/background.h"
#include "style/fitted.h"
#include "style/focus_ring.h"
#include "style/text.h"

#include <QAbstractButton>
#include <functional>
#include <optional>

namespace kivolo {

class StackLayout;

/// Can be pressed: with the mouse, with Space or Return while it has the focus, or by assistive
/// technology, which knows it by its text. A click does not take the focus from where one types.
class Button : public Fitted<Button, QAbstractButton>, public Ringed
{
    Q_OBJECT
public:
    /// `face` is what is on it; the button takes it. `name` is its name in words.
    Button(QWidget *face, const QString &name, std::function<void()> action);

    Button *on(const Background &background);
    /// A tool tip in plain text.
    Button *tip(const QString &tip);

    qreal cornerRadius() const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    StackLayout *layout_;
    std::optional<Background> background_;
};

/// Nothing but its face: no bezel.
Button *plainButton(QWidget *face, const QString &name, std::function<void()> action);
Button *plainButton(Text *face, std::function<void()> action);
/// Outlined on the colour of buttons.
Button *borderedButton(Text *face, std::function<void()> action);
Button *borderedButton(Label *face, std::function<void()> action);
/// The one that matters most: filled with violet. The face becomes white.
Button *prominentButton(Text *face, std::function<void()> action);
Button *prominentButton(Label *face, std::function<void()> action);
/// A pale violet capsule with a small label.
Button *chip(const QString &text, SymbolName symbol, std::function<void()> action);

} // namespace kivolo
