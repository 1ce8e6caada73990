#include "feed/feed_model.h"

#include "feed/beam_bubble.h"

#include <QHash>
#include <algorithm>

namespace kivolo {

TextExtent TextExtent::of(QStringView text)
{
    TextExtent extent;
    for (const QChar c : text.left(BubbleContent::mostText)) {
        const bool wide = c >= QChar(0x2E80) && !c.isSurrogate(); // a pair is two units as it is
        extent.columns += wide ? 2 : 1;
        extent.breaks += c == u'\n' ? 1 : 0;
    }
    return extent;
}

static bool showTheSame(const Beam &a, const Beam &b)
{
    return a.created_at == b.created_at && a.isSealed() == b.isSealed() &&
           a.isBuzz() == b.isBuzz() && a.open_at.has_value() == b.open_at.has_value() &&
           a.isDoodle() == b.isDoodle() && a.from_handle == b.from_handle &&
           a.from_emoji == b.from_emoji && a.body == b.body;
}

FeedModel::Row FeedModel::rowFor(const Beam &beam, const QString &memberId)
{
    const TextExtent extent = beam.isDoodle() ? TextExtent{} : TextExtent::of(beam.body);
    return {beam, beam.from_member == memberId, nextRevision_++, extent};
}

void FeedModel::update(const QList<Beam> &feed, const QString &memberId)
{
    alignRows(feed, memberId);
    int changedFrom = -1;
    const auto endRun = [&](int end) {
        if (changedFrom >= 0)
            Q_EMIT changed(changedFrom, end - changedFrom);
        changedFrom = -1;
    };
    for (int i = 0; i < count(); ++i) {
        const Beam &beam = feed.at(i);
        Row &row = rows_[size_t(i)];
        if (showTheSame(row.beam, beam) && row.mine == (beam.from_member == memberId)) {
            // Two equal copies of a large body are one too many.
            if (row.beam.body.constData() != beam.body.constData())
                row.beam = beam;
            endRun(i);
            continue;
        }
        row = rowFor(beam, memberId);
        if (changedFrom < 0)
            changedFrom = i;
    }
    endRun(count());
}

/// Afterwards the rows have the ids of `feed` in its order. Rows whose ids stay in order stay.
void FeedModel::alignRows(const QList<Beam> &feed, const QString &memberId)
{
    QHash<QString, qsizetype> places; // the last of an id; empty until something stands elsewhere
    const auto place = [&](int row) -> qsizetype {
        if (places.isEmpty()) {
            for (qsizetype i = 0; i < feed.size(); ++i)
                places.insert(feed.at(i).id, i);
        }
        return places.value(rows_[size_t(row)].beam.id, -1);
    };
    for (int row = 0; row < feed.size(); ++row) {
        if (row < count() && rows_[size_t(row)].beam.id == feed.at(row).id)
            continue;
        int gone = row;
        while (gone < count() && place(gone) < row)
            ++gone;
        remove(row, gone);
        const qsizetype next = row < count() ? place(row) : feed.size();
        insert(row, feed, next, memberId);
    }
    remove(int(feed.size()), count());
}

void FeedModel::insert(int first, const QList<Beam> &feed, qsizetype end, const QString &memberId)
{
    if (first >= end)
        return;
    std::vector<Row> fresh;
    for (qsizetype i = first; i < end; ++i)
        fresh.push_back(rowFor(feed.at(i), memberId));
    rows_.insert(rows_.begin() + first, std::make_move_iterator(fresh.begin()),
                 std::make_move_iterator(fresh.end()));
    Q_EMIT inserted(first, int(end) - first);
}

void FeedModel::remove(int first, int end)
{
    if (first >= end)
        return;
    rows_.erase(rows_.begin() + first, rows_.begin() + end);
    Q_EMIT removed(first, end - first);
}

int FeedModel::rowOf(quint64 revision) const
{
    const auto found = std::find_if(rows_.rbegin(), rows_.rend(),
                                    [&](const Row &row) { return row.revision == revision; });
    return int(std::distance(found, rows_.rend())) - 1;
}

} // namespace kivolo
