// The feed: a column of rows that scrolls.
#pragma once

#include "api/records.h"
#include "feed/feed_geometry.h"
#include "platform/foundation/main_queue.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QDeadlineTimer>
#include <QPersistentModelIndex>
#include <QTimer>
#include <QVariantAnimation>

namespace kivolo {

class FeedDelegate;
class FeedModel;

/// Shows beams, and scrolls to their end whenever their number changes. Works on
/// ten thousand rows as on ten: only rows near the visible part are laid out, the heights of all
/// others are guesses. When a guess becomes exact, what is visible keeps its place.
class FeedView final : public QAbstractItemView
{
    Q_OBJECT
public:
    /// `queue` must outlive the view.
    explicit FeedView(MainQueue &queue, QWidget *parent = nullptr);
    ~FeedView() override;

    /// Shows `beams`, oldest first, of which those from `memberId` are one's own.
    void setBeams(const QList<Beam> &beams, const QString &memberId);

    /// How long a turn of the event loop may lay out rows before it leaves the rest to the next
    /// one. At least one step is done: a quarter of a thousand letters, or a line of emoji.
    void setTurnBudget(std::chrono::milliseconds budget) { turnBudget_ = budget; }
    /// Whether all rows near the visible part are laid out and nothing moves.
    bool isSettled() const;

    /// A row in words, for assistive technology.
    QString summary(int row) const;

    QRect visualRect(const QModelIndex &index) const override;
    void scrollTo(const QModelIndex &index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint &point) const override;
    void keyboardSearch(const QString &) override {} // letters are for the composer

protected:
    void changeEvent(QEvent *event) override;
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    void dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                     const QList<int> &roles) override;
    void focusInEvent(QFocusEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void rowsAboutToBeRemoved(const QModelIndex &parent, int first, int last) override;
    void rowsInserted(const QModelIndex &parent, int first, int last) override;
    void scrollContentsBy(int dx, int dy) override;
    void showEvent(QShowEvent *event) override;
    void updateGeometries() override;

    int horizontalOffset() const override { return 0; }
    int verticalOffset() const override { return offset_; }
    bool isIndexHidden(const QModelIndex &) const override { return false; }
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void setSelection(const QRect &, QItemSelectionModel::SelectionFlags) override {}
    QRegion visualRegionForSelection(const QItemSelection &) const override { return {}; }

private:
    /// What keeps its place when heights change: a row, by its distance from the upper edge, or the
    /// end of the feed, by the distance from where the view shows it.
    struct Anchor
    {
        bool atEnd = true;
        QPersistentModelIndex row{};
        int distance = 0;
    };

    /// A turn of the event loop that lays out rows: one step at least, more until the deadline.
    struct Turn
    {
        QDeadlineTimer deadline;
        bool worked = false;
    };

    /// Repaints the rows whose age reads differently by now.
    void renewAges();
    void guessHeights(int first, int last);
    void guessAllHeights();

    int pageHeight() const;
    int rowWidth() const;
    int endOffset() const;
    int lastOffset() const;
    int anchoredOffset() const;
    Anchor anchorAt(int offset) const;
    Anchor rowAnchorAt(int offset) const;
    void scrollToOffset(int offset);
    void scrollToEnd();
    void endAnimation();

    /// Lays out the visible rows as far as the budget allows, keeps the anchor in its place and
    /// repaints what has moved.
    void settle();
    void layOutNeighbours();
    bool layOut(qint64 from, qint64 to, Turn &turn);
    void moveTo(int offset);
    void showMove(int row, int oldTop, bool changed);
    int screenTop(int row) const;

    void markRow(const QModelIndex &index);
    bool scrollWithin(const QModelIndex &index, bool down, CursorAction action);
    QModelIndex visibleRow(bool last) const;
    void copyRow(const QModelIndex &index);
    void tellAssistiveTechnology(int row, QAccessible::Event what);

    MainQueue &queue_;
    FeedModel *const model_;
    FeedDelegate *const delegate_;
    FeedGeometry geometry_;
    Anchor anchor_;
    int offset_ = 0;         // what stands at the upper edge
    bool movingBar_ = false; // the bar follows the offset, not the other way round
    bool unfinished_ = false;
    bool marksCurrent_ = false;
    std::chrono::milliseconds turnBudget_;
    QTimer nextTurn_;
    QVariantAnimation animation_;
    std::unique_ptr<MainQueue::Repetition> ages_;
    qint64 agesAsOf_ = 0; // when they were last looked at
};

} // namespace kivolo
