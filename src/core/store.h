// The session: who this device is, its circle, the feed, and everything that changes them.
#pragma once

#include "api/records.h"
#include "platform/foundation/main_queue.h"
#include "platform/foundation/observable.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QSet>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

namespace kivolo {

/// What a member is about to send.
struct Draft
{
    QString type; ///< `Beam::text` or `Beam::doodle`.
    QString body;
    std::optional<QString> effect = {};
    std::optional<qint64> openAt = {}; ///< Seconds since 1970.
};

/// The one observable object of a running program, confined to the main thread. Its operations
/// are coroutines that suspend there while their requests run in the background; several may be
/// under way at once, and each applies its result to the state as it finds it then. None lets an
/// error out: what the user started reports to errorText, all else tries again at its next
/// occasion.
class Store : public ObservableObject, public std::enable_shared_from_this<Store>
{
    Q_OBJECT
public:
    /// Which top-level view the window shows.
    enum class Screen { loading, onboarding, joined };
    Q_ENUM(Screen)

    /// How the store reaches the desktop without knowing it.
    struct Overlays
    {
        /// Shows a beam as a card, or as a buzz when `shake` is true.
        std::function<void(const Beam &, bool shake)> show;
        /// Shows a sealed capsule's countdown and calls `onOpen` with it when its time has come.
        std::function<void(const Beam &, std::function<void(const Beam &)> onOpen)> addCapsule;
    };

    /// Makes the store, which asks for nothing before begin(). `deviceId` is this installation's
    /// identity towards the server. `queue` must outlive the event loop.
    static std::shared_ptr<Store> create(MainQueue &queue, QString deviceId, Overlays overlays);
    /// Starts restore() and checkUpdate(). To be called once.
    void begin();
    ~Store() override;

    Published<Screen> screen{this, Screen::loading};
    Published<QString> code{this};   ///< The circle's invite code; before joining, what is typed.
    Published<QString> handle{this}; ///< The user's display name, as typed.
    Published<QList<Member>> members{this}; ///< In the server's order.
    Published<QString> circleId{this};      ///< Empty: in no circle.
    Published<QString> memberId{this};      ///< This device's seat in the circle.
    Published<qint64> maxSeats{this, 5};
    Published<std::optional<QString>> errorText{this}; ///< The last error to show.
    Published<bool> sending{this, false};
    Published<QList<Beam>> feed{this};                  ///< Oldest first.
    Published<std::optional<VersionInfo>> update{this}; ///< A newer version on offer.
    /// The download address of a mandatory update; once present, it stays.
    Published<std::optional<QString>> forceUpdate{this};

    /// The member's own emoji, "💜" while the members are not known.
    QString myEmoji() const;

    /// Applies the members and the code of a status answer, and nothing else of it.
    void applyStatus(const MeResponse &status);
    /// Leaves the circle on this device; the server is not told.
    void leave();

    /// Starts a circle with the name in `handle`, then joins it.
    QCoro::Task<> createCircle();
    /// Joins the circle whose code is in `code` with the name in `handle`.
    QCoro::Task<> join();

    /// Posts one beam; once the server has accepted it, adds it to the feed.
    QCoro::Task<> send(Draft draft);
    /// Replaces the feed by the circle's latest beams.
    QCoro::Task<> loadHistory();

    /// Brings the members up to date, then the feed. Once `stop` is requested it begins and applies
    /// nothing more.
    QCoro::Task<> refreshStatusAndHistory(std::stop_token stop);
    /// Asks for the members every 3 seconds until there are two, or until `stop` is requested.
    QCoro::Task<> refreshUntilJoined(std::stop_token stop);

    /// Starts polling afresh, in place of a polling that runs, whose last answer is dropped.
    void startPolling();
    /// One polling cycle; `tick` counts those completed since the start.
    QCoro::Task<> poll(qint64 tick);
    /// Puts an opened capsule into the feed and shows it.
    void revealCapsule(const Beam &beam);

    /// Offers a newer version if the landing site has one.
    QCoro::Task<> checkUpdate();
    /// Whether version `a` is higher than `b`: dotted integers, what is no integer counts as 0.
    static bool isNewer(const QString &a, const QString &b);

private:
    Store(MainQueue &queue, QString deviceId, Overlays overlays);
    static QString defaultEmoji() { return QStringLiteral("💜"); }

    QCoro::Task<> restore();
    QCoro::Task<> refreshStatus() { return refreshStatus(std::stop_token()); }
    QCoro::Task<> refreshStatus(std::stop_token stop);
    static QCoro::Task<> pollUntilStopped(std::weak_ptr<Store> weakStore, MainQueue *queue,
                                          std::stop_token stop);
    static QCoro::Task<> openCapsule(std::shared_ptr<Store> store, Beam sealed);
    void surfaceCapsule(const Beam &beam);
    void receive(const BeamsResponse &reply);

    MainQueue &queue_;
    const Overlays overlays_;
    const QString deviceId_;

    std::optional<std::stop_source> pollTask_;
    qint64 lastBeamTime_ = 0;   // the server's clock at the last successful poll
    bool popupsPrimed_ = false; // until the first successful poll, beams go to the feed only
    QSet<QString> seenBeamIds_; // every id put into the feed since the last start
    // Counts the stays in circles. An answer that was asked for in an earlier one is dropped: what
    // it brings may be another circle's.
    quint64 stay_ = 0;
};

} // namespace kivolo
