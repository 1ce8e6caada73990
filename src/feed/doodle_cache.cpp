#include "feed/doodle_cache.h"

#include <QFutureWatcher>

namespace kivolo {

DoodleCache::DoodleCache(const QSize &bounds, qsizetype bytes)
    : bounds_(bounds)
    , pictures_(bytes)
{}

DoodleCache::~DoodleCache() = default;

DoodleLookup DoodleCache::find(quint64 id, const QString &body)
{
    if (const QImage *image = pictures_.object(id))
        return {DoodleLookup::Picture, *image, image->size()};
    if (noPictures_.contains(id))
        return {DoodleLookup::NoPicture, {}, {}};
    if (!pending_.contains(id))
        decode(id, body);
    return {DoodleLookup::Pending, {}, sizes_.value(id)};
}

DoodleLookup::State DoodleCache::known(quint64 id) const
{
    if (noPictures_.contains(id))
        return DoodleLookup::NoPicture;
    return sizes_.contains(id) ? DoodleLookup::Picture : DoodleLookup::Pending;
}

void DoodleCache::decode(quint64 id, const QString &body)
{
    pending_.insert(id);
    // A watcher, not a continuation: it dies with this object and then delivers nothing.
    auto *watcher = new QFutureWatcher<std::optional<Doodle>>(this);
    connect(watcher, &QFutureWatcherBase::finished, this, [this, watcher, id] {
        pending_.remove(id);
        if (const std::optional<Doodle> doodle = watcher->result()) {
            sizes_.insert(id, doodle->image.size());
            pictures_.insert(id, new QImage(doodle->image),
                             qMin(doodle->image.sizeInBytes(), pictures_.maxCost()));
        } else {
            noPictures_.insert(id);
        }
        watcher->deleteLater();
        Q_EMIT decoded(id);
    });
    watcher->setFuture(decodeDoodleLater(body, bounds_));
}

} // namespace kivolo
