#include "style/avatar.h"
#include "style/background.h"
#include "style/brand.h"
#include "style/foreign_text.h"
#include "style/shapes.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QImage>
#include <QMap>
#include <QPainter>
#include <QPalette>
#include <QRawFont>
#include <QTextLayout>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

QImage canvas(const QSize &size, qreal scale = 1)
{
    QImage image(size * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    return image;
}

int distance(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) +
           std::abs(a.blue() - b.blue());
}

TEST(BrandTest, GradientRunsAtRightAnglesToTheDiagonalOfAWideShape)
{
    const QRectF shape(0, 0, 400, 40);
    QImage image = canvas({400, 40});
    QPainter(&image).fillRect(shape, Brand::gradient(shape));
    EXPECT_LE(distance(image.pixelColor(0, 0), QColor(125, 92, 252)), 3);
    EXPECT_LE(distance(image.pixelColor(399, 39), QColor(255, 107, 138)), 3);
    // In a gradient stretched to the shape the line of equal colour would be the other diagonal.
    const QColor middle = image.pixelColor(200, 20);
    EXPECT_LE(distance(image.pixelColor(202, 0), middle), 3);
    EXPECT_LE(distance(image.pixelColor(198, 39), middle), 3);
}

TEST(BackgroundTest, HasSharpStraightEdgesAtEveryScale)
{
    const Palette colors = Palette::standardLight();
    const Background kinds[] = {
        Background::rectangle(Fill::black()),
        Background::hairLine(),
        Background::bar(),
        Background::rounded(8, Fill::black()).outlined(Fill::red()),
    };
    for (const double scale : {1.0, 1.25, 1.5, 1.75, 2.0}) {
        for (const int top : {57, 58, 59}) {
            QImage image = canvas({40, 100}, scale);
            for (size_t i = 0; i < std::size(kinds); ++i) {
                image.fill(Qt::white);
                QPainter painter(&image);
                painter.translate(0, top);
                kinds[i].paint(painter, {0, 0, 40, 31}, colors);
                painter.end();
                QMap<QRgb, int> shades; // down the middle
                for (int y = 0; y < image.height(); ++y)
                    ++shades[image.pixel(image.width() / 2, y)];
                EXPECT_TRUE(i != 1 || shades.first() == int(scale)) << "a line of one thickness";
                EXPECT_EQ(shades.size(), i < 2 ? 2 : 3) << i << " " << scale << " " << top;
            }
        }
    }
}

