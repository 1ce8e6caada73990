// Where the feed stands, and which of its rows are laid out.
#include "feed/feed_delegate.h"
#include "feed/feed_model.h"
#include "feed/feed_view.h"
#include "style/scroll_bar.h"
#include "style/theme.h"

#include <QScopedValueRollback>
#include <limits>

namespace kivolo {

constexpr int wheelStep = 20; // a notch of the wheel is three of them

static int toOffset(qint64 y)
{
    return int(qBound(qint64(0), y, qint64(std::numeric_limits<int>::max())));
}

int FeedView::pageHeight() const
{
    return viewport()->height();
}

/// The scroll bar stands in the padding on the right, which leaves room for the mark of a row.
int FeedView::rowWidth() const
{
    constexpr int right = FeedGeometry::padding - ScrollBar::barWidth;
    static_assert(right >= FeedDelegate::markReach);
    return qMax(1, viewport()->width() - FeedGeometry::padding - right);
}

/// Where the marker below the last row stands at the lower edge.
int FeedView::endOffset() const
{
    return toOffset(geometry_.markerBottom() - pageHeight());
}

int FeedView::lastOffset() const
{
    return toOffset(geometry_.contentHeight() - pageHeight());
}

int FeedView::screenTop(int row) const
{
    constexpr qint64 far = std::numeric_limits<int>::max() / 2;
    return int(qBound(-far, geometry_.top(row) - offset_, far));
}

int FeedView::anchoredOffset() const
{
    if (anchor_.atEnd)
        return endOffset() + anchor_.distance;
    return anchor_.row.isValid() ? toOffset(geometry_.top(anchor_.row.row()) - anchor_.distance)
                                 : offset_;
}

FeedView::Anchor FeedView::anchorAt(int offset) const
{
    if (offset >= endOffset())
        return {.atEnd = true, .distance = offset - endOffset()};
    return rowAnchorAt(offset);
}

/// Of the rows visible at `offset` the first that is laid out: that is what the eye follows. The
/// ones above it have only just come into sight, with heights that may yet change.
FeedView::Anchor FeedView::rowAnchorAt(int offset) const
{
    const int first = geometry_.rowAt(offset);
    int chosen = first;
    for (int row = first; row < geometry_.count() && geometry_.top(row) < offset + pageHeight();
         ++row) {
        if (geometry_.isExact(row) && geometry_.bottom(row) > offset) {
            chosen = row;
            break;
        }
    }
    return {.atEnd = false,
            .row = QPersistentModelIndex(model_->index(chosen)),
            .distance = int(geometry_.top(chosen) - offset)};
}

void FeedView::scrollContentsBy(int, int)
{
    if (movingBar_)
        return;
    scrollToOffset(verticalScrollBar()->value());
}

void FeedView::scrollToOffset(int offset)
{
    if (geometry_.count() == 0)
        return;
    anchor_ = anchorAt(qBound(0, offset, lastOffset()));
    settle();
}

void FeedView::scrollToEnd()
{
    const int way = endOffset() - offset_;
    if (way == 0 || !isVisible() || Theme::shared().reducesMotion()) {
        anchor_ = {};
        settle();
        return;
    }
    animation_.setStartValue(-way);
    animation_.setEndValue(0);
    animation_.start();
}

void FeedView::endAnimation()
{
    if (animation_.state() == QAbstractAnimation::Stopped)
        return;
    animation_.stop();
    if (geometry_.count() > 0)
        anchor_ = anchorAt(offset_);
}

bool FeedView::isSettled() const
{
    return !nextTurn_.isActive() && animation_.state() == QAbstractAnimation::Stopped;
}

void FeedView::settle()
{
    delegate_->setDevicePixelRatio(devicePixelRatioF());
    Turn turn{QDeadlineTimer(turnBudget_)};
    const int reference = geometry_.count() > 0 ? geometry_.rowAt(offset_) : -1;
    const int oldTop = reference >= 0 ? screenTop(reference) : 0;
    unfinished_ = false;
    bool changed = false;
    // Each round can bring other rows into sight. Without an end to the surprises, the next turn
    // goes on.
    for (int round = 0; round < 4; ++round) {
        moveTo(anchoredOffset());
        if (!layOut(offset_, qint64(offset_) + pageHeight(), turn))
            break;
        changed = true;
    }
    moveTo(anchoredOffset());
    const bool lost = !anchor_.atEnd && !anchor_.row.isValid();
    if (lost || offset_ != anchoredOffset())
        anchor_ = geometry_.count() > 0 ? anchorAt(offset_) : Anchor();
    showMove(reference, oldTop, changed);
    const bool moving = animation_.state() == QAbstractAnimation::Running;
    if (isVisible() && (unfinished_ || !moving))
        nextTurn_.start();
}

/// A page of rows above and below the visible ones is laid out before it comes into sight, in turns
/// of the event loop that have nothing else to do.
void FeedView::layOutNeighbours()
{
    if (unfinished_) {
        settle();
        return;
    }
    Turn turn{QDeadlineTimer(turnBudget_)};
    const int reference = geometry_.count() > 0 ? geometry_.rowAt(offset_) : -1;
    const int oldTop = reference >= 0 ? screenTop(reference) : 0;
    const int page = pageHeight();
    layOut(qint64(offset_) - page, qint64(offset_) + 2 * page, turn);
    moveTo(anchoredOffset());
    showMove(reference, oldTop, false);
    if (unfinished_) {
        unfinished_ = false; // not of the visible rows
        nextTurn_.start();
    }
}

/// Lays out the rows between the two heights. Returns whether there was anything to be done.
bool FeedView::layOut(qint64 from, qint64 to, Turn &turn)
{
    if (geometry_.count() == 0 || testAttribute(Qt::WA_PendingResizeEvent))
        return false;
    bool changed = false;
    int row = geometry_.rowAt(from);
    for (qint64 y = geometry_.top(row); row < geometry_.count() && y < to; ++row) {
        const FeedModel::Row &shown = model_->row(row);
        if (turn.worked && turn.deadline.hasExpired() && !delegate_->isLaidOut(shown, rowWidth())) {
            unfinished_ = true;
        } else {
            const auto measure = delegate_->measure(shown, rowWidth(), turn.deadline);
            geometry_.set(row, measure.height, measure.exact);
            unfinished_ = unfinished_ || !measure.exact;
            changed = changed || measure.isNew;
            turn.worked = turn.worked || measure.isNew;
        }
        y += geometry_.height(row) + FeedGeometry::spacing;
    }
    return changed;
}

void FeedView::moveTo(int offset)
{
    offset_ = qBound(0, offset, lastOffset());
    const QScopedValueRollback moving(movingBar_, true);
    QScrollBar *bar = verticalScrollBar();
    bar->setRange(0, lastOffset());
    bar->setPageStep(qMax(1, pageHeight()));
    bar->setSingleStep(wheelStep);
    bar->setValue(offset_);
}

/// Repaints after a change: `row` stood at `oldTop`. If nothing but its place has `changed`, what
/// is painted just moves.
void FeedView::showMove(int row, int oldTop, bool changed)
{
    const int way = row >= 0 ? screenTop(row) - oldTop : 0;
    if (changed || qAbs(way) >= pageHeight())
        viewport()->update();
    else if (way != 0)
        viewport()->scroll(0, way);
}

} // namespace kivolo
