#include "overlays/beam_notifications.h"

#include "doodle/doodle_url.h"
#include "overlays/capsule_card.h"
#include "overlays/incoming_beam_view.h"
#include "style/foreign_text.h"
#include "style/shapes.h"
#include "style/text_style.h"

#include <algorithm>

namespace kivolo {

using namespace std::chrono_literals;

namespace {

// As long as the cards stay.
constexpr auto popupLife = 8s;
constexpr auto buzzLife = 12s;
constexpr MainQueue::Duration tickInterval = 1s;
constexpr QSize pictureSize(256, 192);
// What a card holds; no notification shows more.
constexpr qsizetype mostText = 1024;

} // namespace

BeamNotifications::BeamNotifications(Surroundings surroundings)
    : surroundings_(std::move(surroundings))
{}

BeamNotifications::~BeamNotifications() = default;

void BeamNotifications::show(const Beam &beam, bool shake)
{
    assertOnMainThread();
    Notification notification{.summary = isolated(singleLine(beam.from_handle)),
                              .body = cutAtCharacter(beam.body, mostText),
                              .picture = {},
                              .life = shake ? buzzLife : popupLife,
                              .urgent = shake};
    if (shake) {
        notification.summary += QStringLiteral(" · ") + IncomingBeamView::tr("Buzz");
        surroundings_.activateApplication();
    }
    if (beam.isDoodle())
        showDoodle(beam, std::move(notification));
    else
        surroundings_.notify(notification);
}

void BeamNotifications::showDoodle(const Beam &beam, Notification notification)
{
    const auto finish = [this, notification](const std::optional<Doodle> &doodle) {
        Notification finished = notification;
        if (doodle) {
            finished.body = IncomingBeamView::tr("Doodle");
            finished.picture = framedPicture(doodle->image, pictureSize, 1);
        }
        surroundings_.notify(finished);
    };
    decodeDoodleLater(beam.body, pictureSize).then(this, finish);
}

void BeamNotifications::add(const Beam &beam, OpenAction onOpen)
{
    assertOnMainThread();
    const bool known = std::any_of(items_.begin(), items_.end(),
                                   [&](const Item &item) { return item.beam.id == beam.id; });
    if (known)
        return;
    items_.push_back({beam, std::move(onOpen)});
    if (!timer_)
        timer_ = surroundings_.queue.every(tickInterval, [this] { tick(); });
    // Any number can stand for the time, so that the difference might not be one.
    const qint64 now = std::max<qint64>(0, surroundings_.queue.now());
    const qint64 left = std::max(beam.open_at.value_or(0), now) - now;
    const QString sender = isolated(singleLine(beam.from_handle));
    surroundings_.notify({.summary = CapsuleCard::tr("%1's time capsule").arg(sender),
                          .body = CapsuleCard::tr("Opens in %1").arg(CapsuleCard::fmt(left)),
                          .picture = {},
                          .life = popupLife});
}

void BeamNotifications::tick()
{
    const qint64 now = surroundings_.queue.now();
    const auto isDue = [now](const Item &item) { return item.beam.open_at.value_or(0) <= now; };
    // Apart first, because an onOpen may add a capsule.
    std::vector<Item> due;
    std::copy_if(items_.begin(), items_.end(), std::back_inserter(due), isDue);
    std::erase_if(items_, isDue);
    for (const Item &item : due)
        item.onOpen(item.beam);
    if (items_.empty())
        timer_.reset();
}

} // namespace kivolo
