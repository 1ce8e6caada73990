// A connection to PostgreSQL, or to an engine that speaks its protocol, through SOCI.
#pragma once

#include "records/refusal.h"

#include <chrono>
#include <condition_variable>
#include <libpq-fe.h>
#include <map>
#include <mutex>
#include <soci/postgresql/soci-postgresql.h>
#include <soci/soci.h>
#include <thread>

namespace kivolo::server {

/// Where a database is.
class PostgresAddress
{
public:
    /// From `postgresql://...`, with what connections need besides; of several hosts, the one that
    /// takes writes. Throws std::runtime_error with a sentence.
    explicit PostgresAddress(const std::string &uri);

    static bool isOne(std::string_view database)
    {
        return database.starts_with("postgresql://") || database.starts_with("postgres://");
    }

    /// For libpq. May hold a password.
    const std::string &connectString() const { return connectString_; }
    /// For the operator, without secrets.
    const std::string &name() const { return name_; }

private:
    std::string connectString_;
    std::string name_;
};

/// The connection has been lost, or its server takes no writes (any more). Whatever was not
/// committed is undone; of what was just being committed nobody knows.
class PostgresLost : public LedgerUnavailable
{
public:
    using LedgerUnavailable::LedgerUnavailable;
};

/// Others were quicker, as they may be: what was undone is worth another attempt.
class PostgresConflict : public LedgerUnavailable
{
public:
    using LedgerUnavailable::LedgerUnavailable;
};

/// Closes connections that take too long, whatever their servers do: one that was stopped answers
/// nothing, and its machine goes on as if nothing was wrong. Callable from any thread.
class PostgresWatchdog
{
public:
    using Time = std::chrono::steady_clock::time_point;

    PostgresWatchdog();

    /// Whatever the connection does has to have come to an end by then, or a tenth of a second
    /// after. The connection outlives this.
    class Limit
    {
    public:
        Limit(PostgresWatchdog &watchdog, int socket, Time end);
        Limit(const Limit &) = delete;
        Limit &operator=(const Limit &) = delete;
        ~Limit();

    private:
        PostgresWatchdog &watchdog_;
        std::multimap<Time, int>::iterator place_;
    };

private:
    void watchUntil(const std::stop_token &stop);

    std::mutex mutex_;
    std::multimap<Time, int> sockets_; ///< By when their time is over.
    std::condition_variable_any busy_;
    std::jthread thread_;
};

/// One thread at a time. After a failure it is of no more use.
class PostgresConnection
{
public:
    /// No statement waits for longer than the patience for a lock or for the end of a transaction
    /// that has been left open. Throws LedgerUnavailable.
    PostgresConnection(const PostgresAddress &address, std::chrono::milliseconds patience,
                       PostgresWatchdog &watchdog);

    soci::session &session() { return session_; }
    PGconn *handle() const;
    int socket() const { return PQsocket(handle()); }

    /// Whether the database has that many parameters and columns for the statement. Throws
    /// PostgresLost.
    static bool takes(soci::statement &statement, std::size_t parameters, std::size_t columns);

    /// Runs a statement of this connection to its end and calls `row` for each row in its bound
    /// variables.
    template<typename Row>
    void forEachRow(soci::statement &statement, Row &&row)
    {
        guarded([&] {
            for (bool more = statement.execute(true); more; more = statement.fetch())
                row();
        });
        auto &backend = static_cast<soci::postgresql_statement_backend &>(*statement.get_backend());
        if (!backend.hasIntoElements_)
            changes_ += backend.get_affected_rows();
    }

    /// Rows that it has added, changed and removed since it was opened, undone ones included.
    std::int64_t changes() const { return changes_; }

    /// Runs what stands for itself.
    void execute(const std::string &sql)
    {
        guarded([&] { session_ << sql; });
    }

    /// Runs something that asks the database. Turns SOCI's failures into ours.
    template<typename Action>
    auto guarded(Action &&action) -> decltype(action())
    {
        try {
            return action();
        } catch (const soci::postgresql_soci_error &error) {
            fail(error.sqlstate(), error.get_error_message());
        } catch (const soci::soci_error &error) {
            fail("", error.get_error_message());
        }
    }

    /// A commit's success says that everything else was done for it that the database promises.
    bool takeWarning() { return std::exchange(warned_, false); }

private:
    [[noreturn]] void fail(const std::string &state, std::string message) const;

    soci::session session_;
    bool warned_ = false;
    std::int64_t changes_ = 0;
};

/// What is not committed is undone when it is destroyed. Throws as the connection does.
class PostgresTransaction
{
public:
    explicit PostgresTransaction(PostgresConnection &connection);
    PostgresTransaction(const PostgresTransaction &) = delete;
    PostgresTransaction &operator=(const PostgresTransaction &) = delete;
    ~PostgresTransaction();
    /// On disk when it returns. Throws PostgresConflict where it has certainly not been done, and
    /// else what says that nobody knows.
    void commit();

private:
    PostgresConnection &connection_;
    bool open_ = true;
};

} // namespace kivolo::server
