// Where circles, members and beams are kept. One implementation per database engine.
#pragma once

#include "records/requests.h"

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <string_view>

namespace kivolo::server {

/// The wall clock, from outside, so that tests own it. Must be callable from any thread.
using Clock = std::function<std::chrono::system_clock::time_point()>;

inline Seconds wholeSeconds(std::chrono::system_clock::time_point time)
{
    return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

/// One beam's place in its circle, whose it is (a member's number) and the bytes it takes in a
/// reply.
struct BeamSize
{
    Tick tick = 0;
    std::int64_t sender = 0;
    std::int64_t bytes = 0;
};

/// What has been committed: the circle's beam of that tick, by that member, or, where `sender` is
/// 0, another set of members or another name of one. By the ledger's numbers; where `circle` is 0,
/// anything may have changed in any circle.
struct Change
{
    std::int64_t circle = 0;
    std::int64_t sender = 0;
    Tick tick = 0;
};

/// A circle as its operator sees it.
struct CircleSummary
{
    std::int64_t number = 0;
    std::string code;
    std::int64_t maxSeats = 0, members = 0;
    std::int64_t bytes = 0; ///< That its beams take in replies.
    Seconds created = 0;
    Seconds lastUse = 0; ///< When somebody was last seen there; where nobody is, the latest beam's.
};

/// What a member, who may have left, has sent to a circle.
struct Sent
{
    std::int64_t sender = 0; ///< The member's number.
    std::int64_t beams = 0, bytes = 0;
};

/// Which of a circle's beams are to be removed: those to which all of that applies.
struct Removal
{
    std::int64_t circle = 0;
    Tick after = 0, until = 0;
    std::int64_t firstSender = 0, lastSender = INT64_MAX;
    Seconds sentBefore = INT64_MAX;
    Seconds openedBefore = INT64_MAX; ///< Of capsules.
};

/// What can be read in microseconds. Throws LedgerUnavailable where the database fails.
class LedgerGlance
{
public:
    virtual ~LedgerGlance() = default;

    /// What the seat of that key has in numbers, its texts left empty. Nothing where it has been
    /// given up or is not that member's.
    virtual std::optional<Seat> seat(std::string_view key, std::string_view memberId) = 0;
};

/// Thrown by LedgerView::announce() where a look reads more than it may here.
struct TooMuchHere
{};

/// What can be read. Each call sees one consistent state of the database.
class LedgerView
{
public:
    virtual ~LedgerView() = default;

    /// Nothing also where the seat has been given up.
    virtual std::optional<Seat> seatOfKey(const std::string &key) = 0;
    /// By the invite code as it is kept: normalizedInviteCode() brings it there.
    virtual std::optional<Circle> circleByCode(const std::string &code) = 0;
    /// How many circles there are at most.
    virtual std::int64_t circlesMade() = 0;
    /// Of all circles, each of which is looked at.
    virtual Tick latestTick() = 0;
    /// The one seat that a device can have.
    virtual std::optional<Seat> seatOfDevice(const std::string &deviceId) = 0;
    /// In the order of joining. `circle` is `Circle::number`.
    virtual std::vector<Member> members(std::int64_t circle) = 0;

    // For the operator, and therefore without a bound on their time.
    /// The first circles after that number, in the order of their numbers.
    virtual std::vector<CircleSummary> circles(std::int64_t after, int limit) = 0;
    virtual std::vector<Sent> sent(std::int64_t circle) = 0;
    /// When the last of a circle's capsules opens; 0 where there is none.
    virtual Seconds lastOpening(std::int64_t circle) = 0;
    /// Those of one sender, with the bodies of sealed capsules.
    virtual std::vector<Beam> beamsOf(std::int64_t circle, std::int64_t sender, Tick after,
                                      Tick until) = 0;

    /// The sizes of the circle's first beams after that tick, in their order.
    virtual std::vector<BeamSize> sizesAfter(std::int64_t circle, Tick tick, int limit) = 0;
    /// The sizes of the circle's latest beams, newest first.
    virtual std::vector<BeamSize> latestSizes(std::int64_t circle, int limit) = 0;
    /// The circle's beams after one tick and up to another, in their order, without those of
    /// `exceptSender`, which is a member's number or 0.
    virtual std::vector<Beam> beams(std::int64_t circle, std::int64_t exceptSender, Tick after,
                                    Tick until) = 0;
    /// To be told before so many bytes of bodies are read. May throw what the look has to let
    /// through: it is then taken anew from its beginning, where that keeps nobody waiting.
    virtual void announce(std::int64_t bytes) = 0;
    /// A time capsule of that circle, with its body even while it is sealed.
    virtual std::optional<Beam> capsule(std::int64_t circle, const std::string &id) = 0;
};

/// What the database takes of its disk.
struct Room
{
    std::int64_t used = 0; ///< By the database, in bytes.
    std::int64_t free = 0; ///< Of the disk, in bytes.

    /// What is sure to be free when that many bytes more are kept: they are written twice, into the
    /// log first.
    std::int64_t freeAfter(std::int64_t bytes) const { return free - 2 * bytes; }
};

/// What can be changed, in one transaction. No other writer changes a circle beside it that one of
/// its seats, its code or its device has led to.
class LedgerTransaction : public LedgerView
{
public:
    /// With what the transaction has added until now.
    virtual Room room() const = 0;

    // The numbers of new rows are the ledger's to give; those of the arguments are not looked at.
    virtual void addCircle(const Founding &founding, const CreateRequest &founder, Seconds now) = 0;
    /// The key that was promised to the device that made the circle; once, then it is forgotten.
    virtual std::optional<std::string> takeFounderKey(std::int64_t circle,
                                                      const std::string &deviceId) = 0;
    virtual void addMember(const Seat &seat, const std::string &deviceId, Seconds now) = 0;
    /// Says when the member, who may be gone, was last seen.
    virtual void markSeen(const Member &member, Seconds seen) = 0;
    /// Gives the member of that number its handle and emoji.
    virtual void renameMember(const Member &member) = 0;
    /// Frees the seat; the member's beams stay.
    virtual void removeMember(const Member &member) = 0;
    /// Returns how many, and counts anew what the circle keeps.
    virtual std::int64_t removeBeams(const Removal &which) = 0;
    virtual void changeCode(std::int64_t circle, const std::string &code) = 0;
    /// One without members and beams.
    virtual void removeCircle(std::int64_t circle) = 0;
    /// Gives some of the room that is not used any more back to the disk. False: that was all, or
    /// the database does so by itself.
    virtual bool giveRoomBack() = 0;
    /// Gives the circle of that number what sending changes of it.
    virtual void stampCircle(const Circle &circle) = 0;
    /// `bytes` is what the beam will take in a reply.
    virtual void addBeam(const Beam &beam, Tick tick, const Member &sender, std::int64_t bytes) = 0;
};

/// A database. read() and write() may be called from any thread. Both see everything that was told
/// to be on disk before they are asked, by whichever process.
class Ledger
{
public:
    /// Runs inside a transaction. `now` is the clock's second. A job that throws leaves no trace.
    /// It can be run again after its transaction failed, so it only assigns to what it captured.
    using Job = std::function<void(LedgerTransaction &, Seconds now)>;
    /// Reads. What it throws is what the asker is told.
    using Look = std::function<void(LedgerView &)>;
    /// Told once, on a thread of the ledger, when the look has been taken or the job is on disk
    /// (nullptr), or when it has failed.
    using Done = std::function<void(std::exception_ptr)>;

    /// What someone waits for: whatever changes in a circle that was seen like this.
    struct Waiting
    {
        std::int64_t circle = 0;
        Tick tick = 0;
        std::int64_t regrouped = 0;
    };

    /// Hears of changes, on a thread of the ledger.
    struct Observer
    {
        std::function<void(const Change &)> tell;
        std::function<bool()> wanted; ///< Whether anyone cares just now. Costs nothing to ask.
        /// Tells, on any thread and soon, what all of them wait for, once for each circle.
        std::function<void(std::function<void(std::vector<Waiting>)>)> whatFor = {};
    };

    virtual ~Ledger() = default;

    /// Tells the observer within some hundredths of a second what was committed while it wants to
    /// hear of that, by whichever process, its own included, or within some tenths where processes
    /// cannot tell each other; and that there is nothing to be waited for any more when the
    /// database can't be used further. To be called once.
    virtual void watch(Observer observer) = 0;

    /// For the thread of the connections alone, which waits for nothing. Lives as long as the
    /// ledger; none where the database is too far away for that.
    virtual LedgerGlance *glance() = 0;

    /// Has the look taken on a thread that may wait. One that could not be begun within the
    /// patience never is.
    virtual void read(Look look, Done done) = 0;

    /// What is known of a job before it runs.
    struct JobFacts
    {
        std::size_t bytes = 0; ///< What it holds of a member's data.
        // Whose circles it changes, those that it makes left out; empty where there is none.
        std::string seatKey = {}, code = {}, device = {};
    };

    /// Puts the job behind those that wait. Beyond a bound of what all that wait hold it is refused
    /// at once, with LedgerUnavailable and on this thread. A job that could not be begun within the
    /// patience never is. Where the outcome of a commit is not known it is told to have failed.
    virtual void write(Job job, JobFacts facts, Done done) = 0;
};

struct LedgerSettings
{
    /// How long a read waits for its turn and a write for that and for other processes, as long as
    /// a member would.
    std::chrono::milliseconds patience{5'000};
    /// How often to look for what other processes have committed to a file.
    std::chrono::milliseconds watchInterval{50};
    /// The same on PostgreSQL, where processes cannot tell each other.
    std::chrono::milliseconds lookInterval{250};
    /// What waits to be written holds of members' data.
    std::size_t queueBytes = 64 << 20;
    /// Pages of the database, of all connections together, and what glances have seen.
    std::size_t cacheBytes = 64 << 20;
    /// How long the log gets, in pages of 4 KiB. Of one that changes again and again only the last
    /// state is copied out of it, so a long log saves half the writing and most of the waiting for
    /// the disk. After a crash the next start reads all of it, within some tenths of a second.
    int logPages = 16'384;
    /// For tests, instead of asking the system: the bytes that the disk has left.
    std::function<std::int64_t()> freeSpace = {};
    /// For tests, instead of the system's: by which patience is measured.
    std::function<std::chrono::steady_clock::time_point()> waitingClock =
        std::chrono::steady_clock::now;
    /// For tests: runs on the writer's thread.
    std::function<void()> beforeCommit = {};
    /// For tests: how many write at a time, where that can be more than one.
    std::size_t writers = 4;
    /// For tests: false as with a database that lets processes tell each other nothing.
    bool notify = true;
    /// For tests: what makes newer tables of this version's, version by version.
    std::vector<std::vector<std::string>> trialMigrations = {};
};

/// Opens `sqlite:PATH`, creating the file where needed, or `postgresql://...`, a database that is
/// there, and creates the tables where they are missing. Throws std::runtime_error with one
/// sentence for the operator.
std::unique_ptr<Ledger> openLedger(std::string_view database, Clock clock,
                                   LedgerSettings settings = {});

} // namespace kivolo::server
