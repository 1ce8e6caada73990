#include "app/icons.h"

#include "style/drawing.h"

#include <QPainter>
#include <QPixmap>

namespace kivolo {

// As pictures and not as something that paints: what shows an icon is another process, which is
// sent every size that it may need.
static QIcon drawn(const QString &name, std::initializer_list<int> sides)
{
    Drawing drawing(name);
    QIcon icon;
    for (const int side : sides) {
        QPixmap picture(side, side);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        drawing.paint(painter, QRectF(0, 0, side, side));
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

QIcon applicationIcon()
{
    return drawn(QStringLiteral("icons/kivolo"), {16, 24, 32, 48, 64, 128});
}

QIcon trayHeart()
{
    return drawn(QStringLiteral("icons/tray"), {16, 22, 24, 32, 44, 48, 64});
}

} // namespace kivolo
