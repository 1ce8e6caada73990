#include "overlays/placement.h"

namespace kivolo::placement {

namespace {
constexpr double margin = 16; // to the edges of the visible frame
constexpr double popupGap = 12;
constexpr double capsuleGap = 10;
constexpr Rect popupSize{0, 0, 300, 150};
constexpr Rect buzzSize{0, 0, 420, 200};
constexpr Rect capsuleSize{0, 0, 290, 92};
} // namespace

Rect popup(const Rect &visibleFrame, std::size_t slot)
{
    Rect card = popupSize;
    card.x = visibleFrame.maxX() - card.width - margin;
    card.y = visibleFrame.maxY() - card.height - margin - (card.height + popupGap) * double(slot);
    return card;
}

Rect buzz(const Rect &visibleFrame)
{
    Rect card = buzzSize;
    card.x = visibleFrame.midX() - card.width / 2;
    card.y = visibleFrame.midY() - card.height / 2;
    return card;
}

Rect capsule(const Rect &visibleFrame, std::size_t slot)
{
    Rect card = capsuleSize;
    card.x = visibleFrame.maxX() - card.width - margin;
    card.y = visibleFrame.minY() + margin + (card.height + capsuleGap) * double(slot);
    return card;
}

} // namespace kivolo::placement
