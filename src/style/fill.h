// What a shape, a symbol or a text is painted in.
#pragma once

#include "style/brand.h"
#include "style/palette.h"

#include <QBrush>

namespace kivolo {

/// One of the desktop's or the brand's colours, at an opacity of its own. A value that stays true
/// when the desktop turns light or dark: the colour is looked up at each painting.
class Fill
{
public:
    static Fill primary(double opacity = 1) { return {&Palette::primary, opacity}; }
    static Fill secondary(double opacity = 1) { return {&Palette::secondary, opacity}; }
    static Fill quaternary() { return &Palette::quaternary; }
    static Fill window() { return &Palette::window; }
    static Fill bar() { return &Palette::bar; }
    static Fill material() { return &Palette::material; }
    static Fill field() { return &Palette::field; }
    static Fill button() { return &Palette::button; }
    static Fill red() { return &Palette::red; }
    static Fill white(double opacity = 1) { return {Qt::white, opacity}; }
    static Fill black(double opacity = 1) { return {Qt::black, opacity}; }
    static Fill violet(double opacity = 1) { return {Brand::violet(), opacity}; }
    /// The brand's gradient.
    static Fill gradient();

    /// For painting `shape`, which only a gradient depends on.
    QBrush brush(const QRectF &shape, const Palette &colors) const;
    /// The same where there is but one colour; a gradient gives its first.
    QColor color(const Palette &colors) const;

    bool operator==(const Fill &) const = default;

private:
    using Role = QColor Palette::*;
    Fill(Role role, double opacity = 1)
        : role_(role)
        , opacity_(opacity)
    {}
    Fill(const QColor &color, double opacity)
        : color_(color)
        , opacity_(opacity)
    {}

    Role role_ = nullptr; // null for the same colour everywhere
    QColor color_;
    double opacity_;
    bool gradient_ = false;
};

} // namespace kivolo
