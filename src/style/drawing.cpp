#include "style/drawing.h"

#include <QDataStream>
#include <QFile>
#include <QPainter>

namespace kivolo {

Drawing::Drawing(const QString &name)
{
    QFile file(QStringLiteral(":/kivolo/") + name);
    const bool found = file.open(QIODevice::ReadOnly);
    Q_ASSERT_X(found, "Drawing", qPrintable(name));
    if (!found)
        return;
    QDataStream stream(&file);
    stream >> size_ >> picture_;
}

void Drawing::paint(QPainter &painter, const QRectF &box)
{
    const QSizeF target = size_.scaled(box.size(), Qt::KeepAspectRatio);
    painter.save();
    painter.translate(box.center() - QPointF(target.width(), target.height()) / 2);
    painter.scale(target.width() / size_.width(), target.height() / size_.height());
    picture_.play(&painter);
    painter.restore();
}

} // namespace kivolo
