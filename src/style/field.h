// Fields to type a line of text into.
#pragma once

#include "style/background.h"
#include "style/focus_ring.h"

#include <QLineEdit>
#include <QMargins>

namespace kivolo {

/// A line of text on a background of its own. Input methods, undo and the menu are the desktop's.
class Field : public QLineEdit, public Ringed
{
    Q_OBJECT
public:
    /// `name` is what assistive technology calls it; at first it is the placeholder, too.
    Field(const QString &name, const Background &background, const QMargins &padding);

    qreal cornerRadius() const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void focusInEvent(QFocusEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void takeColors();

    Background background_;
    QMargins padding_;
    bool takingColors_ = false;
};

/// In the desktop's look of a field with a rounded border.
Field *roundedField(const QString &name);
/// A pale capsule.
Field *capsuleField(const QString &name);

} // namespace kivolo
