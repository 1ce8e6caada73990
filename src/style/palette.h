// The colours that depend on the desktop.
#pragma once

#include <QColor>

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
    QColor material;   ///< What floats.
    QColor field;      ///< Behind text that can be edited.
    QColor button;
    QColor red; ///< What went wrong.

    /// What the program shows on a desktop that gives no colours of its own.
    static const Palette &standardLight();
    static const Palette &standardDark();

    /// `primary` at `opacity`, for pale fills.
    QColor tint(double opacity) const;
};

} // namespace kivolo
