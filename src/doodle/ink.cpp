#include "doodle/ink.h"

#include "style/brand.h"

#include <algorithm>
#include <cmath>

namespace kivolo {

namespace {

QList<QRgb> whiteToViolet()
{
    constexpr int steps = 255;
    const QColor violet = Brand::violet();
    const auto mixed = [](int component, int step) {
        return (255 * (steps - step) + component * step + steps / 2) / steps;
    };
    QList<QRgb> colors;
    for (int step = 0; step <= steps; ++step)
        colors.append(qRgb(mixed(violet.red(), step), mixed(violet.green(), step),
                           mixed(violet.blue(), step)));
    return colors;
}

} // namespace

Ink::Ink(const QRect &pixels, const QTransform &toPixels)
    : pixels_(pixels)
    , toPixels_(toPixels)
    , radius_(penRadius * toPixels.m11())
    , inReach_(toPixels.inverted().mapRect(
          QRectF(pixels).adjusted(-radius_ - 1, -radius_ - 1, radius_ + 1, radius_ + 1)))
    , image_(pixels.size(), QImage::Format_Indexed8)
{
    static const QList<QRgb> colors = whiteToViolet();
    image_.setColorTable(colors);
    image_.fill(0);
}

void Ink::stroke(const QPolygonF &line)
{
    for (qsizetype i = 1; i < line.size(); ++i)
        if (isInReach(line.at(i - 1), line.at(i)))
            segment(toPixels_.map(line.at(i - 1)), toPixels_.map(line.at(i)));
}

bool Ink::isInReach(const QPointF &from, const QPointF &to) const
{
    return std::max(from.x(), to.x()) > inReach_.left() &&
           std::min(from.x(), to.x()) < inReach_.right() &&
           std::max(from.y(), to.y()) > inReach_.top() &&
           std::min(from.y(), to.y()) < inReach_.bottom();
}

void Ink::segment(const QPointF &from, const QPointF &to)
{
    // A pixel counts as a disc of its own width around its centre: it is covered wholly up to half
    // a pixel inside the edge of the pen and not at all from half a pixel outside.
    const double reach = radius_ + 0.5;
    const double full = radius_ - 0.5;
    const auto firstPixel = [](double edge, int least) {
        return int(std::max(double(least), std::floor(edge)));
    };
    const auto lastPixel = [](double edge, int most) {
        return int(std::min(double(most), std::floor(edge)));
    };
    const int top = firstPixel(std::min(from.y(), to.y()) - reach, pixels_.top());
    const int bottom = lastPixel(std::max(from.y(), to.y()) + reach, pixels_.bottom());
    const int left = firstPixel(std::min(from.x(), to.x()) - reach, pixels_.left());
    const int right = lastPixel(std::max(from.x(), to.x()) + reach, pixels_.right());
    if (top > bottom || left > right)
        return;

    const QPointF along = to - from;
    const double length = std::hypot(along.x(), along.y());
    const double perLength = length > 0 ? 1 / (length * length) : 0;
    for (int y = top; y <= bottom; ++y) {
        uchar *row = image_.scanLine(y - pixels_.top()) - pixels_.left();
        const double down = y + 0.5 - from.y();
        int begin = left;
        int end = right;
        if (along.y() != 0) { // where the row crosses the line, not the whole of its rectangle
            const double centre = from.x() + down * along.x() / along.y();
            const double half = reach * length / std::abs(along.y()) + 1;
            begin = firstPixel(centre - half, left);
            end = lastPixel(centre + half, right);
        }
        for (int x = begin; x <= end; ++x) {
            if (row[x] == 255)
                continue;
            const double across = x + 0.5 - from.x();
            const double nearest =
                std::clamp((across * along.x() + down * along.y()) * perLength, 0.0, 1.0);
            const double dx = across - nearest * along.x();
            const double dy = down - nearest * along.y();
            const double squared = dx * dx + dy * dy;
            if (squared >= reach * reach)
                continue;
            const uchar coverage =
                squared <= full * full ? 255 : uchar(qRound(255 * (reach - std::sqrt(squared))));
            row[x] = std::max(row[x], coverage);
        }
    }
}

} // namespace kivolo
