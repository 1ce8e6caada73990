#include "style/theme.h"

#include "style/brand.h"

#include <QApplication>
#include <QPalette>
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

static bool isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() <
           palette.color(QPalette::WindowText).lightnessF();
}

/// Qt's palette has no bar and no material. Both stand out from the window the way they do in
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
        .material = mixed(window, raised, dark ? 0.4 : 0.6),
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

/// What Qt shows: the desktop's own colours where it has been given some.
static Palette ofQt()
{
    QPalette palette = QApplication::palette();
    // As Qt fades what is disabled, texts could not be read.
    palette.setCurrentColorGroup(QPalette::Active);
    // The style's own palette means that nobody chose one.
    if (sameColors(palette, QApplication::style()->standardPalette()))
        return isDark(palette) ? Palette::standardDark() : Palette::standardLight();
    return derived(palette);
}

/// The same roles as Qt's own widgets take them.
static QPalette toQPalette(const Palette &colors)
{
    // Qt blends text on its own terms, so it gets the colour that shows, not the opacity.
    const QColor text =
        mixed(colors.window, withOpacity(colors.primary, 1), double(colors.primary.alphaF()));
    const QColor faint =
        mixed(colors.window, withOpacity(colors.secondary, 1), double(colors.secondary.alphaF()));
    QPalette palette(colors.button, colors.window);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, text);
    palette.setColor(QPalette::Base, colors.field);
    palette.setColor(QPalette::AlternateBase, colors.bar);
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::ToolTipBase, colors.bar);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Highlight, Brand::violet());
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, Brand::violet());
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    return palette;
}

Theme &Theme::shared()
{
    static Theme theme;
    return theme;
}

Theme::Theme()
    : colors_(ofQt())
{
    qApp->installEventFilter(this);
}

void Theme::follow(std::optional<bool> prefersDark)
{
    followsQt_ = true;
    QApplication::setPalette(QPalette()); // what Qt would show
    colors_ = ofQt();
    const bool dark = prefersDark.value_or(colors_.dark);
    const Palette &standard = dark ? Palette::standardDark() : Palette::standardLight();
    // Where Qt has no theme for the desktop, it never learns of the dark.
    const bool desktopsOwn = dark == colors_.dark && colors_.window != standard.window;
    if (!desktopsOwn)
        show(standard);
}

void Theme::show(const Palette &colors)
{
    followsQt_ = false;
    colors_ = colors;
    QApplication::setPalette(toQPalette(colors));
}

bool Theme::eventFilter(QObject *watched, QEvent *event)
{
    if (followsQt_ && watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        colors_ = ofQt();
    return false;
}

} // namespace kivolo
