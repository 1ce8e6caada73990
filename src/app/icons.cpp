#include "app/icons.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

// Outside of namespaces, as the macro needs it.
static void initAssets()
{
    Q_INIT_RESOURCE(kivolo_assets);
}

namespace kivolo {

// As pictures and not as something that paints: what shows an icon is another process, which is
// sent every size that it may need.
static QIcon drawn(const QString &path, std::initializer_list<int> sides)
{
    initAssets();
    QSvgRenderer drawing(path);
    QIcon icon;
    for (const int side : sides) {
        QPixmap picture(side, side);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        drawing.render(&painter, QRectF(0, 0, side, side));
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

QIcon applicationIcon()
{
    return drawn(QStringLiteral(":/kivolo/icons/kivolo.svg"), {16, 24, 32, 48, 64, 128});
}

QIcon trayHeart()
{
    return drawn(QStringLiteral(":/kivolo/icons/tray.svg"), {16, 22, 24, 32, 44, 48, 64});
}

} // namespace kivolo