TEST(AvatarTest, Initial)
{
    const std::pair<const char16_t *, const char16_t *> cases[] = {
        {u" \t mia", u"M"},
        {u" \t ", u"·"},
        {u"\nmia", u"\n"},         // a line break is not trimmed
        {u"ßeta", u"SS"},          // full case mapping
        {u"e\u0301a", u"E\u0301"}, // one character of two code points
        {u"👩🏽‍🚀 Ada", u"👩🏽‍🚀"},
    };
    for (const auto &[name, initial] : cases) {
        EXPECT_EQ(Avatar::initial(QString::fromUtf16(name)), QString::fromUtf16(initial))
            << qPrintable(QString::fromUtf16(name));
    }
    EXPECT_LE(Avatar::initial(u'a' + QString(100'000, QChar(0x0301))).size(), 64);
}

TEST(ThemeTest, TakesTheDesktopsColoursWhereItHasSome)
{
    Theme theme;
    EXPECT_EQ(theme.colors().window, Palette::standardLight().window);
    QPalette night(QColor(60, 20, 20), QColor(40, 0, 0));
    night.setColor(QPalette::WindowText, QColor(255, 200, 200));
    QApplication::setPalette(night);
    EXPECT_TRUE(theme.colors().dark);
    EXPECT_EQ(theme.colors().window, QColor(40, 0, 0));
    EXPECT_EQ(theme.colors().primary, QColor(255, 200, 200));
    EXPECT_GT(theme.colors().material.red(), 40);

    theme.follow(true);
    EXPECT_EQ(theme.colors().window, Palette::standardDark().window);
    EXPECT_EQ(theme.colors().primary, Palette::standardDark().primary);
    EXPECT_EQ(QApplication::palette().color(QPalette::Base), Palette::standardDark().field);
    theme.follow({});
    EXPECT_EQ(theme.colors().window, Palette::standardLight().window);
    QApplication::setPalette(QPalette());
}

TEST(ShapesTest, ContinuousCornersKeepToTheirRoom)
{
    const QRectF rect(0, 0, 300, 150);
    for (const qreal radius : {8.0, 16.0, 17.0, 22.0, 75.0, 200.0}) {
        const QPainterPath path = continuousRoundedRect(rect, radius);
        EXPECT_EQ(path.boundingRect(), rect) << radius;
        // Where the circular corner it replaces crosses the corner's diagonal.
        const qreal r = qMin(radius, 75.0);
        const qreal onCircle = r * (1 - 1 / std::sqrt(2.0));
        EXPECT_TRUE(path.contains(QPointF(onCircle + 0.2, onCircle + 0.2))) << radius;
        EXPECT_FALSE(path.contains(QPointF(onCircle - 0.2, onCircle - 0.2))) << radius;
    }
    EXPECT_TRUE(continuousRoundedRect(rect, 0).contains(QPointF(0.01, 0.01)));
}

TEST(SymbolsTest, WhiteIsAHoleAndEdgesLieOnPixels)
{
    for (const qreal scale : {1.0, 1.25, 1.5, 2.0}) {
        QImage image = canvas({40, 40}, scale);
        {
            QPainter painter(&image);
            paintSymbol(painter, SymbolName::XmarkCircleFill, {8, 8, 24, 24}, Qt::red);
        }
        const auto at = [&](qreal x, qreal y) {
            return image.pixelColor(int(x * scale), int(y * scale));
        };
        EXPECT_LE(at(20, 20).alpha(), 10) << scale; // where the strokes of the cross meet
        EXPECT_EQ(at(20, 13), QColor(Qt::red)) << scale;
        EXPECT_EQ(at(9, 9).alpha(), 0) << scale;
    }
}

/// The families whose glyphs show `text`.
QStringList familiesIn(const QString &text, const QFont &font)
{
    QTextLayout layout(text, font);
    layout.beginLayout();
    layout.createLine();
    layout.endLayout();
    QStringList families;
    for (const QGlyphRun &run : layout.glyphRuns())
        families.append(run.rawFont().familyName());
    families.removeDuplicates();
    return families;
}

TEST(TextStyleTest, OnlyEmojiComeFromTheEmojiFont)
{
    const QFont desktop = QApplication::font();
    const QStringList emoji{QStringLiteral("Noto Color Emoji")};
    for (const QString &named : {desktop.family(), QStringLiteral("Inter"), QStringLiteral("Sans"),
                                 QStringLiteral("Not Installed"), QStringLiteral("Monospace")}) {
        QApplication::setFont(QFont(named));
        for (const TextStyle style :
             {TextStyle::LargeTitle, TextStyle::Body, TextStyle::Caption2}) {
            for (const QFont &font :
                 {textFont(style), bold(textFont(style)), monospaced(textFont(style))}) {
                SCOPED_TRACE(qPrintable(named + u' ' + font.toString()));
                const QStringList families = familiesIn(QStringLiteral("a0123456789 #*"), font);
                EXPECT_EQ(families.size(), 1);
                EXPECT_NE(families, emoji);
                EXPECT_EQ(familiesIn(QStringLiteral("🦊"), font), emoji);
            }
        }
    }
    QApplication::setFont(desktop);

    const QFontMetricsF code(monospaced(textFont(TextStyle::LargeTitle)));
    EXPECT_EQ(code.horizontalAdvance(QStringLiteral("i1l")),
              code.horizontalAdvance(QStringLiteral("WM0")));
}

TEST(TextStyleTest, CutsBetweenCharacters)
{
    const QString family = QStringLiteral("ab👨‍👩‍👧"); // 2 + 8 code units
    for (const auto &[limit, length] : {std::pair(20, 10), {10, 10}, {9, 2}, {2, 2}, {1, 1}})
        EXPECT_EQ(cutAtCharacter(family, limit).size(), length) << limit;
    EXPECT_EQ(cutAtCharacter(u'a' + QString(1'000'000, QChar(0x0301)), 100).size(), 100);
    EXPECT_EQ(singleLine(QStringLiteral("a\nb\u2028c")), QStringLiteral("a b c"));
}

} // namespace
} // namespace kivolo
