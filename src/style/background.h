// What lies under a view: a shape, filled, with or without an outline.
#pragma once

#include "style/fill.h"

#include <QPainterPath>
#include <optional>

class QPainter;

namespace kivolo {

/// Buttons and fields are of one height and one shape where they stand in a column.
inline constexpr int controlHeight = 32;
inline constexpr qreal controlRadius = 8;

/// A value that paints itself. Corners have continuous curvature.
class Background
{
public:
    static Background rectangle(Fill fill) { return {Rectangle, 0, fill}; }
    static Background rounded(qreal radius, Fill fill) { return {Rounded, radius, fill}; }
    /// A bar at the bottom of a window: set off from what is above it by a hair line.
    static Background bar() { return {Bar, 0, Fill::bar()}; }
    /// A hair line along the upper edge, and nothing else.
    static Background hairLine() { return {HairLine, 0, Fill::quaternary()}; }
    /// With ends as round as the view is high; on a square view, a circle.
    static Background capsule(Fill fill) { return {Capsule, 0, fill}; }

    /// The same with a line of `width` along its inner edge.
    Background outlined(Fill line, qreal width = 1) const;

    QPainterPath shape(const QRectF &rect) const;
    /// Of the corners it has on a view of `size`.
    qreal cornerRadius(const QSizeF &size) const;
    /// Its straight edges are sharp at every resolution.
    void paint(QPainter &painter, const QRectF &rect, const Palette &colors) const;

    bool operator==(const Background &) const = default;

private:
    enum Form { Rectangle, Rounded, Capsule, Bar, HairLine };
    struct Outline
    {
        Fill fill;
        qreal width;
        bool operator==(const Outline &) const = default;
    };
    Background(Form form, qreal radius, Fill fill)
        : form_(form)
        , radius_(radius)
        , fill_(fill)
    {}

    Form form_;
    qreal radius_;
    Fill fill_;
    std::optional<Outline> outline_;
};

} // namespace kivolo
