// The colours that depend on the desktop.
#pragma once

#include <QColor>
#include <QPalette>

namespace kivolo {

/// The roles a view paints with, apart from the brand's own colours.
struct Palette
{
    bool dark;
    QColor primary;    ///< Text and symbols.
    QColor secondary;  ///< What matters less.
    QColor quaternary; ///< Hair lines.
    QColor window;     ///< Behind everything in a window.
    QColor bar;        ///< The composer's bar.
    QColor material;   ///< A floating card; lets a little of what is behind it through.
    QColor field;      ///< Behind text that can be edited.
    QColor button;
    QColor red; ///< What went wrong.

    /// What the program shows on a desktop that gives no colours of its own.
    static const Palette &standardLight();
    static const Palette &standardDark();

    /// The roles on a desktop with `palette`: its own colours where it gives some, the standard
    /// ones where it does not. Cheap for a palette that was asked for last. Main thread only.
    static Palette of(const QPalette &palette);

    /// `primary` at `opacity`, for pale fills.
    QColor tint(double opacity) const;

    /// These roles as the toolkit's own widgets take them. of() gives the same roles back.
    QPalette toQPalette() const;
};

} // namespace kivolo
