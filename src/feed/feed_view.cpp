#include "feed/feed_view.h"

#include "doodle/doodle_url.h"
#include "feed/feed_accessible.h"
#include "feed/time_ago.h"
#include "platform/desktop/pasteboard.h"
#include "style/foreign_text.h"
#include "style/scroll_bar.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QEvent>
#include <QFutureWatcher>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <utility>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

constexpr auto agesPause = 30s; // an age changes once a minute
constexpr int wheelStep = 20;   // a notch of the wheel is three of them

} // namespace

FeedView::FeedView(MainQueue &queue)
    : queue_(queue)
    , layout_([this](int row) { return bubbles_.guess(model_.row(row), rowWidth()); },
              [this](int row, FeedLayout::Turn &turn) {
                  bubbles_.setDevicePixelRatio(devicePixelRatioF());
                  return bubbles_.measure(model_.row(row), rowWidth(), turn);
              })
{
    installFeedAccessibility();
    setFrameShape(QFrame::NoFrame);
    setLayoutDirection(Qt::LeftToRight); // who wrote a row decides on its side, not the language
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent); // lets scrolling move what is painted
    watchModel();
    setUpScrolling();
    setAccessibleName(tr("Feed")); // asks for the rows
}

FeedView::~FeedView() = default;

void FeedView::watchModel()
{
    connect(&model_, &FeedModel::inserted, this, [this](int first, int count) {
        layout_.insert(first, count);
        constexpr int mostNews = 5; // a whole history is not news
        for (int row = first; row < first + count && count <= mostNews; ++row)
            tellAssistiveTechnology(row, QAccessible::ObjectCreated);
    });
    connect(&model_, &FeedModel::removed, this, [this](int first, int count) {
        if (layout_.remove(first, count) && hasFocus())
            tellAssistiveTechnology(currentRow(), QAccessible::Focus);
    });
    connect(&model_, &FeedModel::changed, this,
            [this](int first, int count) { layout_.change(first, count); });
    connect(&bubbles_, &FeedBubbles::decoded, this, [this](quint64 revision) {
        if (const int row = model_.rowOf(revision); row >= 0)
            layout_.change(row, 1);
        settle();
    });
}

void FeedView::setUpScrolling()
{
    setVerticalScrollBar(new ScrollBar);
    verticalScrollBar()->setSingleStep(wheelStep);
    // Always there, so that rows are as wide whether there are many or few.
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(verticalScrollBar(), &QAbstractSlider::actionTriggered, this, &FeedView::endAnimation);
    connect(verticalScrollBar(), &QAbstractSlider::sliderPressed, this, &FeedView::endAnimation);

    nextTurn_.setInterval(0);
    nextTurn_.setSingleShot(true);
    connect(&nextTurn_, &QTimer::timeout, this, [this] {
        layout_.continueWork();
        showChange();
    });
    animation_.setDuration(standardMotion);
    animation_.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&animation_, &QVariantAnimation::valueChanged, this, [this](const QVariant &distance) {
        layout_.scrollToEnd(distance.toInt());
        showChange();
    });
    connect(&animation_, &QAbstractAnimation::finished, this, &FeedView::settle);
}

void FeedView::setBeams(const QList<Beam> &beams, const QString &memberId)
{
    const bool fewerOrMore = beams.size() != model_.count();
    if (fewerOrMore) {
        endAnimation();
        layout_.holdPlace(); // until it begins to move
    }
    model_.update(beams, memberId);
    settle();
    if (fewerOrMore)
        scrollToEnd();
}

bool FeedView::isSettled() const
{
    return !nextTurn_.isActive() && animation_.state() == QAbstractAnimation::Stopped;
}

QString FeedView::summary(int row) const
{
    return bubbles_.summary(model_.row(row), queue_.now());
}

/// The scroll bar stands in the padding on the right, which leaves room for the mark of a row.
int FeedView::rowWidth() const
{
    constexpr int right = FeedGeometry::padding - ScrollBar::barWidth;
    static_assert(right >= FeedBubbles::markReach);
    return qMax(1, viewport()->width() - FeedGeometry::padding - right);
}

QRect FeedView::visualRect(int row) const
{
    if (row < 0 || row >= model_.count())
        return {};
    return {FeedGeometry::padding, layout_.screenTop(row), rowWidth(), layout_.rows().height(row)};
}

int FeedView::rowAt(const QPoint &point) const
{
    if (model_.count() == 0)
        return -1;
    const int row = layout_.rows().rowAt(qint64(layout_.offset()) + point.y());
    return visualRect(row).contains(point) ? row : -1;
}

void FeedView::settle()
{
    layout_.settle();
    showChange();
}

/// Makes the scroll bar and what is painted follow the layout. What nothing but the place of has
/// changed just moves.
void FeedView::showChange()
{
    const QScopedValueRollback moving(movingBar_, true);
    verticalScrollBar()->setRange(0, layout_.lastOffset());
    verticalScrollBar()->setPageStep(qMax(1, viewport()->height()));
    verticalScrollBar()->setValue(layout_.offset());

    const FeedLayout::Change change = layout_.takeChange();
    if (change.repaint || qAbs(change.way) >= viewport()->height())
        viewport()->update();
    else if (change.way != 0)
        viewport()->scroll(0, change.way);

    const bool animated = animation_.state() == QAbstractAnimation::Running;
    if (isVisible() && (animated ? !layout_.isPageMeasured() : layout_.hasWork()))
        nextTurn_.start();
}

