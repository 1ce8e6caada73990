// Views that hold other views: rows, columns and layers.
#pragma once

#include "style/background.h"
#include "style/fitted.h"

#include <QWidget>
#include <initializer_list>
#include <optional>

namespace kivolo {

class StackLayout;

/// A row or a column of views, with what lies under it. Made with the functions below, so that a
/// view's source reads like the tree that it is. Belongs to the stack or the view it is put into.
class Stack : public Fitted<Stack, QWidget>
{
    Q_OBJECT
public:
    /// A view, which the stack takes, or room to grow into.
    struct Child
    {
        Child(QWidget *child) // NOLINT(google-explicit-constructor): a list of views is the point
            : view(child)
        {}
        QWidget *view;       ///< nullptr: room to grow into
        bool yields = false; ///< See yielding().
    };

    Stack(Qt::Orientation direction, int spacing, Qt::Alignment across,
          std::initializer_list<Child> children);

    /// Adds `children` after those it has.
    Stack *holding(std::initializer_list<Child> children);

    Stack *on(const Background &background);
    /// Where a column has too little room for its spacing and as much at both ends, all of these
    /// become less alike, though not less than `leastSpacing`.
    Stack *tightening(int leastSpacing);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    StackLayout *layout_;
    bool centersLines_;
    std::optional<Background> background_;
};

Stack *vstack(int spacing, std::initializer_list<Stack::Child> children,
              Qt::Alignment across = Qt::AlignHCenter);
Stack *hstack(int spacing, std::initializer_list<Stack::Child> children,
              Qt::Alignment across = Qt::AlignVCenter);
Stack::Child spacer();
/// A view that gives way before all others of its stack where there is too little room for what
/// they would like: it has its least size at once, because nothing between is of use.
Stack::Child yielding(QWidget *view);

/// A hair line that shares the width of a row with what stands in it.
QWidget *divider();

/// Removes `view` from what is shown, or brings it back.
void setShown(QWidget *view, bool shown);

/// How strongly a view is painted: fainter while the button it belongs to is pressed, and a button
/// itself where it cannot be.
qreal inkOpacity(const QWidget &view);
/// What a view that would be painted in `fill` is painted in: white could not be read on the pale
/// colour of a button that cannot be pressed.
Fill ink(const QWidget &view, Fill fill);

} // namespace kivolo
