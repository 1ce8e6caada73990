// The feed: a column of rows that scrolls.
#pragma once

#include "feed/feed_bubbles.h"
#include "feed/feed_layout.h"
#include "feed/feed_model.h"
#include "platform/foundation/main_queue.h"

#include <QAbstractScrollArea>
#include <QAccessible>
#include <QTimer>
#include <QVariantAnimation>

namespace kivolo {

/// Shows beams, and scrolls to their end whenever their number changes. Works on ten thousand rows
/// as on ten: only rows near the visible part are laid out, in turns of the event loop.
class FeedView final : public QAbstractScrollArea
{
    Q_OBJECT
public:
    /// `queue` must outlive the view.
    explicit FeedView(MainQueue &queue);
    ~FeedView() override;

    /// Shows `beams`, oldest first, of which those from `memberId` are one's own.
    void setBeams(const QList<Beam> &beams, const QString &memberId);

    /// How long a turn of the event loop may lay out rows before it leaves the rest to the next
    /// one. At least one step is done: a quarter of a thousand letters, or a line of emoji.
    void setTurnBudget(std::chrono::milliseconds budget) { layout_.setTurnBudget(budget); }
    /// Whether all rows near the visible part are laid out and nothing moves.
    bool isSettled() const;

    // Rows are counted from 0; none is -1.
    const FeedModel &model() const { return model_; }
    /// A row in words, for assistive technology.
    QString summary(int row) const;
    /// Where a row is in the viewport.
    QRect visualRect(int row) const;
    int rowAt(const QPoint &point) const;
    /// The row that is marked while the view has the focus.
    int currentRow() const { return layout_.current(); }

protected:
    void changeEvent(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *) override {} // the press was all of the click
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void showEvent(QShowEvent *event) override;

private:
    void watchModel();
    void setUpScrolling();
    int rowWidth() const;
    /// Repaints the rows whose age reads differently by now.
    void renewAges();

    void settle();
    void showChange();
    void scrollToEnd();
    void endAnimation();

    void currentMoved(int before);
    void copyRow(int row);
    void tellAssistiveTechnology(int row, QAccessible::Event what);

    MainQueue &queue_;
    FeedModel model_;
    FeedBubbles bubbles_;
    FeedLayout layout_;
    bool movingBar_ = false; // the bar follows the layout, not the other way round
    QTimer nextTurn_;
    QVariantAnimation animation_; // of the distance from the end
    std::unique_ptr<MainQueue::Repetition> ages_;
    qint64 agesAsOf_ = 0; // when they were last looked at
};

} // namespace kivolo
