#include "feed/feed_accessible.h"

#include "feed/feed_view.h"

#include <QAccessibleWidget>
#include <vector>

namespace kivolo {

namespace {

/// An item. The list deletes it with its row.
class FeedRowAccessible final : public QAccessibleInterface
{
public:
    FeedRowAccessible(FeedView *view, int row)
        : view_(view)
        , row_(row)
    {}

    void setRow(int row) { row_ = row; }
    int row() const { return row_; }

    bool isValid() const override { return true; }
    QObject *object() const override { return nullptr; }
    QWindow *window() const override { return view_->window()->windowHandle(); }
    QAccessibleInterface *parent() const override
    {
        return QAccessible::queryAccessibleInterface(view_);
    }
    QAccessibleInterface *child(int) const override { return nullptr; }
    QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }

    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name ? view_->summary(row_) : QString();
    }
    void setText(QAccessible::Text, const QString &) override {}
    QRect rect() const override
    {
        const QRect place = view_->visualRect(row_);
        return {view_->viewport()->mapToGlobal(place.topLeft()), place.size()};
    }
    QAccessible::State state() const override
    {
        QAccessible::State state;
        state.focusable = true;
        state.focused = view_->hasFocus() && row_ == view_->currentRow();
        state.invisible = !view_->isVisible();
        state.offscreen = !view_->viewport()->rect().intersects(view_->visualRect(row_));
        state.readOnly = true;
        return state;
    }

private:
    FeedView *view_;
    int row_;
};

/// The list. Knows the items that exist by their rows.
class FeedAccessible final : public QAccessibleWidget
{
public:
    explicit FeedAccessible(FeedView *view)
        : QAccessibleWidget(view, QAccessible::List)
        , view_(view)
        , items_(size_t(view->model().count()))
    {
        inserted_ = QObject::connect(&view->model(), &FeedModel::inserted,
                                     [this](int first, int count) { insert(first, count); });
        removed_ = QObject::connect(&view->model(), &FeedModel::removed,
                                    [this](int first, int count) { remove(first, count); });
    }

    ~FeedAccessible() override
    {
        QObject::disconnect(inserted_);
        QObject::disconnect(removed_);
        remove(0, int(items_.size()));
    }

    int childCount() const override { return int(items_.size()); }

    QAccessibleInterface *child(int row) const override
    {
        if (row < 0 || row >= childCount())
            return nullptr;
        QAccessible::Id &id = items_[size_t(row)];
        if (id == 0)
            id = QAccessible::registerAccessibleInterface(new FeedRowAccessible(view_, row));
        return QAccessible::accessibleInterface(id);
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const auto *item = dynamic_cast<const FeedRowAccessible *>(child);
        return item ? item->row() : -1;
    }

    QAccessibleInterface *childAt(int x, int y) const override
    {
        return child(view_->rowAt(view_->viewport()->mapFromGlobal(QPoint(x, y))));
    }

    QAccessibleInterface *focusChild() const override
    {
        return view_->hasFocus() ? child(view_->currentRow()) : nullptr;
    }

private:
    void insert(int first, int count)
    {
        items_.insert(items_.begin() + first, size_t(count), 0);
        number(first + count);
    }

    void remove(int first, int count)
    {
        const int end = first + count;
        for (int row = first; row < end; ++row) {
            if (items_[size_t(row)] != 0)
                QAccessible::deleteAccessibleInterface(items_[size_t(row)]);
        }
        items_.erase(items_.begin() + first, items_.begin() + end);
        number(first);
    }

    void number(int first)
    {
        for (int row = first; row < childCount(); ++row) {
            const QAccessible::Id id = items_[size_t(row)];
            if (id != 0)
                static_cast<FeedRowAccessible *>(QAccessible::accessibleInterface(id))->setRow(row);
        }
    }

    FeedView *view_;
    mutable std::vector<QAccessible::Id> items_; // 0: not asked for yet
    QMetaObject::Connection inserted_;
    QMetaObject::Connection removed_;
};

QAccessibleInterface *accessibleFeed(const QString &, QObject *object)
{
    auto *view = qobject_cast<FeedView *>(object);
    return view ? new FeedAccessible(view) : nullptr;
}

} // namespace

void installFeedAccessibility()
{
    QAccessible::installFactory(accessibleFeed); // which takes each factory once
}

/// Once the feed knows about its rows what the view does.
void FeedView::tellAssistiveTechnology(int row, QAccessible::Event what)
{
    if (!QAccessible::isActive())
        return;
    QTimer::singleShot(0, this, [this, row, what] {
        QAccessibleInterface *feed = QAccessible::queryAccessibleInterface(this);
        QAccessibleInterface *item = feed ? feed->child(row) : nullptr;
        if (!item)
            return;
        QAccessibleEvent event(item, what);
        QAccessible::updateAccessibility(&event);
    });
}

} // namespace kivolo
