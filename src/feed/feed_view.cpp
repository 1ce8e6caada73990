#include "feed/feed_view.h"

#include "feed/beam_bubble.h"
#include "feed/feed_accessible.h"
#include "feed/feed_delegate.h"
#include "feed/feed_model.h"
#include "feed/time_ago.h"
#include "style/scroll_bar.h"
#include "style/theme.h"

#include <QEvent>
#include <QPainter>
#include <utility>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr auto layoutBudget = 5ms; // leaves as much of a frame's time for painting
constexpr auto agesPause = 30s;    // an age changes once a minute

} // namespace

FeedView::FeedView(MainQueue &queue, QWidget *parent)
    : QAbstractItemView(parent)
    , queue_(queue)
    , model_(new FeedModel(this))
    , delegate_(new FeedDelegate(queue, this))
    , turnBudget_(layoutBudget)
{
    installFeedAccessibility();
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setSelectionMode(NoSelection);
    setEditTriggers(NoEditTriggers);
    setLayoutDirection(Qt::LeftToRight); // who wrote a row decides on its side, not the language
    setVerticalScrollBar(new ScrollBar(this));
    setVerticalScrollMode(ScrollPerPixel);
    // Always there, so that rows are as wide whether there are many or few.
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent); // lets scrolling move what is painted

    connect(verticalScrollBar(), &QAbstractSlider::actionTriggered, this, &FeedView::endAnimation);
    connect(verticalScrollBar(), &QAbstractSlider::sliderPressed, this, &FeedView::endAnimation);
    connect(delegate_, &FeedDelegate::decoded, this, [this](quint64 revision) {
        if (const int row = model_->rowOf(revision); row >= 0)
            dataChanged(model_->index(row), model_->index(row), {});
        settle();
    });
    nextTurn_.setInterval(0);
    nextTurn_.setSingleShot(true);
    connect(&nextTurn_, &QTimer::timeout, this, &FeedView::layOutNeighbours);
    animation_.setDuration(standardMotion);
    animation_.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&animation_, &QVariantAnimation::valueChanged, this, [this](const QVariant &distance) {
        anchor_ = {.atEnd = true, .distance = distance.toInt()};
        settle();
    });

    connect(&animation_, &QAbstractAnimation::finished, this, &FeedView::settle);

    setItemDelegate(delegate_);
    setModel(model_);
    setAccessibleName(tr("Feed")); // asks for the rows
}

FeedView::~FeedView() = default;

void FeedView::setBeams(const QList<Beam> &beams, const QString &memberId)
{
    const bool fewerOrMore = beams.size() != model_->rowCount();
    if (fewerOrMore) {
        endAnimation();
        if (model_->rowCount() > 0)
            anchor_ = rowAnchorAt(offset_); // what is visible stays, until it begins to move
    }
    model_->update(beams, memberId);
    settle();
    if (fewerOrMore)
        scrollToEnd();
}

void FeedView::rowsInserted(const QModelIndex &parent, int first, int last)
{
    std::vector<int> guesses;
    for (int row = first; row <= last; ++row)
        guesses.push_back(delegate_->guess(model_->row(row), rowWidth()));
    geometry_.insert(first, guesses);
    QAbstractItemView::rowsInserted(parent, first, last);
    viewport()->update();
    // A whole history is not news.
    constexpr int mostNews = 5;
    for (int row = first; row <= last && last - first < mostNews; ++row)
        tellAssistiveTechnology(row, QAccessible::ObjectCreated);
}

void FeedView::rowsAboutToBeRemoved(const QModelIndex &parent, int first, int last)
{
    QAbstractItemView::rowsAboutToBeRemoved(parent, first, last);
    geometry_.remove(first, last - first + 1);
    viewport()->update();
}

void FeedView::dataChanged(const QModelIndex &topLeft, const QModelIndex &bottomRight,
                           const QList<int> &roles)
{
    guessHeights(topLeft.row(), bottomRight.row());
    QAbstractItemView::dataChanged(topLeft, bottomRight, roles);
    viewport()->update();
}

