#include "feed/feed_layout.h"

#include <limits>
#include <utility>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr auto layoutBudget = 5ms; // leaves as much of a frame's time for painting
constexpr int keyStep = 40;        // within a row that is higher than the page
constexpr int pageOverlap = 40;

int toOffset(qint64 y)
{
    return int(qBound(qint64(0), y, qint64(std::numeric_limits<int>::max())));
}

} // namespace

FeedLayout::FeedLayout(Guess guess, Measure measure)
    : guess_(std::move(guess))
    , measure_(std::move(measure))
    , turnBudget_(layoutBudget)
{}

void FeedLayout::insert(int first, int count)
{
    std::vector<int> guesses;
    for (int row = first; row < first + count; ++row)
        guesses.push_back(guess_(row));
    rows_.insert(first, guesses);
    for (int *row : {&anchor_.row, &current_}) {
        if (*row >= first)
            *row += count;
    }
    repaint_ = true;
}

bool FeedLayout::remove(int first, int count)
{
    rows_.remove(first, count);
    repaint_ = true;
    const auto isGone = [&](int row) { return row >= first && row < first + count; };
    const bool anchorGone = isGone(anchor_.row);
    const bool currentGone = isGone(current_);
    for (int *row : {&anchor_.row, &current_}) {
        if (*row >= first + count)
            *row -= count;
    }
    if (anchorGone)
        holdPlace();
    if (currentGone)
        current_ = qMin(qMax(0, first - 1), rows_.count() - 1);
    return currentGone;
}

void FeedLayout::change(int first, int count)
{
    for (int row = first; row < first + count; ++row)
        rows_.set(row, guess_(row), false);
    repaint_ = true;
}

int FeedLayout::endOffset() const
{
    return toOffset(rows_.markerBottom() - page_);
}

int FeedLayout::lastOffset() const
{
    return toOffset(rows_.contentHeight() - page_);
}

int FeedLayout::screenTop(int row) const
{
    constexpr qint64 far = std::numeric_limits<int>::max() / 2;
    return int(qBound(-far, rows_.top(row) - offset_, far));
}

bool FeedLayout::isSeen(int row) const
{
    return row >= 0 && screenTop(row) < page_ && screenBottom(row) > 0;
}

int FeedLayout::seenRow(bool last) const
{
    if (rows_.count() == 0)
        return -1;
    const int first = rows_.rowAt(offset_);
    const int end = rows_.rowAt(qint64(offset_) + page_ - 1);
    const auto inFull = [this](int row) {
        return screenTop(row) >= 0 && screenBottom(row) <= page_;
    };
    const int row = last ? end : first;
    const int neighbour = qBound(first, last ? end - 1 : first + 1, end);
    return !inFull(row) && inFull(neighbour) ? neighbour : row;
}

int FeedLayout::anchoredOffset() const
{
    return anchor_.row < 0 ? endOffset() + anchor_.distance
                           : toOffset(rows_.top(anchor_.row) - anchor_.distance);
}

void FeedLayout::moveToAnchor()
{
    offset_ = qBound(0, anchoredOffset(), lastOffset());
}

FeedLayout::Anchor FeedLayout::anchorAt(int offset) const
{
    if (offset >= endOffset())
        return {.distance = offset - endOffset()};
    return rowAnchorAt(offset);
}

/// Of the rows in sight at `offset` the first that is measured: that is what the eye follows. The
/// ones above it have only just come into sight, with heights that may yet change.
FeedLayout::Anchor FeedLayout::rowAnchorAt(int offset) const
{
    if (rows_.count() == 0)
        return {};
    const int first = rows_.rowAt(offset);
    int chosen = first;
    for (int row = first; row < rows_.count() && rows_.top(row) < qint64(offset) + page_; ++row) {
        if (rows_.isExact(row) && rows_.bottom(row) > offset) {
            chosen = row;
            break;
        }
    }
    return {.row = chosen, .distance = int(rows_.top(chosen) - offset)};
}

void FeedLayout::holdPlace()
{
    anchor_ = rowAnchorAt(offset_);
}

