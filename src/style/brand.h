// The two colours of the program and the gradient from the one to the other.
#pragma once

#include <QBrush>
#include <QColor>

namespace kivolo {

/// Every surface is painted in these. A paler tint is one of them at the painter's own opacity.
/// The functions are pure and may be called on any thread.
struct Brand
{
    static QColor violet(double opacity = 1.0);
    static QColor coral(double opacity = 1.0);

    /// From violet in the top-left corner of `shape` to coral in its bottom-right corner. The line
    /// runs through the two corners as they lie, so the bands stand at right angles to the diagonal
    /// whatever the aspect ratio.
    static QBrush gradient(const QRectF &shape);

    Brand() = delete;
};

} // namespace kivolo
