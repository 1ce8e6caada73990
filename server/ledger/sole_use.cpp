#include "sole_use.h"

#include "ledger.h"
#include "postgres_schema.h"
#include "sqlite_file.h"

#include <thread>

namespace kivolo::server {

namespace {

constexpr const char *inUse = "a server uses it; that has to be stopped first";
constexpr std::chrono::seconds patience(5);

// Every process that has opened such a file has a lock on it.
class SoleUseOfFile final : public SoleUse
{
public:
    explicit SoleUseOfFile(const std::string &database)
    {
        openLedger(database, std::chrono::system_clock::now); // which brings it up to date
        session_.open(soci::sqlite3, "db=\"" + database.substr(database.find(':') + 1) + "\"");
        session_ << "PRAGMA locking_mode = EXCLUSIVE";
        try {
            session_ << "BEGIN EXCLUSIVE";
        } catch (const soci::soci_error &) {
            throw std::runtime_error(inUse);
        }
    }
    Side side() override { return {session_, true}; }
    void commit() override { session_ << "COMMIT"; }

private:
    soci::session session_;
};

// PostgreSQL knows who is connected, for a moment longer than they are. Whoever starts looks at the
// version of the tables first, and waits for it.
class SoleUseOfPostgres final : public SoleUse
{
public:
    explicit SoleUseOfPostgres(const PostgresAddress &address)
    {
        prepareSchema(address, patience, {});
        connection_.emplace(address, patience, watchdog_);
        connection_->execute("SET idle_in_transaction_session_timeout = 0");
        transaction_.emplace(*connection_);
        keepOthersFromStarting(connection_->session());
        for (int i = 0; countOthers() > 0; ++i) {
            if (i == 20)
                throw std::runtime_error(inUse);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    Side side() override { return {connection_->session(), false}; }
    void commit() override { transaction_->commit(); }

private:
    std::int64_t countOthers()
    {
        connection_->execute("SELECT pg_stat_clear_snapshot()");
        return side().number("SELECT count(*) FROM pg_stat_activity"
                             " WHERE datname = current_database()"
                             " AND application_name = 'kivolo-server'"
                             " AND pid <> pg_backend_pid()");
    }

    PostgresWatchdog watchdog_;
    std::optional<PostgresConnection> connection_;
    std::optional<PostgresTransaction> transaction_;
};

} // namespace

std::unique_ptr<SoleUse> SoleUse::of(const std::string &database)
{
    std::unique_ptr<SoleUse> use;
    withoutQuotes([&] {
        if (PostgresAddress::isOne(database))
            use = std::make_unique<SoleUseOfPostgres>(PostgresAddress(database));
        else
            use = std::make_unique<SoleUseOfFile>(database);
    });
    return use;
}

void withoutQuotes(const std::function<void()> &action)
{
    try {
        action();
    } catch (const soci::soci_error &error) {
        const std::string message = error.get_error_message();
        throw LedgerUnavailable(message.substr(0, message.find('\n')));
    }
}

} // namespace kivolo::server
