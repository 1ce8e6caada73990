#include "app/icons.h"

#include "style/drawing.h"

#include <QIconEngine>
#include <QPainter>
#include <QPixmap>

namespace kivolo {

namespace {

/// Makes a picture whenever one is asked for and keeps none: what shows an icon is another process,
/// which is sent a picture of every size that it may need.
class DrawnIcon final : public QIconEngine
{
public:
    DrawnIcon(QString name, QList<int> sides)
        : name_(std::move(name))
        , sides_(std::move(sides))
    {}

    QIconEngine *clone() const override { return new DrawnIcon(*this); }

    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        QList<QSize> sizes;
        for (const int side : sides_)
            sizes.append({side, side});
        return sizes;
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, picture.rect(), mode, state);
        return picture;
    }

    void paint(QPainter *painter, const QRect &box, QIcon::Mode, QIcon::State) override
    {
        Drawing(name_).paint(*painter, box);
    }

private:
    QString name_;
    QList<int> sides_;
};

} // namespace

QIcon applicationIcon()
{
    return QIcon(new DrawnIcon(QStringLiteral("icons/kivolo"), {16, 24, 32, 48, 64, 128}));
}

QIcon trayHeart()
{
    return QIcon(new DrawnIcon(QStringLiteral("icons/tray"), {16, 22, 24, 32, 44, 48, 64}));
}

} // namespace kivolo
