#include "feed/feed_delegate.h"

#include "style/brand.h"
#include "style/shapes.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QFontMetricsF>
#include <QPainter>
#include <cmath>

namespace kivolo {

namespace {

// In code units, a row counting as at least a hundred: some screens full of ordinary rows. What is
// laid out takes about fifty bytes a unit.
constexpr qsizetype mostLaidOut = 400'000;
constexpr qsizetype leastCost = 100;
constexpr qsizetype doodleBytes = 12 * 1024 * 1024; // two screens full, at two pixels a point
constexpr QSizeF doodleBounds(190, 140);
constexpr qreal markWidth = 2;

Beam probe(bool sealed)
{
    Beam beam;
    beam.sealed = sealed ? 1 : 0;
    return beam;
}

} // namespace

FeedDelegate::FeedDelegate(const MainQueue &queue, QObject *parent)
    : QAbstractItemDelegate(parent)
    , queue_(queue)
    , metrics_(currentMetrics())
    , bubbles_(mostLaidOut)
{
    setDevicePixelRatio(1);
}

FeedDelegate::~FeedDelegate() = default;

FeedDelegate::Metrics FeedDelegate::currentMetrics()
{
    const QFontMetricsF body(textFont(TextStyle::Body));
    const QFontMetricsF callout(bold(textFont(TextStyle::Callout)));
    constexpr qreal wide = 400;
    const auto height = [](bool sealed) {
        return int(std::ceil(BeamBubble(probe(sealed), true, {}, wide).height()));
    };
    const QString sample = QStringLiteral("the quick brown fox jumps over the lazy dog ");
    return {.letter = body.horizontalAdvance(sample) / qreal(sample.size()),
            .line = body.height(),
            .text = height(false) - int(body.height()),
            .badge = height(true) - int(callout.height())};
}

int FeedDelegate::guess(const FeedModel::Row &row, int width) const
{
    if (row.beam.isDoodle() && !row.beam.isSealed())
        return metrics_.text + int(doodleBounds.height());
    if (row.beam.isSealed())
        return metrics_.badge + int(metrics_.line);
    const bool badge = row.beam.open_at || row.beam.isBuzz();
    const qreal column = BeamBubble::textWidth(row.mine, badge, width);
    // A line breaks between words, on average in the middle of one.
    const int perLine = qMax(1, int(column / metrics_.letter) - 2);
    const int lines = 1 + row.extent.breaks + (row.extent.columns - 1) / perLine;
    return (badge ? metrics_.badge : metrics_.text) + int(qMax(1, lines) * metrics_.line);
}

DoodleLookup FeedDelegate::lookUp(const FeedModel::Row &row) const
{
    if (!row.beam.isDoodle() || row.beam.isSealed())
        return {};
    return doodles_->find(QString::number(row.revision), row.beam.body);
}

FeedDelegate::Measure FeedDelegate::measure(const FeedModel::Row &row, int width,
                                            QDeadlineTimer deadline)
{
    if (width_ != width)
        bubbles_.clear();
    width_ = width;
    BeamBubble *bubble = bubbles_.object(row.revision);
    const bool isNew = !bubble || !bubble->isComplete();
    if (!bubble) {
        bubble = new BeamBubble(row.beam, row.mine, lookUp(row), width, deadline);
        const qsizetype cost = qMin(row.beam.body.size(), BubbleContent::mostText);
        bubbles_.insert(row.revision, bubble, qMax(cost, leastCost)); // less than the bound
    } else if (isNew) {
        bubble->layOutMore(deadline);
    }
    return {int(std::ceil(bubble->height())), bubble->isComplete(), isNew};
}

bool FeedDelegate::isLaidOut(const FeedModel::Row &row, int width) const
{
    const BeamBubble *bubble = width == width_ ? bubbles_.object(row.revision) : nullptr;
    return bubble && bubble->isComplete();
}

void FeedDelegate::forgetLayouts()
{
    bubbles_.clear();
    metrics_ = currentMetrics();
}

void FeedDelegate::setDevicePixelRatio(qreal ratio)
{
    if (ratio == pixelRatio_)
        return;
    pixelRatio_ = ratio;
    doodles_ = std::make_unique<DoodleCache>((doodleBounds * ratio).toSize(), doodleBytes);
    connect(doodles_.get(), &DoodleCache::decoded, this, [this](const QString &id) {
        const quint64 revision = id.toULongLong();
        bubbles_.remove(revision);
        Q_EMIT decoded(revision);
    });
    bubbles_.clear();
}

QString FeedDelegate::summary(const FeedModel::Row &row) const
{
    const DoodleLookup::State doodle = doodles_->known(QString::number(row.revision));
    return BeamBubble::summary(row.beam, row.mine, doodle, queue_.now());
}

void FeedDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                         const QModelIndex &index) const
{
    const auto *model = qobject_cast<const FeedModel *>(index.model());
    const BeamBubble *bubble = bubbles_.object(model->row(index.row()).revision);
    if (!bubble)
        return; // there was no time yet
    bubble->paint(*painter, option.rect.topLeft(), painter->clipBoundingRect(),
                  Theme::shared().colors(), queue_.now());
    if (!(option.state & QStyle::State_HasFocus))
        return;
    const QRectF mark = bubble->bubble(option.rect.topLeft())
                            .adjusted(-markReach, -markReach, markReach, markReach);
    strokeInside(*painter, mark, BeamBubble::cornerRadius + markReach, markWidth, Brand::violet());
}

QSize FeedDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const auto *model = qobject_cast<const FeedModel *>(index.model());
    return {option.rect.width(), guess(model->row(index.row()), option.rect.width())};
}

} // namespace kivolo
