// What a shape, a symbol or a text is painted in.
#pragma once

#include <QBrush>

namespace kivolo {

struct Palette;

/// One of the desktop's or the brand's colours, at an opacity of its own. A value that stays true
/// when the desktop turns light or dark: the colour is looked up at each painting.
class Fill
{
public:
    static Fill primary(double opacity = 1) { return {Primary, opacity}; }
    static Fill secondary(double opacity = 1) { return {Secondary, opacity}; }
    static Fill quaternary() { return {Quaternary, 1}; }
    static Fill window() { return {Window, 1}; }
    static Fill bar() { return {Bar, 1}; }
    /// What floats within a window. Opaque: what is behind it could not be blurred.
    static Fill material() { return {Material, 1}; }
    static Fill field() { return {Field, 1}; }
    static Fill button() { return {Button, 1}; }
    static Fill red() { return {Red, 1}; }
    static Fill white(double opacity = 1) { return {White, opacity}; }
    static Fill black(double opacity = 1) { return {Black, opacity}; }
    static Fill violet(double opacity = 1) { return {Violet, opacity}; }
    /// The brand's gradient.
    static Fill gradient() { return {Gradient, 1}; }

    /// For painting `shape`, which only a gradient depends on.
    QBrush brush(const QRectF &shape, const Palette &colors) const;
    /// The same where there is but one colour; a gradient gives its first.
    QColor color(const Palette &colors) const;

    bool operator==(const Fill &) const = default;

private:
    enum Source {
        Primary,
        Secondary,
        Quaternary,
        Window,
        Bar,
        Material,
        Field,
        Button,
        Red,
        White,
        Black,
        Violet,
        Gradient
    };
    Fill(Source source, double opacity)
        : source_(source)
        , opacity_(opacity)
    {}

    Source source_;
    double opacity_;
};

} // namespace kivolo