void FeedView::guessHeights(int first, int last)
{
    for (int row = first; row <= last; ++row)
        geometry_.set(row, delegate_->guess(model_->row(row), rowWidth()), false);
}

void FeedView::guessAllHeights()
{
    std::vector<int> guesses;
    for (int row = 0; row < model_->rowCount(); ++row)
        guesses.push_back(delegate_->guess(model_->row(row), rowWidth()));
    geometry_.remove(0, geometry_.count());
    geometry_.insert(0, guesses);
}

void FeedView::resizeEvent(QResizeEvent *event)
{
    if (event->size().width() != event->oldSize().width())
        guessAllHeights();
    QAbstractItemView::resizeEvent(event); // calls updateGeometries()
}

void FeedView::updateGeometries()
{
    settle();
}

void FeedView::changeEvent(QEvent *event)
{
    QAbstractItemView::changeEvent(event);
    switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::LanguageChange:
        delegate_->forgetLayouts();
        guessAllHeights();
        settle();
        viewport()->update();
        break;
    case QEvent::PaletteChange:
        viewport()->update();
        break;
    default:
        break;
    }
}

void FeedView::showEvent(QShowEvent *event)
{
    QAbstractItemView::showEvent(event);
    agesAsOf_ = queue_.now();
    ages_ = queue_.every(agesPause, [this] { renewAges(); });
    settle();
}

void FeedView::hideEvent(QHideEvent *event)
{
    ages_.reset();
    endAnimation();
    nextTurn_.stop();
    QAbstractItemView::hideEvent(event);
}

void FeedView::renewAges()
{
    const qint64 now = queue_.now();
    const qint64 before = std::exchange(agesAsOf_, now);
    const int height = int(BeamBubble::ageHeight());
    for (int row = geometry_.rowAt(offset_); row < geometry_.count(); ++row) {
        const QRect place = visualRect(model_->index(row));
        if (place.top() >= viewport()->height())
            break;
        const qint64 sent = model_->row(row).beam.created_at;
        if (timeAgo(sent, before) != timeAgo(sent, now))
            viewport()->update(place.adjusted(0, place.height() - height, 0, 0));
    }
}

void FeedView::paintEvent(QPaintEvent *event)
{
    QPainter painter(viewport());
    painter.setClipRect(event->rect());
    painter.fillRect(event->rect(), Theme::shared().colors().window);
    if (geometry_.count() == 0)
        return;
    QStyleOptionViewItem option;
    option.palette = palette();
    const QRect reached =
        event->rect().adjusted(0, -FeedDelegate::markReach, 0, FeedDelegate::markReach);
    for (int row = geometry_.rowAt(offset_ + reached.top()); row < geometry_.count(); ++row) {
        const QModelIndex index = model_->index(row);
        option.rect = visualRect(index);
        if (option.rect.top() > reached.bottom())
            break;
        const bool marked = marksCurrent_ && hasFocus() && index == currentIndex();
        option.state = marked ? QStyle::State_HasFocus : QStyle::State_None;
        delegate_->paint(&painter, option, index);
    }
}

QRect FeedView::visualRect(const QModelIndex &index) const
{
    if (!index.isValid() || index.row() >= geometry_.count())
        return {};
    return {FeedGeometry::padding, screenTop(index.row()), rowWidth(),
            geometry_.height(index.row())};
}

QModelIndex FeedView::indexAt(const QPoint &point) const
{
    if (geometry_.count() == 0)
        return {};
    const QModelIndex index = model_->index(geometry_.rowAt(qint64(offset_) + point.y()));
    return visualRect(index).contains(point) ? index : QModelIndex();
}

QString FeedView::summary(int row) const
{
    return delegate_->summary(model_->row(row));
}

} // namespace kivolo
