#include "feed/feed_bubbles.h"

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

FeedBubbles::FeedBubbles()
    : metrics_(currentMetrics())
    , bubbles_(mostLaidOut)
{
    setDevicePixelRatio(1);
}

FeedBubbles::~FeedBubbles() = default;

FeedBubbles::Metrics FeedBubbles::currentMetrics()
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

int FeedBubbles::guess(const FeedModel::Row &row, int width) const
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

DoodleLookup FeedBubbles::lookUp(const FeedModel::Row &row) const
{
    if (!row.beam.isDoodle() || row.beam.isSealed())
        return {};
    return doodles_->find(row.revision, row.beam.body);
}

std::optional<FeedLayout::Height> FeedBubbles::measure(const FeedModel::Row &row, int width,
                                                       FeedLayout::Turn &turn)
{
    if (width_ != width)
        bubbles_.clear();
    width_ = width;
    BeamBubble *bubble = bubbles_.object(row.revision);
    if ((!bubble || !bubble->isComplete()) && !turn.isOver()) {
        ++turn.steps;
        if (bubble) {
            bubble->layOutMore(turn.deadline);
        } else {
            bubble = new BeamBubble(row.beam, row.mine, lookUp(row), width, turn.deadline);
            const qsizetype cost = qMin(row.beam.body.size(), BubbleContent::mostText);
            bubbles_.insert(row.revision, bubble, qMax(cost, leastCost)); // less than the bound
        }
    }
    if (!bubble)
        return {};
    return FeedLayout::Height{int(std::ceil(bubble->height())), bubble->isComplete()};
}

void FeedBubbles::forgetLayouts()
{
    bubbles_.clear();
    metrics_ = currentMetrics();
}

void FeedBubbles::setDevicePixelRatio(qreal ratio)
{
    if (ratio == pixelRatio_)
        return;
    pixelRatio_ = ratio;
    doodles_ = std::make_unique<DoodleCache>((doodleBounds * ratio).toSize(), doodleBytes);
    connect(doodles_.get(), &DoodleCache::decoded, this, [this](quint64 revision) {
        bubbles_.remove(revision);
        Q_EMIT decoded(revision);
    });
    bubbles_.clear();
}

QString FeedBubbles::summary(const FeedModel::Row &row, qint64 now) const
{
    return BeamBubble::summary(row.beam, row.mine, doodles_->known(row.revision), now);
}

void FeedBubbles::paint(QPainter &painter, const FeedModel::Row &row, const QPoint &topLeft,
                        qint64 now, bool marked) const
{
    const BeamBubble *bubble = bubbles_.object(row.revision);
    if (!bubble)
        return; // there was no time yet
    bubble->paint(painter, topLeft, painter.clipBoundingRect(), Theme::shared().colors(), now);
    if (!marked)
        return;
    const QRectF mark =
        bubble->bubble(topLeft).adjusted(-markReach, -markReach, markReach, markReach);
    strokeInside(painter, mark, BeamBubble::cornerRadius + markReach, markWidth, Brand::violet());
}

} // namespace kivolo
