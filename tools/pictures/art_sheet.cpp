// Shows all drawings as the program does, in every size it uses, on light and dark, and saves a
// picture of it.
//
//   art_sheet [--scale NUMBER] [--symbols] PICTURE.png
//
// Without --symbols: the illustrations, the application's icon, the heart of the tray.
#include "style/brand.h"
#include "style/drawing.h"
#include "style/palette.h"
#include "style/symbols.h"
#include "style/text_style.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

using namespace kivolo;

namespace {

constexpr QSizeF half(620, 800);

void paintIllustrations(QPainter &painter)
{
    const auto illustration = [&](const char *name, const QRectF &box) {
        paintIllustration(painter, QString::fromLatin1(name), box);
    };
    illustration("onb1", {20, 20, 280, 150});
    illustration("onb2", {320, 20, 280, 150});
    illustration("onb3", {20, 190, 280, 150});
    illustration("onb4", {320, 190, 280, 150});
    illustration("invite", {20, 360, 260, 130});
    illustration("empty", {290, 370, 220, 110});
    illustration("capsule", {540, 403, 44, 44});
}

void paintIcons(QPainter &painter)
{
    Drawing icon(QStringLiteral("icons/kivolo"));
    qreal x = 4;
    for (const int side : {16, 22, 24, 32, 48, 64, 128, 256}) {
        icon.paint(painter, QRectF(x, 515, side, side));
        x += side + 2;
    }
    Drawing heart(QStringLiteral("icons/tray"));
    x = 20;
    for (const int side : {16, 22, 24, 32, 44}) {
        heart.paint(painter, QRectF(x, 720, side, side));
        x += side + 10;
    }
}

/// One symbol in every font size, then in the places where it is seen most: in the brand's
/// gradient, in a chip beside its text, and on the button that sends.
void paintSymbolRow(QPainter &painter, SymbolName symbol, qreal middle, const Palette &colors)
{
    qreal x = 14;
    const auto paint = [&](qreal fontSize, const QBrush &brush) {
        const qreal side = symbolSide(fontSize);
        paintSymbol(painter, symbol, {x, middle - qRound(side / 2), side, side}, brush);
        x += side + 10;
    };
    for (const int size : {9, 10, 12, 13, 15, 16, 34})
        paint(size, colors.primary);
    paint(52, Brand::gradient({x, middle - 30, 60, 60}));

    painter.setPen(Brand::violet());
    painter.setFont(systemFont(10, QFont::Bold));
    paint(10, Brand::violet());
    painter.drawText(QRectF(x - 4, middle - 10, 50, 20), Qt::AlignVCenter, QStringLiteral("Buzz"));
    x += 40;

    const QRectF button(x, middle - 20, 40, 40);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Brand::gradient(button));
    painter.drawEllipse(button);
    paintSymbol(painter, symbol, {x + 12, middle - 8, 17, 17}, Qt::white);

    painter.setPen(colors.secondary);
    painter.drawText(QRectF(x + 50, middle - 10, 180, 20), Qt::AlignVCenter, fileName(symbol));
}

void paintSheet(QPainter &painter, const Palette &colors, bool symbols)
{
    painter.fillRect(QRectF({}, half), colors.window);
    if (!symbols) {
        paintIllustrations(painter);
        paintIcons(painter);
        return;
    }
    for (int i = 0; i <= int(SymbolName::XmarkCircleFill); ++i)
        paintSymbolRow(painter, SymbolName(i), 28 + 56 * qreal(i), colors);
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    const qsizetype scaleAt = arguments.indexOf(QLatin1String("--scale"));
    const qreal scale = scaleAt < 0 ? 1 : arguments.value(scaleAt + 1).toDouble();
    const bool symbols = arguments.contains(QLatin1String("--symbols"));

    QImage sheet((QSizeF(2 * half.width(), half.height()) * scale).toSize(), QImage::Format_RGB32);
    sheet.setDevicePixelRatio(scale);
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::Antialiasing);
    paintSheet(painter, Palette::standardLight(), symbols);
    painter.translate(half.width(), 0);
    paintSheet(painter, Palette::standardDark(), symbols);
    painter.end();
    return sheet.save(arguments.last()) ? 0 : 1;
}
