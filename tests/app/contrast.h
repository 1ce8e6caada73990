// How well one colour stands out from another.
#pragma once

#include <QColor>
#include <algorithm>
#include <cmath>

namespace kivolo {

/// The relative luminance of an opaque colour, from 0 to 1, as the Web Content Accessibility
/// Guidelines define it.
inline double luminance(const QColor &color)
{
    const auto linear = [](double c) {
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(double(color.redF())) + 0.7152 * linear(double(color.greenF())) +
           0.0722 * linear(double(color.blueF()));
}

/// The contrast of two opaque colours by the same guidelines: from 1, none, to 21.
inline double contrast(const QColor &one, const QColor &other)
{
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

} // namespace kivolo
