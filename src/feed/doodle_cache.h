// Decoded doodles of a feed, as many as a bound allows.
#pragma once

#include "doodle/doodle_url.h"

#include <QCache>
#include <QHash>
#include <QObject>
#include <QSet>

namespace kivolo {

/// What is known about the body of a doodle.
struct DoodleLookup
{
    enum State { Pending, Picture, NoPicture };
    State state = Pending;
    QImage image; ///< For a Picture: no larger than the bounds of the cache, proportions kept.
    /// The image's, in pixels. Known from the first time on, also while a picture that was dropped
    /// is decoded again.
    QSize size{};
};

/// Decodes each body once on the thread pool and keeps the pictures used last. Main thread only.
class DoodleCache : public QObject
{
    Q_OBJECT
public:
    /// Pictures are scaled down to `bounds` pixels; together they take no more than `bytes`.
    DoodleCache(const QSize &bounds, qsizetype bytes);
    ~DoodleCache() override;

    /// What is known about doodle `id`. The first question has `body` decoded.
    DoodleLookup find(quint64 id, const QString &body);
    /// What earlier questions have found out about `id`; asks nothing itself.
    DoodleLookup::State known(quint64 id) const;

Q_SIGNALS:
    /// find() has an answer for `id` now.
    void decoded(quint64 id);

private:
    void decode(quint64 id, const QString &body);

    QSize bounds_;
    QCache<quint64, QImage> pictures_;
    QHash<quint64, QSize> sizes_;
    QSet<quint64> noPictures_;
    QSet<quint64> pending_;
};

} // namespace kivolo