void FeedView::scrollContentsBy(int, int)
{
    if (movingBar_)
        return;
    layout_.scrollTo(verticalScrollBar()->value());
    showChange();
}

void FeedView::scrollToEnd()
{
    const int way = layout_.wayToEnd();
    if (way == 0 || !isVisible() || Theme::shared().reducesMotion()) {
        layout_.scrollToEnd();
        showChange();
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
    layout_.holdPlace();
}

void FeedView::resizeEvent(QResizeEvent *event)
{
    layout_.setPage(viewport()->height());
    if (event->size().width() != event->oldSize().width())
        layout_.change(0, model_.count());
    settle();
}

void FeedView::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::LanguageChange) {
        bubbles_.forgetLayouts();
        layout_.change(0, model_.count());
        settle();
    } else if (event->type() == QEvent::PaletteChange) {
        viewport()->update();
    }
}

void FeedView::showEvent(QShowEvent *event)
{
    QAbstractScrollArea::showEvent(event);
    agesAsOf_ = queue_.now();
    ages_ = queue_.every(agesPause, [this] { renewAges(); });
    settle();
}

void FeedView::hideEvent(QHideEvent *event)
{
    ages_.reset();
    endAnimation();
    nextTurn_.stop();
    QAbstractScrollArea::hideEvent(event);
}

void FeedView::renewAges()
{
    const qint64 now = queue_.now();
    const qint64 before = std::exchange(agesAsOf_, now);
    const int height = int(BeamBubble::ageHeight());
    int row = layout_.rows().rowAt(layout_.offset());
    for (; row < model_.count() && layout_.screenTop(row) < viewport()->height(); ++row) {
        const QRect place = visualRect(row);
        const qint64 sent = model_.row(row).beam.created_at;
        if (timeAgo(sent, before) != timeAgo(sent, now))
            viewport()->update(place.adjusted(0, place.height() - height, 0, 0));
    }
}

void FeedView::paintEvent(QPaintEvent *event)
{
    QPainter painter(viewport());
    painter.setClipRect(event->rect());
    painter.fillRect(event->rect(), Theme::shared().colors().window);
    if (model_.count() == 0)
        return;
    constexpr int reach = FeedBubbles::markReach;
    const QRect reached = event->rect().adjusted(0, -reach, 0, reach);
    const qint64 now = queue_.now();
    int row = layout_.rows().rowAt(qint64(layout_.offset()) + reached.top());
    for (; row < model_.count() && layout_.screenTop(row) <= reached.bottom(); ++row) {
        const bool marked = hasFocus() && row == currentRow();
        bubbles_.paint(painter, model_.row(row), visualRect(row).topLeft(), now, marked);
    }
}

void FeedView::keyPressEvent(QKeyEvent *event)
{
    using Step = FeedLayout::Step;
    static const QHash<int, Step> steps{
        {Qt::Key_Up, Step::Up},         {Qt::Key_Down, Step::Down},
        {Qt::Key_PageUp, Step::PageUp}, {Qt::Key_PageDown, Step::PageDown},
        {Qt::Key_Home, Step::Home},     {Qt::Key_End, Step::End},
    };
    if (event == QKeySequence::Copy) {
        copyRow(currentRow());
        return;
    }
    const auto step = steps.constFind(event->key());
    const bool plain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (step == steps.cend() || !plain) {
        event->ignore();
        return;
    }
    endAnimation();
    const int before = currentRow();
    layout_.step(*step);
    showChange();
    currentMoved(before);
    if (*step == Step::End)
        scrollToEnd();
}

void FeedView::mousePressEvent(QMouseEvent *event)
{
    const int row = rowAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton || row < 0)
        return;
    const int before = currentRow();
    layout_.setCurrent(row);
    currentMoved(before);
}

void FeedView::mouseDoubleClickEvent(QMouseEvent *event)
{
    mousePressEvent(event);
}

void FeedView::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    const auto reason = event->reason();
    const bool byKeys = reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason ||
                        reason == Qt::ShortcutFocusReason;
    if (byKeys && !layout_.isSeen(currentRow()))
        layout_.setCurrent(layout_.seenRow(true));
    currentMoved(-1);
}

void FeedView::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

/// Shows the mark in its place, and says so where the row was another one `before`.
void FeedView::currentMoved(int before)
{
    viewport()->update();
    if (hasFocus() && currentRow() != before)
        tellAssistiveTechnology(currentRow(), QAccessible::Focus);
}

void FeedView::copyRow(int row)
{
    if (row < 0)
        return;
    const Beam &beam = model_.row(row).beam;
    if (const std::optional<QString> text = BeamBubble::text(beam)) {
        pasteboard::setString(*text);
        return;
    }
    // The cache holds it only as large as it is shown.
    constexpr QSize asSent(8192, 8192);
    auto *watcher = new QFutureWatcher<std::optional<Doodle>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [watcher, body = beam.body] {
        if (const std::optional<Doodle> doodle = watcher->result())
            pasteboard::setImage(doodle->image);
        else
            pasteboard::setString(cutAtCharacter(body, BubbleContent::mostText));
        watcher->deleteLater();
    });
    watcher->setFuture(decodeDoodleLater(beam.body, asSent));
}

} // namespace kivolo
