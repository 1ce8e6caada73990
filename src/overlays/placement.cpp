#include "overlays/placement.h"

namespace kivolo::placement {

namespace {
constexpr double margin = 16; // to the edges of the visible frame
constexpr double popupGap = 12;
constexpr double capsuleGap = 10;

Rect sized(const QSize &size)
{
    return {0, 0, double(size.width()), double(size.height())};
}
} // namespace

Rect popup(const Rect &visibleFrame, std::size_t slot)
{
    Rect card = sized(popupSize);
    card.x = visibleFrame.maxX() - card.width - margin;
    card.y = visibleFrame.maxY() - card.height - margin - (card.height + popupGap) * double(slot);
    return card;
}

Rect buzz(const Rect &visibleFrame)
{
    Rect card = sized(buzzSize);
    card.x = visibleFrame.midX() - card.width / 2;
    card.y = visibleFrame.midY() - card.height / 2;
    return card;
}

Rect capsule(const Rect &visibleFrame, std::size_t slot)
{
    Rect card = sized(capsuleSize);
    card.x = visibleFrame.maxX() - card.width - margin;
    card.y = visibleFrame.minY() + margin + (card.height + capsuleGap) * double(slot);
    return card;
}

} // namespace kivolo::placement
