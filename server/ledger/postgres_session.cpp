#include "postgres_session.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string_view>
#include <sys/socket.h>

namespace kivolo::server {

namespace {

/// One sentence on one line, as the operator's log wants it.
std::string onOneLine(std::string text)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '.'))
        text.pop_back();
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;)
        text.replace(at, text.find_first_not_of("\n\t ", at) - at, "; ");
    return text;
}

std::string quoted(const std::string &value)
{
    std::string text = "'";
    for (const char c : value) {
        if (c == '\'' || c == '\\')
            text += '\\';
        text += c;
    }
    return text + "'";
}

using Defaults = std::map<std::string, std::string>;

// Of a host that does not answer, and of a connection whose machine is gone, within the time that a
// member waits.
const Defaults &defaults()
{
    static const Defaults all{{"target_session_attrs", "read-write"},
                              {"connect_timeout", "2"},
                              {"tcp_user_timeout", "4000"},
                              {"keepalives_idle", "2"},
                              {"keepalives_interval", "1"},
                              {"keepalives_count", "3"},
                              {"fallback_application_name", "kivolo-server"},
                              {"client_encoding", "UTF8"}};
    return all;
}

} // namespace

PostgresAddress::PostgresAddress(const std::string &uri)
{
    char *reason = nullptr;
    const std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)> parsed(
        PQconninfoParse(uri.c_str(), &reason), PQconninfoFree);
    if (!parsed) {
        // It quotes what it was given, passwords included.
        PQfreemem(reason);
        throw std::runtime_error("the database's address cannot be read; it has to be given as "
                                 "postgresql://USER@HOST/NAME");
    }
    Defaults values = defaults();
    for (const PQconninfoOption *option = parsed.get(); option->keyword; ++option) {
        if (option->val)
            values[option->keyword] = option->val;
    }
    name_ = "postgresql://" + values["host"] + "/" + values["dbname"];
    for (const auto &[keyword, value] : values) {
        if (!value.empty())
            connectString_ += keyword + "=" + quoted(value) + " ";
    }
}

PostgresWatchdog::PostgresWatchdog()
    : thread_([this](const std::stop_token &stop) { watchUntil(stop); })
{}

PostgresWatchdog::Limit::Limit(PostgresWatchdog &watchdog, int socket, Time end)
    : watchdog_(watchdog)
{
    const std::lock_guard lock(watchdog_.mutex_);
    if (watchdog_.sockets_.empty())
        watchdog_.busy_.notify_one();
    place_ = watchdog_.sockets_.emplace(end, socket);
}

PostgresWatchdog::Limit::~Limit()
{
    const std::lock_guard lock(watchdog_.mutex_);
    watchdog_.sockets_.erase(place_);
}

void PostgresWatchdog::watchUntil(const std::stop_token &stop)
{
    std::condition_variable_any never;
    for (std::unique_lock lock(mutex_); !stop.stop_requested();) {
        const auto late = sockets_.upper_bound(std::chrono::steady_clock::now());
        for (auto place = sockets_.begin(); place != late; ++place)
            ::shutdown(place->second, SHUT_RDWR); // which whoever waits for it notices
        never.wait_for(lock, stop, std::chrono::milliseconds(100), [] { return false; });
        busy_.wait(lock, stop, [this] { return !sockets_.empty(); });
    }
}

PostgresConnection::PostgresConnection(const PostgresAddress &address,
                                       std::chrono::milliseconds patience,
                                       PostgresWatchdog &watchdog)
{
    guarded([&] {
        session_.open(soci::postgresql, address.connectString());
        // Without details: those quote what members have written.
        PQsetErrorVerbosity(handle(), PQERRORS_TERSE);
        PQsetNoticeReceiver(
            handle(),
            [](void *warned, const PGresult *result) {
                const char *const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
                // "Warning", of whatever kind; notices are of the class of success.
                *static_cast<bool *>(warned) |= state && std::string_view(state).starts_with("01");
            },
            &warned_);
    });
    const char *const encoding = PQparameterStatus(handle(), "server_encoding");
    if (encoding && std::string_view(encoding) != "UTF8")
        throw LedgerUnavailable("it has to be created with the encoding UTF8");
    const PostgresWatchdog::Limit limit(watchdog, socket(),
                                        std::chrono::steady_clock::now() + patience);
    for (const char *setting : {"lock_timeout", "idle_in_transaction_session_timeout"})
        execute("SET " + std::string(setting) + " = " + std::to_string(patience.count()));
    takeWarning();
}

PGconn *PostgresConnection::handle() const
{
    auto &session = const_cast<soci::session &>(session_);
    return static_cast<soci::postgresql_session_backend *>(session.get_backend())->conn_;
}

bool PostgresConnection::takes(soci::statement &statement, std::size_t parameters,
                               std::size_t columns)
{
    const auto &backend =
        static_cast<soci::postgresql_statement_backend &>(*statement.get_backend());
    const std::unique_ptr<PGresult, decltype(&PQclear)> described(
        PQdescribePrepared(backend.session_.conn_, backend.statementName_.c_str()), PQclear);
    if (PQresultStatus(described.get()) != PGRES_COMMAND_OK)
        throw PostgresLost("a statement cannot be prepared");
    return static_cast<std::size_t>(PQnparams(described.get())) == parameters &&
           static_cast<std::size_t>(PQnfields(described.get())) == columns;
}

void PostgresConnection::fail(const std::string &state, std::string message) const
{
    // Serialization failure, deadlock, a key that another transaction has just used.
    static const std::set<std::string_view> conflicts{"40001", "40P01", "23505"};
    message = onOneLine(std::move(message));
    const auto *backend = static_cast<const soci::postgresql_session_backend *>(
        const_cast<soci::session &>(session_).get_backend());
    const bool broken = !backend || PQstatus(backend->conn_) != CONNECTION_OK;
    // Without one it is not the server that complains. The others are of a connection, of a server
    // that is being stopped, of one that has become a copy of another.
    const bool lost =
        state == "     " || state.starts_with("08") || state.starts_with("57") || state == "25006";
    if (broken || lost)
        throw PostgresLost(message);
    if (conflicts.contains(state))
        throw PostgresConflict(message);
    throw LedgerUnavailable(message);
}

// Each statement sees what is committed when it begins: what a lock was waited for, above all.
PostgresTransaction::PostgresTransaction(PostgresConnection &connection)
    : connection_(connection)
{
    connection_.execute("BEGIN ISOLATION LEVEL READ COMMITTED");
}

PostgresTransaction::~PostgresTransaction()
{
    if (!open_ || PQtransactionStatus(connection_.handle()) == PQTRANS_UNKNOWN)
        return;
    try {
        connection_.session() << "ROLLBACK";
    } catch (const soci::soci_error &) {
        // The server has undone it, or does so when it notices that the connection is gone.
    }
}

// A transaction in which something has failed is undone by its COMMIT, which succeeds; and one
// whose copies could not be waited for has only a warning to say so.
void PostgresTransaction::commit()
{
    if (PQtransactionStatus(connection_.handle()) != PQTRANS_INTRANS)
        throw LedgerUnavailable("the transaction has failed");
    connection_.takeWarning();
    open_ = false;
    connection_.execute("COMMIT");
    if (connection_.takeWarning())
        throw LedgerUnavailable("it is not known whether what was written will be kept");
}

} // namespace kivolo::server
