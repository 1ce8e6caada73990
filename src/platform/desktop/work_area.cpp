#include "platform/desktop/work_area.h"

namespace kivolo {

namespace {

enum Edge { Left, Right, Top, Bottom };

// What the strut keeps along one edge of the desktop.
QRect reserved(const Strut &strut, Edge edge, const QSize &desktop)
{
    const int reach = strut.reach[edge];
    const auto [begin, end] = strut.extent[edge];
    const int length = end - begin + 1;
    switch (edge) {
    case Left:
        return {0, begin, reach, length};
    case Right:
        return {desktop.width() - reach, begin, reach, length};
    case Top:
        return {begin, 0, length, reach};
    default:
        return {begin, desktop.height() - reach, length, reach};
    }
}

qint64 size(const QRect &area)
{
    return area.isEmpty() ? 0 : qint64(area.width()) * area.height();
}

} // namespace

QRect withoutStruts(const QRect &screen, const QSize &desktop, std::span<const Strut> struts)
{
    QMargins taken;
    for (const Strut &strut : struts) {
        const auto depth = [&](Edge edge) {
            const QRect part = screen & reserved(strut, edge, desktop);
            const bool lies = edge == Top || edge == Bottom;
            const bool behind =
                lies ? part.height() == screen.height() : part.width() == screen.width();
            return part.isEmpty() || behind ? 0 : lies ? part.height() : part.width();
        };
        taken = taken | QMargins(depth(Left), depth(Top), depth(Right), depth(Bottom));
    }
    const QRect rest = screen.marginsRemoved(taken);
    return rest.isEmpty() ? screen : rest;
}

std::optional<QRect> areaOn(const QRect &screen, std::span<const QRect> areas)
{
    QRect best;
    for (const QRect &area : areas) {
        if (size(area & screen) > size(best))
            best = area & screen;
    }
    return best.isEmpty() ? std::nullopt : std::optional(best);
}

} // namespace kivolo
