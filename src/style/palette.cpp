#include "style/palette.h"

namespace kivolo {

static QColor withOpacity(QColor color, double opacity)
{
    color.setAlphaF(float(opacity));
    return color;
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
        .material = QColor(0xFB, 0xFA, 0xFE),
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
        .material = QColor(0x2A, 0x27, 0x34),
        .field = QColor(0x17, 0x15, 0x1D),
        .button = QColor(0x3A, 0x37, 0x45),
        .red = QColor(0xFF, 0x6B, 0x7A),
    };
    return palette;
}

QColor Palette::tint(double opacity) const
{
    return withOpacity(primary, opacity);
}

} // namespace kivolo
