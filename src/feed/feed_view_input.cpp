// What keys and clicks do in the feed.
#include "doodle/doodle_url.h"
#include "feed/feed_delegate.h"
#include "feed/feed_model.h"
#include "feed/feed_view.h"
#include "platform/desktop/pasteboard.h"
#include "style/text_style.h"

#include <QFutureWatcher>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>

namespace kivolo {

namespace {

constexpr int keyStep = 40; // within a row that is higher than the view
constexpr int pageOverlap = 40;

} // namespace

/// The first or last of the rows that are to be seen in full; if none is, of those in part.
QModelIndex FeedView::visibleRow(bool last) const
{
    if (geometry_.count() == 0)
        return {};
    const int first = geometry_.rowAt(offset_);
    const int end = geometry_.rowAt(qint64(offset_) + viewport()->height() - 1);
    const auto inFull = [this](int row) {
        return screenTop(row) >= 0 &&
               screenTop(row) + geometry_.height(row) <= viewport()->height();
    };
    int row = last ? end : first;
    const int neighbour = qBound(first, last ? end - 1 : first + 1, end);
    if (!inFull(row) && inFull(neighbour))
        row = neighbour;
    return model_->index(row);
}

QModelIndex FeedView::moveCursor(CursorAction action, Qt::KeyboardModifiers)
{
    const int count = geometry_.count();
    if (count == 0)
        return {};
    const QModelIndex current = currentIndex();
    const bool seen = viewport()->rect().intersects(visualRect(current));
    switch (action) {
    case MoveHome:
        return model_->index(0);
    case MoveEnd:
        return model_->index(count - 1);
    case MoveUp:
    case MovePrevious:
        return seen ? model_->index(qMax(0, current.row() - 1)) : visibleRow(true);
    case MoveDown:
    case MoveNext:
        return seen ? model_->index(qMin(count - 1, current.row() + 1)) : visibleRow(false);
    case MovePageUp:
        return visibleRow(false);
    case MovePageDown:
        return visibleRow(true);
    default:
        return current;
    }
}

void FeedView::keyPressEvent(QKeyEvent *event)
{
    if (event == QKeySequence::Copy) {
        copyRow(currentIndex());
        return;
    }
    static const QHash<int, CursorAction> actions{
        {Qt::Key_Up, MoveUp},         {Qt::Key_Down, MoveDown},
        {Qt::Key_PageUp, MovePageUp}, {Qt::Key_PageDown, MovePageDown},
        {Qt::Key_Home, MoveHome},     {Qt::Key_End, MoveEnd},
    };
    const auto action = actions.constFind(event->key());
    const bool plain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (action == actions.cend() || !plain) {
        event->ignore();
        return;
    }
    endAnimation();
    const int page = viewport()->height() - pageOverlap;
    const bool down = *action == MoveDown || *action == MovePageDown;
    if (*action == MovePageUp || *action == MovePageDown)
        scrollToOffset(offset_ + (down ? page : -page));
    else if (scrollWithin(currentIndex(), down, *action))
        return;
    const QModelIndex row = moveCursor(*action, event->modifiers());
    markRow(row);
    if (*action == MoveHome)
        scrollToOffset(0);
    else if (*action == MoveEnd)
        scrollToEnd();
    else if (*action == MoveUp || *action == MoveDown)
        scrollTo(row);
}

/// Up and Down show the rest of a row that reaches beyond the view before they leave it.
bool FeedView::scrollWithin(const QModelIndex &index, bool down, CursorAction action)
{
    const QRect row = visualRect(index);
    if ((action != MoveUp && action != MoveDown) || !row.intersects(viewport()->rect()))
        return false;
    const int hidden = down ? row.top() + row.height() - viewport()->height() : -row.top();
    const bool isLarger = row.height() > viewport()->height();
    if (hidden <= 0 || !isLarger)
        return false;
    scrollToOffset(offset_ + (down ? 1 : -1) * qMin(hidden, keyStep));
    return true;
}

void FeedView::scrollTo(const QModelIndex &index, ScrollHint)
{
    if (!index.isValid())
        return;
    // Rows that come into sight by this may turn out higher than guessed; a second time they don't.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const QRect row = visualRect(index);
        const int page = viewport()->height();
        const int above = row.top() - FeedGeometry::spacing;
        const int below = row.top() + row.height() + FeedGeometry::spacing - page;
        if (above < 0)
            scrollToOffset(offset_ + above);
        else if (below > 0)
            scrollToOffset(offset_ + qMin(below, above));
    }
}

void FeedView::markRow(const QModelIndex &index)
{
    marksCurrent_ = true;
    setCurrentIndex(index);
    viewport()->update();
}

void FeedView::currentChanged(const QModelIndex &current, const QModelIndex &)
{
    viewport()->update();
    if (current.isValid() && hasFocus())
        tellAssistiveTechnology(current.row(), QAccessible::Focus);
}

void FeedView::focusInEvent(QFocusEvent *event)
{
    // Not QAbstractItemView's, which makes the first row the current one.
    QAbstractScrollArea::focusInEvent(event);
    const auto reason = event->reason();
    if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
        reason == Qt::ShortcutFocusReason) {
        const bool seen = viewport()->rect().intersects(visualRect(currentIndex()));
        markRow(seen ? currentIndex() : visibleRow(true));
    }
    viewport()->update();
    if (currentIndex().isValid())
        tellAssistiveTechnology(currentIndex().row(), QAccessible::Focus);
}

void FeedView::mousePressEvent(QMouseEvent *event)
{
    const QModelIndex row = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && row.isValid())
        markRow(row);
}

void FeedView::mouseDoubleClickEvent(QMouseEvent *event)
{
    mousePressEvent(event);
}

// A row is neither dragged nor selected.
void FeedView::mouseMoveEvent(QMouseEvent *) {}
void FeedView::mouseReleaseEvent(QMouseEvent *) {}

void FeedView::copyRow(const QModelIndex &index)
{
    if (!index.isValid())
        return;
    const QVariant text = model_->data(index, Qt::DisplayRole);
    if (text.isValid()) {
        pasteboard::setString(text.toString());
        return;
    }
    // The cache holds it only as large as it is shown.
    constexpr QSize asSent(8192, 8192);
    const QString body = model_->row(index.row()).beam.body;
    auto *watcher = new QFutureWatcher<std::optional<Doodle>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [watcher, body] {
        if (const std::optional<Doodle> doodle = watcher->result())
            pasteboard::setImage(doodle->image);
        else
            pasteboard::setString(cutAtCharacter(body, BubbleContent::mostText));
        watcher->deleteLater();
    });
    watcher->setFuture(decodeDoodleLater(body, asSent));
}

} // namespace kivolo
