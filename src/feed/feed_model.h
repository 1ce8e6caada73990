// The rows of the feed.
#pragma once

#include "api/records.h"

#include <QObject>
#include <vector>

namespace kivolo {

/// How much room a text asks for, as far as that can be said without laying it out.
struct TextExtent
{
    int columns = 0; ///< Letters; what is about twice as wide, such as an emoji, counts twice.
    int breaks = 0;  ///< Between lines.

    static TextExtent of(QStringView text);
};

/// A copy of the session's feed that tells what has changed in it: rows are inserted, removed or
/// changed, never all thrown away, so that a view keeps its place and its measurements. Main thread
/// only.
class FeedModel final : public QObject
{
    Q_OBJECT
public:
    struct Row
    {
        Beam beam;
        bool mine = false;
        /// Changes with what the row shows. No two contents of a model have the same one.
        quint64 revision = 0;
        TextExtent extent; ///< Of the beam's text.
    };

    /// Makes the rows agree with `feed`, oldest first, of which the beams from `memberId` are
    /// one's own. The cost is that of a comparison, however much of the feed is new.
    void update(const QList<Beam> &feed, const QString &memberId);

    int count() const { return int(rows_.size()); }
    const Row &row(int row) const { return rows_[size_t(row)]; }
    /// The row whose content is `revision`; none is -1.
    int rowOf(quint64 revision) const;

Q_SIGNALS:
    void inserted(int first, int count);
    void removed(int first, int count);
    void changed(int first, int count);

private:
    void alignRows(const QList<Beam> &feed, const QString &memberId);
    void insert(int first, const QList<Beam> &feed, qsizetype end, const QString &memberId);
    void remove(int first, int end);
    Row rowFor(const Beam &beam, const QString &memberId);

    std::vector<Row> rows_;
    quint64 nextRevision_ = 1;
};

} // namespace kivolo
