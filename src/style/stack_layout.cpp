#include "style/stack_layout.h"

#include <QSpacerItem>
#include <QStyle>
#include <QWidget>
#include <algorithm>

namespace kivolo {

StackLayout::StackLayout(Qt::Orientation direction, int spacing, Qt::Alignment across)
    : direction_(direction)
    , spacing_(spacing)
    , across_(across)
{
    setContentsMargins(0, 0, 0, 0);
}

StackLayout::~StackLayout() = default;

void StackLayout::addSpacer()
{
    const auto grows = QSizePolicy::Expanding;
    const auto none = QSizePolicy::Minimum;
    addItem(new QSpacerItem(0, 0, isVertical() ? none : grows, isVertical() ? grows : none));
}

void StackLayout::addYielding(QWidget *view)
{
    addWidget(view);
    yielding_.insert(items_.back().get());
}

void StackLayout::addItem(QLayoutItem *item)
{
    items_.emplace_back(item);
    invalidate();
}

QLayoutItem *StackLayout::itemAt(int index) const
{
    return index >= 0 && index < count() ? items_[size_t(index)].get() : nullptr;
}

QLayoutItem *StackLayout::takeAt(int index)
{
    if (!itemAt(index))
        return nullptr;
    QLayoutItem *item = items_[size_t(index)].release();
    items_.erase(items_.begin() + index);
    yielding_.remove(item);
    invalidate();
    return item;
}

QSize StackLayout::sized(int along, int across) const
{
    return isVertical() ? QSize(across, along) : QSize(along, across);
}

static bool isShown(const QLayoutItem &item)
{
    return !item.isEmpty() || const_cast<QLayoutItem &>(item).spacerItem();
}

static bool isSpacer(QLayoutItem &item)
{
    return item.spacerItem() != nullptr;
}

static bool grows(const QLayoutItem &item, Qt::Orientation direction)
{
    return item.expandingDirections() & direction;
}

static bool isText(QLayoutItem &item)
{
    return item.hasHeightForWidth() && item.widget() && !item.widget()->layout();
}

int StackLayout::widthOf(const QLayoutItem &item, int available) const
{
    const int wanted =
        grows(item, Qt::Horizontal) ? item.maximumSize().width() : item.sizeHint().width();
    return std::min(std::max(available, item.minimumSize().width()), wanted);
}

int StackLayout::heightOf(const QLayoutItem &item, int width) const
{
    return item.hasHeightForWidth() ? item.heightForWidth(width) : item.sizeHint().height();
}

std::vector<StackLayout::Part> StackLayout::parts(int width) const
{
    std::vector<Part> parts;
    bool afterSpacer = true; // nor is there a gap before the first
    for (const auto &item : items_) {
        if (!isShown(*item))
            continue;
        const bool canGrow = grows(*item, direction_);
        int least = along(item->minimumSize());
        int wanted = along(item->sizeHint());
        if (isVertical()) {
            wanted = heightOf(*item, widthOf(*item, width));
            if (isText(*item))
                least = wanted; // half a line is none
        } else if (canGrow) {
            wanted = least;
        }
        const bool spacer = isSpacer(*item);
        parts.push_back(
            {item.get(), std::min(least, wanted), wanted, canGrow, yielding_.contains(item.get())});
        parts.back().gap = afterSpacer ? 0 : spacing_;
        afterSpacer = spacer;
    }
    return parts;
}

// The longest give way first, all of them down to one length.
void StackLayout::shrink(std::vector<Part> &parts, int room)
{
    const auto lengthUnder = [](const Part &part, int limit) {
        return std::max(part.least, std::min(part.length, limit));
    };
    int limit = 0;
    for (int step = 1 << 24; step; step /= 2) {
        int total = 0;
        for (const Part &part : parts)
            total += lengthUnder(part, limit + step);
        limit += total <= room ? step : 0;
    }
    for (Part &part : parts)
        part.length = lengthUnder(part, limit);
}

int StackLayout::share(std::vector<Part> &parts, int room) const
{
    int wanted = 0;
    int growing = 0;
    for (Part &part : parts) {
        part.length = part.grows ? part.least : part.wanted;
        wanted += part.length;
        room -= part.gap;
        growing += part.grows ? 1 : 0;
    }
    int rest = room - wanted;
    for (auto part = parts.rbegin(); rest < 0 && part != parts.rend(); ++part) {
        if (!part->yields)
            continue;
        rest += part->length - part->least;
        part->length = part->least;
    }
    if (rest < 0) {
        shrink(parts, room);
        return 0;
    }
    for (Part &part : parts) {
        if (!part.grows)
            continue;
        // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): above they were counted
        const int piece = rest / growing--;
        part.length += piece;
        rest -= piece;
    }
    return rest;
}

void StackLayout::tighten(std::vector<Part> &parts, int room) const
{
    if (!leastSpacing_)
        return;
    int gaps = 2; // at the ends
    for (const Part &part : parts) {
        room -= part.wanted;
        gaps += part.gap > 0 ? 1 : 0;
    }
    const int gap = std::clamp(room / gaps, *leastSpacing_, spacing_);
    for (Part &part : parts)
        part.gap = part.gap > 0 ? gap : 0;
}

void StackLayout::setGeometry(const QRect &rect)
{
    QLayout::setGeometry(rect);
    const QRect inner = contentsRect();
    std::vector<Part> row = parts(inner.width());
    tighten(row, along(inner.size()));
    int at = share(row, along(inner.size())) / 2;
    for (const Part &part : row) {
        at += part.gap;
        const QSize room = sized(part.length, across(inner.size()));
        const QLayoutItem &item = *part.item;
        QSize size = room;
        if (isVertical())
            size.setWidth(widthOf(item, room.width()));
        else if (!grows(item, Qt::Vertical))
            size.setHeight(std::min(heightOf(item, room.width()), room.height()));
        const QPoint place = isVertical() ? QPoint(0, at) : QPoint(at, 0);
        const QRect cell(inner.topLeft() + place, room);
        part.item->setGeometry(QStyle::alignedRect(Qt::LeftToRight, across_, size, cell));
        at += part.length;
    }
}

QSize StackLayout::total(QSize (QLayoutItem::*of)() const) const
{
    int length = 0;
    int thickness = 0;
    for (const Part &part : parts(QWIDGETSIZE_MAX)) {
        const QSize size = (part.item->*of)();
        length += along(size) + part.gap;
        thickness = std::max(thickness, across(size));
    }
    const QMargins margins = contentsMargins();
    return sized(length, thickness) +
           QSize(margins.left() + margins.right(), margins.top() + margins.bottom());
}

QSize StackLayout::sizeHint() const
{
    return total(&QLayoutItem::sizeHint);
}

QSize StackLayout::minimumSize() const
{
    return total(&QLayoutItem::minimumSize);
}

bool StackLayout::hasHeightForWidth() const
{
    return std::any_of(items_.begin(), items_.end(), [](const auto &item) {
        return isShown(*item) && item->hasHeightForWidth();
    });
}

int StackLayout::heightForWidth(int width) const
{
    const QMargins margins = contentsMargins();
    const int inner = width - margins.left() - margins.right();
    std::vector<Part> row = parts(inner);
    if (!isVertical())
        share(row, inner);
    int height = 0;
    for (const Part &part : row)
        height = isVertical() ? height + part.gap + part.wanted
                              : std::max(height, heightOf(*part.item, part.length));
    return height + margins.top() + margins.bottom();
}

int StackLayout::minimumHeightForWidth(int width) const
{
    if (!leastSpacing_)
        return heightForWidth(width);
    const QMargins margins = contentsMargins();
    std::vector<Part> column = parts(width - margins.left() - margins.right());
    tighten(column, 0);
    int height = margins.top() + margins.bottom() + 2 * *leastSpacing_;
    for (const Part &part : column)
        height += part.gap + part.wanted;
    return height;
}

Qt::Orientations StackLayout::expandingDirections() const
{
    Qt::Orientations directions;
    for (const auto &item : items_) {
        if (isShown(*item))
            directions |= item->expandingDirections();
    }
    return directions;
}

} // namespace kivolo
