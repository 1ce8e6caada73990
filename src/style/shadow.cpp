#include "style/shadow.h"

#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QPixmapCache>
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace kivolo {

namespace {

// From here on inwards along an edge the corner no longer shows.
constexpr double reach = 28;

// One pass of a box filter along a line of `count` values that lie `stride` apart.
void boxBlurLine(float *line, int count, int stride, int radius, std::vector<float> &scratch)
{
    scratch.resize(std::size_t(count));
    float sum = 0;
    const auto at = [&](int i) { return i < 0 || i >= count ? 0.0F : line[i * stride]; };
    for (int i = -radius; i < radius; ++i)
        sum += at(i);
    for (int i = 0; i < count; ++i) {
        sum += at(i + radius);
        scratch[std::size_t(i)] = sum / float(2 * radius + 1);
        sum -= at(i - radius);
    }
    for (int i = 0; i < count; ++i)
        line[i * stride] = scratch[std::size_t(i)];
}

// Three box filters after each other are a Gaussian to within a few per cent.
void blur(std::vector<float> &values, int width, int height, double deviation)
{
    const int radius = int(std::lround((std::sqrt(4 * deviation * deviation + 1) - 1) / 2));
    std::vector<float> scratch;
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < height; ++y)
            boxBlurLine(values.data() + y * width, width, 1, radius, scratch);
        for (int x = 0; x < width; ++x)
            boxBlurLine(values.data() + x, height, width, radius, scratch);
    }
}

// The blurred shape of a card as `mask`, in black.
QImage shadowOf(const QImage &mask, double deviation, double opacity)
{
    const int width = mask.width();
    const int height = mask.height();
    const auto at = [width](int x, int y) {
        return std::size_t(y) * std::size_t(width) + std::size_t(x);
    };
    std::vector<float> values(at(0, height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            values[at(x, y)] = mask.constScanLine(y)[x];
    }
    blur(values, width, height, deviation);
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = qRgba(0, 0, 0, int(std::lround(values[at(x, y)] * opacity)));
    }
    return image;
}

// The side of the smallest card whose four corners do not disturb each other, less its middle.
double cornerSize(double cornerRadius)
{
    return cornerRadius + reach;
}

// The shadow around such a card; everything larger is this picture with its edges drawn out.
QPixmap makeTile(double cornerRadius, double scale, const Shadow &shadow)
{
    const double side = 2 * cornerSize(cornerRadius) + 1;
    const QRectF card(shadowMargins.left(), shadowMargins.top(), side, side);
    const QSizeF points(card.width() + shadowMargins.left() + shadowMargins.right(),
                        card.height() + shadowMargins.top() + shadowMargins.bottom());
    QImage mask((points * scale).toSize(), QImage::Format_Alpha8);
    mask.fill(0);
    {
        QPainter painter(&mask);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(scale, scale);
        painter.setBrush(Qt::black);
        painter.setPen(Qt::NoPen);
        painter.drawRoundedRect(card.translated(0, shadow.drop), cornerRadius, cornerRadius);
    }
    QImage tile = shadowOf(mask, shadow.sigma * scale, shadow.opacity);
    {
        QPainter painter(&tile);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(scale, scale);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        painter.setBrush(Qt::black);
        painter.setPen(Qt::NoPen);
        // Half a point of overlap, so that no light shines through along the card's soft edge.
        painter.drawRoundedRect(card.adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    }
    return QPixmap::fromImage(std::move(tile));
}

QPixmap tileFor(double cornerRadius, double scale, const Shadow &shadow)
{
    const QString key = QStringLiteral("shadow %1 %2 %3 %4 %5")
                            .arg(cornerRadius)
                            .arg(scale)
                            .arg(shadow.opacity)
                            .arg(shadow.sigma)
                            .arg(shadow.drop);
    QPixmap tile;
    if (!QPixmapCache::find(key, &tile)) {
        tile = makeTile(cornerRadius, scale, shadow);
        QPixmapCache::insert(key, tile);
    }
    return tile;
}

// Where the bands lie in the tile, which has `corner` points of each `whole` corner to give.
struct Bands
{
    Bands(double before, double after, double whole, double corner)
        : begin{0, before + whole, before + 2 * whole + 1 - corner}
        , end{before + corner, before + whole + 1, before + 2 * whole + 1 + after}
    {}
    std::array<double, 3> begin;
    std::array<double, 3> end;
};

} // namespace

void paintShadow(QPainter &painter, const QRectF &card, double cornerRadius, const Shadow &shadow)
{
    const double scale = painter.device()->devicePixelRatioF();
    const QPixmap tile = tileFor(cornerRadius, scale, shadow);
    const double whole = cornerSize(cornerRadius);
    // A card that is too small for whole corners shows their outer parts.
    const double corner = std::min({whole, card.width() / 2, card.height() / 2});
    const QRectF around = card.marginsAdded(shadowMargins);

    // Where the bands begin and end: outer margin with corner, drawn-out edge, corner with margin.
    const double columns[] = {around.left(), card.left() + corner,
                              card.left() + card.width() - corner, around.left() + around.width()};
    const double rows[] = {around.top(), card.top() + corner, card.top() + card.height() - corner,
                           around.top() + around.height()};
    const Bands tileColumns(shadowMargins.left(), shadowMargins.right(), whole, corner);
    const Bands tileRows(shadowMargins.top(), shadowMargins.bottom(), whole, corner);

    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            if (row == 1 && column == 1)
                continue; // beneath the card
            const QRectF target(QPointF(columns[column], rows[row]),
                                QPointF(columns[column + 1], rows[row + 1]));
            const QRectF source(QPointF(tileColumns.begin[column], tileRows.begin[row]) * scale,
                                QPointF(tileColumns.end[column], tileRows.end[row]) * scale);
            painter.drawPixmap(target, tile, source);
        }
    }
}

} // namespace kivolo
