#include "style/field.h"

#include "style/palette.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QApplication>
#include <QFocusEvent>
#include <QFontMetrics>
#include <QPainter>
#include <QScopedValueRollback>

namespace kivolo {

static constexpr int ownMargin = 2; // that Qt leaves on both sides of the text

Field::Field(const QString &name, const Background &background, const QMargins &padding)
    : background_(background)
    , padding_(padding)
{
    setPlaceholderText(name);
    setAccessibleName(name);
    setFont(textFont(TextStyle::Body));
    setFrame(false);
    setTextMargins(padding - QMargins(ownMargin, 0, ownMargin, 0));
    takeColors();
}

qreal Field::cornerRadius() const
{
    return background_.cornerRadius(size());
}

QSize Field::sizeHint() const
{
    return QSize(200, fontMetrics().height()).grownBy(padding_);
}

QSize Field::minimumSizeHint() const
{
    return {padding_.left() + padding_.right(), sizeHint().height()};
}

void Field::focusInEvent(QFocusEvent *event)
{
    showsFocus_ = isShownFocus(event->reason());
    QLineEdit::focusInEvent(event);
}

void Field::keyPressEvent(QKeyEvent *event)
{
    showsFocus_ = false;
    QLineEdit::keyPressEvent(event);
}

void Field::paintEvent(QPaintEvent *event)
{
    {
        QPainter painter(this);
        background_.paint(painter, rect(), Theme::shared().colors());
    }
    QLineEdit::paintEvent(event);
}

void Field::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        takeColors();
    QLineEdit::changeEvent(event);
}

void Field::takeColors()
{
    if (takingColors_)
        return;
    const QScopedValueRollback guard(takingColors_, true);
    const Palette &colors = Theme::shared().colors();
    QPalette own;
    own.setColor(QPalette::Base, Qt::transparent);
    own.setColor(QPalette::Text, colors.primary);
    own.setColor(QPalette::PlaceholderText, colors.secondary);
    setPalette(own);
}

Field *roundedField(const QString &name)
{
    auto *field = new Field(
        name, Background::rounded(controlRadius, Fill::field()).outlined(Fill::quaternary()),
        {8, 0, 8, 0});
    field->setFixedHeight(controlHeight);
    return field;
}

Field *capsuleField(const QString &name)
{
    return new Field(name, Background::capsule(Fill::primary(0.07)), {14, 10, 14, 10});
}

} // namespace kivolo
