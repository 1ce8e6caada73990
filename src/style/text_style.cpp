#include "style/text_style.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>
#include <algorithm>
#include <fontconfig/fontconfig.h>
#include <initializer_list>
#include <memory>
#include <optional>

namespace kivolo {

static qreal pixelSize(TextStyle style)
{
    switch (style) {
    case TextStyle::LargeTitle:
        return 26;
    case TextStyle::Title:
        return 22;
    case TextStyle::Title2:
        return 17;
    case TextStyle::Title3:
        return 15;
    case TextStyle::Headline:
    case TextStyle::Body:
        return 13;
    case TextStyle::Callout:
        return 12;
    case TextStyle::Subheadline:
        return 11;
    case TextStyle::Caption:
    case TextStyle::Caption2:
        return 10;
    }
    Q_UNREACHABLE();
}

static QFont::Weight weight(TextStyle style)
{
    if (style == TextStyle::Headline)
        return QFont::DemiBold;
    return style == TextStyle::Caption2 ? QFont::Medium : QFont::Normal;
}

static QString firstInstalled(std::initializer_list<const char *> families)
{
    for (const char *family : families) {
        if (QFontDatabase::hasFamily(QLatin1String(family)))
            return QLatin1String(family);
    }
    return {};
}

/// The family that text set in `font` comes out in: what the desktop names need not be installed.
static QString installedFamily(const QFont &font)
{
    return QFontDatabase::hasFamily(font.family()) ? font.family() : QFontInfo(font).family();
}

/// The family that the font system takes where `family` is asked for. QFontInfo would tell, too,
/// but loads the font for it: a few hundred kilobytes for one that no text may ever be set in.
static QString substituteFor(const QString &family)
{
    struct Destroy
    {
        void operator()(FcPattern *pattern) const { FcPatternDestroy(pattern); }
    };
    using Pattern = std::unique_ptr<FcPattern, Destroy>;
    const Pattern wanted(FcPatternCreate());
    const QByteArray name = family.toUtf8();
    FcPatternAddString(wanted.get(), FC_FAMILY, reinterpret_cast<const FcChar8 *>(name.data()));
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    const Pattern match(FcFontMatch(nullptr, wanted.get(), &result));
    FcChar8 *found = nullptr;
    if (!match || FcPatternGetString(match.get(), FC_FAMILY, 0, &found) != FcResultMatch)
        return family;
    return QString::fromUtf8(reinterpret_cast<const char *>(found));
}

/// Whether that is what Qt says where the desktop names no font.
static bool isUnchosen(const QString &family)
{
    static const QStringList unchosen{QStringLiteral("Sans Serif"), QStringLiteral("Sans"),
                                      QStringLiteral("sans-serif")};
    return unchosen.contains(family, Qt::CaseInsensitive);
}

/// On a desktop that names no font, or none that is there, "sans serif" is whatever the font system
/// falls back to. A font made for interfaces serves better, if one is installed.
static QString preferredFamily(const QFont &desktop)
{
    static const QStringList fallbacks{QStringLiteral("DejaVu Sans"),
                                       QStringLiteral("Bitstream Vera Sans")};
    if (QFontDatabase::hasFamily(desktop.family()) && !isUnchosen(desktop.family()))
        return desktop.family();
    QString substitute = substituteFor(desktop.family());
    if (!fallbacks.contains(substitute))
        return substitute;
    const QString family = firstInstalled({"Inter", "Inter Variable", "Cantarell", "Noto Sans"});
    return family.isEmpty() ? substitute : family;
}

/// `family`, and for what it lacks a font of colour emoji before others that have some of them in
/// black and white. It has to be installed: else the emoji font would come first, and that has
/// digits and spaces, too.
static QStringList withEmoji(const QString &family)
{
    static const QString emoji =
        firstInstalled({"Noto Color Emoji", "Twemoji", "Twitter Color Emoji", "JoyPixels",
                        "OpenMoji Color", "Emoji One"});
    return emoji.isEmpty() ? QStringList(family) : QStringList{family, emoji};
}

static QFont desktopFont()
{
    static std::optional<QFont> desktop;
    static QFont resolved;
    const QFont now = QApplication::font();
    if (desktop != now) {
        desktop = now;
        resolved = now;
        resolved.setFamilies(withEmoji(preferredFamily(now)));
    }
    return resolved;
}

QFont systemFont(qreal size, QFont::Weight weight)
{
    QFont font = desktopFont();
    // Whole pixels: QFont takes no others, and glyphs are sharpest there.
    font.setPixelSize(qMax(1, qRound(size)));
    font.setWeight(weight);
    return font;
}

QFont textFont(TextStyle style)
{
    return systemFont(pixelSize(style), weight(style));
}

void beginWithTextFont()
{
    QFont font = QApplication::font();
    if (!isUnchosen(font.family()))
        return;
    font.setFamily(preferredFamily(font));
    QApplication::setFont(font);
}

QFont bold(QFont font)
{
    font.setWeight(QFont::Bold);
    return font;
}

QFont monospaced(const QFont &font)
{
    static const QString family = [] {
        QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        fixed.setStyleHint(QFont::Monospace); // what takes its place is of one width, too
        return installedFamily(fixed);
    }();
    QFont result = font;
    result.setFamilies(withEmoji(family));
    result.setStyleHint(QFont::Monospace);
    return result;
}

QFont emojiFont(QFont font)
{
    constexpr double factor = 1.25; // what the bitmaps of the usual emoji font call for
    font.setPixelSize(qRound(font.pixelSize() * factor));
    return font;
}

} // namespace kivolo
