#include "app/icons.h"

#include "style/palette.h"
#include "style/symbols.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <functional>

// Outside of namespaces, as the macro needs it.
static void initAssets()
{
    Q_INIT_RESOURCE(kivolo_assets);
}

namespace kivolo {

// As pictures and not as something that paints: what shows an icon is another process, which is
// sent every size that it may need.
static QIcon drawn(std::initializer_list<int> sides,
                   const std::function<void(QPainter &, const QRectF &)> &draw)
{
    QIcon icon;
    for (const int side : sides) {
        QPixmap picture(side, side);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        draw(painter, QRectF(0, 0, side, side));
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

QIcon applicationIcon()
{
    initAssets();
    QSvgRenderer drawing(QStringLiteral(":/kivolo/icons/kivolo.svg"));
    return drawn({16, 24, 32, 48, 64, 128}, [&](QPainter &painter, const QRectF &square) {
        drawing.render(&painter, square);
    });
}

static QIcon heart(const QColor &color)
{
    return drawn({16, 22, 24, 32, 44, 48, 64}, [&](QPainter &painter, const QRectF &square) {
        paintSymbol(painter, QStringLiteral("heart.fill"), square, color);
    });
}

MenuBarExtra::Icons trayHeart()
{
    return {heart(Palette::standardLight().primary), heart(Palette::standardDark().primary)};
}

} // namespace kivolo