void FeedLayout::scrollTo(int offset)
{
    anchor_ = anchorAt(qBound(0, offset, lastOffset()));
    settle();
}

void FeedLayout::scrollToEnd(int distance)
{
    anchor_ = {.distance = distance};
    settle();
}

void FeedLayout::reveal(int row)
{
    // Rows that come into sight by this may turn out higher than guessed; a second time they don't.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const int above = screenTop(row) - FeedGeometry::spacing;
        const int below = screenBottom(row) + FeedGeometry::spacing - page_;
        if (above < 0)
            scrollTo(offset_ + above);
        else if (below > 0)
            scrollTo(offset_ + qMin(below, above));
    }
}

/// Shows more of a row that reaches beyond the page. Returns whether there was more of it.
bool FeedLayout::scrollWithin(int row, bool down)
{
    const int hidden = down ? screenBottom(row) - page_ : -screenTop(row);
    if (hidden <= 0 || rows_.height(row) <= page_)
        return false;
    scrollTo(offset_ + (down ? 1 : -1) * qMin(hidden, keyStep));
    return true;
}

void FeedLayout::step(Step step)
{
    const int last = rows_.count() - 1;
    if (last < 0)
        return;
    const bool down = step == Step::Down || step == Step::PageDown;
    const bool seen = isSeen(current_);
    switch (step) {
    case Step::Up:
    case Step::Down:
        if (seen && scrollWithin(current_, down))
            return;
        current_ = seen ? qBound(0, current_ + (down ? 1 : -1), last) : seenRow(!down);
        reveal(current_);
        break;
    case Step::PageUp:
    case Step::PageDown:
        scrollTo(offset_ + (down ? 1 : -1) * (page_ - pageOverlap));
        current_ = seenRow(down);
        break;
    case Step::Home:
        current_ = 0;
        anchor_ = {.row = 0, .distance = FeedGeometry::padding}; // whatever is measured on the way
        settle();
        break;
    case Step::End:
        current_ = last;
        break;
    }
}

void FeedLayout::settle()
{
    Turn turn{QDeadlineTimer(turnBudget_)};
    // Each round can bring other rows into sight. Without an end to the surprises, the next turn
    // goes on.
    for (int round = 0; round < 4; ++round) {
        const int steps = turn.steps;
        moveToAnchor();
        pageMeasured_ = measure(offset_, qint64(offset_) + page_, turn);
        if (turn.steps == steps)
            break;
        repaint_ = true;
    }
    moveToAnchor();
    if (offset_ != anchoredOffset())
        anchor_ = anchorAt(offset_);
    surroundingsMeasured_ = false;
}

void FeedLayout::continueWork()
{
    if (!pageMeasured_) {
        settle();
        return;
    }
    Turn turn{QDeadlineTimer(turnBudget_)};
    surroundingsMeasured_ =
        measure(qint64(offset_) - page_, qint64(offset_) + 2 * qint64(page_), turn);
    moveToAnchor();
}

/// Measures the rows between two heights. Returns whether nothing is left to measure.
bool FeedLayout::measure(qint64 from, qint64 to, Turn &turn)
{
    if (rows_.count() == 0)
        return true;
    bool all = true;
    int row = rows_.rowAt(from);
    for (qint64 y = rows_.top(row); row < rows_.count() && y < to; ++row) {
        const std::optional<Height> height = measure_(row, turn);
        if (height)
            rows_.set(row, height->points, height->exact);
        all = all && height && height->exact;
        y += rows_.height(row) + FeedGeometry::spacing;
    }
    return all;
}

FeedLayout::Change FeedLayout::takeChange()
{
    const bool exists = shownRow_ >= 0 && shownRow_ < rows_.count();
    const Change change{.repaint = std::exchange(repaint_, false),
                        .way = exists ? screenTop(shownRow_) - shownTop_ : 0};
    shownRow_ = rows_.count() > 0 ? rows_.rowAt(offset_) : -1;
    shownTop_ = shownRow_ >= 0 ? screenTop(shownRow_) : 0;
    return change;
}

} // namespace kivolo
