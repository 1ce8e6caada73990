// What the connections of a server share.
#pragma once

#include "budget.h"
#include "crowd.h"
#include "listening.h"
#include "loop.h"
#include "server.h"
#include "turns.h"

#include <list>
#include <unordered_set>

namespace kivolo::server::http {

class Session;
class Tls;

/// Owned by the server and by every connection.
///
/// One sweep per tick looks for connections whose deadline has passed. A timer per connection
/// would have to be set and cancelled for every request, at a price that polls would notice.
class Hub : public std::enable_shared_from_this<Hub>
{
public:
    Hub(
        asio::io_context &context, Handler handler, Limits limits, Proxies proxies,
        Watcher watcher = [](const Served &) {});

    /// Accepts connections there; they speak TLS where that is given.
    void serve(Listening listening, std::shared_ptr<Tls> tls);
    void stop();

    bool stopping() const { return stopping_; }
    const Handler &handler() const { return handler_; }
    const Watcher &watcher() const { return watcher_; }
    std::size_t connections() const { return sessions_.size(); }
    const Limits &limits() const { return limits_; }
    const Proxies &proxies() const { return proxies_; }
    Budget &received() { return received_; }
    Budget &replies() { return replies_; }
    Turns &turns() { return turns_; }
    /// The tick at which something that begins now is over.
    std::int64_t deadlineAfter(std::chrono::milliseconds duration) const;
    /// As many as the slowest peer needs for so much.
    std::int64_t ticksFor(std::uint64_t bytes) const;
    /// How long to wait before the next of many that are answered together.
    std::chrono::milliseconds staggered();
    /// The Date header's value.
    const std::string &date() const { return date_; }
    void forget(Session &session);

private:
    struct Door
    {
        Listening listening;
        std::shared_ptr<Tls> tls; ///< None: what comes in here is plain.
    };

    static Awaitable<void> accept(std::shared_ptr<Hub> self, Door &door);
    static Awaitable<void> sweep(std::shared_ptr<Hub> self);
    bool expireSome();
    error_code welcomeSome(Door &door);
    void welcome(Socket socket, const Door &door);
    bool makeRoomFor(const Address &peer);
    bool endOneOf(const Crowd::Sessions &sessions, bool busyToo);
    Awaitable<void> turnAwayAll(Door &door);
    void turnAway(Socket &socket, const Door &door);
    void abortAll();
    void refreshDate();

    asio::io_context &context_;
    Handler handler_;
    Limits limits_;
    Proxies proxies_;
    Watcher watcher_;
    Budget received_;
    Budget replies_;
    Turns turns_;
    std::list<Door> doors_;
    File spare_; ///< Given up to turn a connection away when there is no descriptor left.
    Timer sweepTimer_;
    Timer acceptTimer_;
    std::unordered_set<Session *> sessions_;
    Crowd crowd_; ///< All of them but those of trusted proxies.
    std::int64_t ticks_ = 0;
    std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::time_point::max();
    std::string date_;
    int steps_ = 0; ///< Of staggered().
    bool stopping_ = false;
};

} // namespace kivolo::server::http
