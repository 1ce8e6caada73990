// Where the feed stands, and which of its rows are measured.
#pragma once

#include "feed/feed_geometry.h"

#include <QDeadlineTimer>
#include <chrono>
#include <functional>
#include <optional>

namespace kivolo {

/// A column of rows behind a window of some height, its page. Knows neither beams nor a display:
/// what a row measures it asks for. Only rows near the page are measured, the heights of all others
/// are guesses; when a guess becomes exact, what is in the page keeps its place. Rows are counted
/// from 0, no row is -1; lengths are in points.
class FeedLayout
{
public:
    /// A turn of the event loop that measures rows: one step at least, more until the deadline.
    struct Turn
    {
        QDeadlineTimer deadline;
        int steps = 0;

        bool isOver() const { return steps > 0 && deadline.hasExpired(); }
    };
    struct Height
    {
        int points;
        bool exact; ///< Otherwise more of the row is left to be measured.
    };
    /// What the height of a row will probably be. Cheap.
    using Guess = std::function<int(int row)>;
    /// The height of a row as far as it is known. What there is to measure is measured, and counted
    /// as a step, unless the turn is over.
    using Measure = std::function<std::optional<Height>(int row, Turn &turn)>;
    /// What has become of the page since the last question.
    struct Change
    {
        bool repaint; ///< Rows in it look different, or are others.
        int way;      ///< How far down they have moved.
    };
    /// What a key asks for.
    enum class Step { Up, Down, PageUp, PageDown, Home, End };

    FeedLayout(Guess guess, Measure measure);

    void setTurnBudget(std::chrono::milliseconds budget) { turnBudget_ = budget; }
    void setPage(int height) { page_ = height; }

    /// The rows from `first` on are new. `count` of them, like in what follows.
    void insert(int first, int count);
    /// If the current row goes, its neighbour becomes the current one; returns whether it does.
    bool remove(int first, int count);
    /// The rows have to be measured again.
    void change(int first, int count);

    const FeedGeometry &rows() const { return rows_; }
    /// What stands at the upper edge of the page, and the most that can.
    int offset() const { return offset_; }
    int lastOffset() const;
    /// How far it is to where the marker below the last row stands at the lower edge.
    int wayToEnd() const { return endOffset() - offset_; }
    /// Below the upper edge of the page.
    int screenTop(int row) const;
    int screenBottom(int row) const { return screenTop(row) + rows_.height(row); }
    bool isSeen(int row) const;
    /// The first or last of the rows that are to be seen in full; if none is, of those in part.
    int seenRow(bool last) const;

    /// Measures the rows in the page as far as a turn allows and keeps the anchor in its place.
    void settle();
    /// Does a turn of what is left to do: the rows in the page, then those a page above and below,
    /// so that they are measured before they come into sight.
    void continueWork();
    bool isPageMeasured() const { return pageMeasured_; }
    bool hasWork() const { return !pageMeasured_ || !surroundingsMeasured_; }
    Change takeChange();

    // Each of these settles.
    void scrollTo(int offset);
    void scrollToEnd(int distance = 0); ///< Keeps to it; `distance` is how far below.
    /// Up and Down move to the next row when they have shown all of one that is higher than the
    /// page. End only chooses the row.
    void step(Step step);

    /// From now on the row in sight keeps its place, even at the end of the feed.
    void holdPlace();

    int current() const { return current_; }
    void setCurrent(int row) { current_ = row; }

private:
    /// What keeps its place when heights change: a row, by its distance from the upper edge, or the
    /// end of the feed, by the distance from where the page shows it.
    struct Anchor
    {
        int row = -1; // the end
        int distance = 0;
    };

    bool measure(qint64 from, qint64 to, Turn &turn);
    int endOffset() const;
    int anchoredOffset() const;
    void moveToAnchor();
    Anchor anchorAt(int offset) const;
    Anchor rowAnchorAt(int offset) const;
    bool scrollWithin(int row, bool down);
    void reveal(int row);

    const Guess guess_;
    const Measure measure_;
    std::chrono::milliseconds turnBudget_;
    FeedGeometry rows_;
    int page_ = 0;
    int offset_ = 0;
    Anchor anchor_;
    int current_ = -1;
    bool pageMeasured_ = true;
    bool surroundingsMeasured_ = true;
    bool repaint_ = false;
    int shownRow_ = -1; // at the upper edge when takeChange() was last asked, and where it stood
    int shownTop_ = 0;
};

} // namespace kivolo
