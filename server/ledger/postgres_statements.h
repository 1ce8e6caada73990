// The ledger's view and its transactions on a connection to PostgreSQL.
#pragma once

#include "postgres_queries.h"
#include "postgres_session.h"
#include "statements.h"

#include <unordered_set>

namespace kivolo::server {

/// A transaction works on the circles that were locked at its beginning. Where its jobs come to
/// others, it fails with PostgresConflict: who they concern has changed since.
class PostgresStatements final : public Statements<PostgresConnection>
{
public:
    explicit PostgresStatements(PostgresConnection &connection);

    std::optional<Circle> circleByCode(const std::string &code) override;
    std::optional<Seat> seatOfKey(const std::string &key) override;
    std::optional<Seat> seatOfDevice(const std::string &deviceId) override;
    std::int64_t circlesMade() override;
    std::vector<Beam> beams(std::int64_t circle, std::int64_t exceptSender, Tick after,
                            Tick until) override;
    void announce(std::int64_t bytes) override;

    void addCircle(const Founding &founding, const CreateRequest &founder, Seconds now) override;
    void addMember(const Seat &seat, const std::string &deviceId, Seconds now) override;
    void markSeen(const Member &member, Seconds seen) override;
    void addBeam(const Beam &beam, Tick tick, const Member &sender, std::int64_t bytes) override;

    using Facts = std::vector<const Ledger::JobFacts *>;
    /// At the beginning of a transaction: locks the circles of those jobs.
    void begin(const Facts &jobs, const Room &room);
    /// What there is to be told of it once it is committed.
    std::vector<Change> takeChanges() { return std::exchange(changes_, {}); }

    std::int64_t size();

private:
    void regroup(std::int64_t circle) override;
    void requireLocked(std::int64_t circle) const;

    bool changing_ = false;
    std::unordered_set<std::int64_t> locked_;
    std::vector<Change> changes_;
    std::int64_t announced_ = 0;

    Select<sql::NextCircle> nextCircle_{connection_};
    Select<sql::CirclesNumbered> circlesNumbered_{connection_};
    Select<sql::LockCircles> lockCircles_{connection_};
    Select<sql::RegroupingsOf> regroupingsOf_{connection_};
    Select<sql::SizeOfDatabase> sizeOfDatabase_{connection_};
    Command<sql::MarkSeenUnlessLocked> markSeen_{connection_};
    Command<sql::CountRegrouping> regroup_{connection_};
};

} // namespace kivolo::server
