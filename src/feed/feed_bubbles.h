// Measures and paints the rows of the feed.
#pragma once

#include "feed/beam_bubble.h"
#include "feed/doodle_cache.h"
#include "feed/feed_layout.h"
#include "feed/feed_model.h"

#include <QCache>
#include <memory>

namespace kivolo {

/// Keeps the rows that were laid out last, as many as a bound allows, and the doodles in them. Main
/// thread only.
class FeedBubbles final : public QObject
{
    Q_OBJECT
public:
    FeedBubbles();
    ~FeedBubbles() override;

    /// See FeedLayout. Rows are `width` wide.
    int guess(const FeedModel::Row &row, int width) const;
    std::optional<FeedLayout::Height> measure(const FeedModel::Row &row, int width,
                                              FeedLayout::Turn &turn);
    /// Throws away what is laid out: the font has changed.
    void forgetLayouts();
    /// Doodles are decoded for this many pixels a point.
    void setDevicePixelRatio(qreal ratio);

    /// The row in words, for assistive technology. Lays nothing out.
    QString summary(const FeedModel::Row &row, qint64 now) const;

    /// Paints what is laid out of the row.
    void paint(QPainter &painter, const FeedModel::Row &row, const QPoint &topLeft, qint64 now,
               bool marked) const;
    /// How far the mark of a row reaches beyond it.
    static constexpr int markReach = 4;

Q_SIGNALS:
    /// The doodle with this FeedModel::Row::revision has to be measured again.
    void decoded(quint64 revision);

private:
    /// What a guess is made from.
    struct Metrics
    {
        qreal letter; // the width of one, on average
        qreal line;
        int text;  // all but the lines
        int badge; // all but the title's lines
    };
    static Metrics currentMetrics();
    DoodleLookup lookUp(const FeedModel::Row &row) const;

    Metrics metrics_;
    QCache<quint64, BeamBubble> bubbles_; // by revision
    int width_ = 0;                       // of the bubbles
    qreal pixelRatio_ = 0;
    std::unique_ptr<DoodleCache> doodles_; // by revision
};

} // namespace kivolo
