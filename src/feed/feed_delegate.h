// Lays out and paints the rows of the feed.
#pragma once

#include "feed/beam_bubble.h"
#include "feed/doodle_cache.h"
#include "feed/feed_model.h"
#include "platform/foundation/main_queue.h"

#include <QAbstractItemDelegate>
#include <QCache>
#include <QDeadlineTimer>
#include <memory>

namespace kivolo {

/// Keeps the rows that were laid out last, as many as a bound allows, and the doodles in them.
/// Indexes are those of a FeedModel. Main thread only.
class FeedDelegate final : public QAbstractItemDelegate
{
    Q_OBJECT
public:
    struct Measure
    {
        int height; ///< Points.
        bool exact; ///< Laid out in full; otherwise the height is a guess.
        bool isNew; ///< This call has laid something out.
    };

    explicit FeedDelegate(const MainQueue &queue, QObject *parent = nullptr);
    ~FeedDelegate() override;

    /// What the height of a row, `width` wide, will probably be. Cheap.
    int guess(const FeedModel::Row &row, int width) const;
    /// Lays out as much of the row as `deadline` allows, beginning where an earlier call ended.
    Measure measure(const FeedModel::Row &row, int width, QDeadlineTimer deadline);
    /// Whether measure() has nothing left to do.
    bool isLaidOut(const FeedModel::Row &row, int width) const;
    /// Throws away what is laid out: the font has changed.
    void forgetLayouts();
    /// Doodles are decoded for this many pixels a point.
    void setDevicePixelRatio(qreal ratio);

    /// The row in words, for assistive technology. Lays nothing out.
    QString summary(const FeedModel::Row &row) const;

    /// Paints what is laid out of the row. QStyle::State_HasFocus marks it.
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

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

    const MainQueue &queue_;
    Metrics metrics_;
    QCache<quint64, BeamBubble> bubbles_; // by revision
    int width_ = 0;                       // of the bubbles
    qreal pixelRatio_ = 0;
    std::unique_ptr<DoodleCache> doodles_;
};

} // namespace kivolo
