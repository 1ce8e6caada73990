// Rectangles on the desktop, as the program counts them.
#pragma once

namespace kivolo {

/// A place on the desktop in points, from the main screen's bottom-left corner, y growing upwards.
struct Point
{
    double x = 0;
    double y = 0;

    bool operator==(const Point &) const = default;
};

/// A rectangle in the same coordinates; `x` and `y` are its bottom-left corner.
struct Rect
{
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    Point origin() const { return {x, y}; }
    double minX() const { return x; }
    double midX() const { return x + width / 2; }
    double maxX() const { return x + width; }
    double minY() const { return y; }
    double midY() const { return y + height / 2; }
    double maxY() const { return y + height; }

    bool operator==(const Rect &) const = default;
};

} // namespace kivolo
