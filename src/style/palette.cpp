#include "style/palette.h"

#include "style/brand.h"

#include <QApplication>
#include <QStyle>

namespace kivolo {

static QColor withOpacity(QColor color, double opacity)
{
    color.setAlphaF(float(opacity));
    return color;
}

static QColor mixed(const QColor &from, const QColor &to, double share)
{
    const auto mix = [share](float a, float b) { return float(a + (b - a) * share); };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()));
}

const Palette &Palette::standardLight()
{
    static const Palette palette{
        .dark = false,
        .primary = withOpacity(QColor(0x18, 0x14, 0x26), 0.92),
        .secondary = withOpacity(QColor(0x18, 0x14, 0x26), 0.56),
        .quaternary = withOpacity(QColor(0x18, 0x14, 0x26), 0.13),
        .window = QColor(0xF5, 0xF4, 0xF9),
        .bar = QColor(0xFB, 0xFA, 0xFD),
        .material = withOpacity(QColor(0xFB, 0xFA, 0xFE), 0.95),
        .field = Qt::white,
        .button = Qt::white,
        .red = QColor(0xD0, 0x2C, 0x43),
    };
    return palette;
}

const Palette &Palette::standardDark()
{
    static const Palette palette{
        .dark = true,
        .primary = withOpacity(Qt::white, 0.92),
        .secondary = withOpacity(QColor(0xEB, 0xE8, 0xF8), 0.58),
        .quaternary = withOpacity(Qt::white, 0.15),
        .window = QColor(0x1F, 0x1D, 0x27),
        .bar = QColor(0x28, 0x25, 0x2F),
        .material = withOpacity(QColor(0x2A, 0x27, 0x34), 0.95),
        .field = QColor(0x17, 0x15, 0x1D),
        .button = QColor(0x3A, 0x37, 0x45),
        .red = QColor(0xFF, 0x6B, 0x7A),
    };
    return palette;
}

static bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() <
           palette.color(QPalette::WindowText).lightnessF();
}

/// A toolkit palette has no bar and no material. Both stand out from the window the way they do in
/// the standard palettes: towards the field in the light, towards the button in the dark.
static Palette derived(const QPalette &palette)
{
    const QColor window = palette.color(QPalette::Window);
    const QColor text = palette.color(QPalette::WindowText);
    const bool dark = isDark(palette);
    const QColor raised = palette.color(dark ? QPalette::Button : QPalette::Base);
    return {
        .dark = dark,
        .primary = text,
        .secondary = withOpacity(text, dark ? 0.58 : 0.56),
        .quaternary = withOpacity(text, dark ? 0.15 : 0.13),
        .window = window,
        .bar = mixed(window, raised, dark ? 0.33 : 0.6),
        .material = withOpacity(mixed(window, raised, dark ? 0.4 : 0.6), 0.95),
        .field = palette.color(QPalette::Base),
        .button = palette.color(QPalette::Button),
        .red = (dark ? Palette::standardDark() : Palette::standardLight()).red,
    };
}

static bool sameColors(const QPalette &a, const QPalette &b)
{
    for (const auto role :
         {QPalette::Window, QPalette::WindowText, QPalette::Base, QPalette::Button}) {
        if (a.color(role).rgb() != b.color(role).rgb())
            return false;
    }
    return true;
}

/// As the toolkit fades what is disabled, texts could not be read.
static QPalette active(QPalette palette)
{
    palette.setCurrentColorGroup(QPalette::Active);
    return palette;
}

static Palette resolved(const QPalette &palette)
{
    // The style's own palette means that nobody chose one.
    if (sameColors(palette, QApplication::style()->standardPalette()))
        return isDark(palette) ? Palette::standardDark() : Palette::standardLight();
    for (const Palette *standard : {&Palette::standardLight(), &Palette::standardDark()}) {
        if (sameColors(palette, standard->toQPalette()))
            return *standard;
    }
    return derived(palette);
}

Palette Palette::of(const QPalette &palette)
{
    static qint64 key = 0;
    static Palette last = standardLight();
    if (key != palette.cacheKey()) {
        last = resolved(active(palette));
        key = palette.cacheKey();
    }
    return last;
}

QColor Palette::tint(double opacity) const
{
    return withOpacity(primary, opacity);
}

QPalette Palette::toQPalette() const
{
    // The toolkit blends text on its own terms, so it gets the colour that shows, not the opacity.
    const QColor text = mixed(window, withOpacity(primary, 1), double(primary.alphaF()));
    const QColor faint = mixed(window, withOpacity(secondary, 1), double(secondary.alphaF()));
    QPalette palette(button, window);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, text);
    palette.setColor(QPalette::Base, field);
    palette.setColor(QPalette::AlternateBase, bar);
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::ToolTipBase, bar);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, Brand::violet());
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, Brand::violet());
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    return palette;
}

} // namespace kivolo
