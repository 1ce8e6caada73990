// One connection: reads requests, has them answered one after the other, writes the replies.
#pragma once

#include "hub.h"
#include "stream.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

namespace kivolo::server::http {

/// Belongs to the coroutine that run() makes; the hub only knows it, to end it. On the thread of
/// the context, as everything here; a reply may come from any thread.
class Session : public std::enable_shared_from_this<Session>
{
public:
    Session(Stream stream, std::shared_ptr<Hub> hub);
    ~Session();

    /// Serves the connection to its end and owns it meanwhile.
    static Awaitable<void> run(std::shared_ptr<Session> self);

    const Address &peer() const { return stream_.peer(); }
    bool isIdle() const { return phase_ == Phase::Idle; }
    /// The tick at which what it does now has to be over.
    std::int64_t deadline() const { return deadline_; }

    /// Ends what the connection is waiting for if its deadline lies before that tick. False: it
    /// does not, or was ended for that already.
    bool expire(std::int64_t tick);
    /// Ends the connection if it is idle; else the request under way is its last.
    void finish();
    /// Ends the connection wherever it is.
    void abort();

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    static constexpr std::size_t firstChunk = 1 << 10; ///< As much as an idle connection keeps.
    static constexpr std::size_t headerChunk = 4 << 10;
    /// So that a turn takes some microseconds: hundreds that send as fast as they can have theirs
    /// before anybody else's.
    static constexpr std::size_t bodyChunk = 16 << 10;
    enum class Phase { Idle, Reading, Answering, Writing };

    Awaitable<bool> serveOne();
    Awaitable<void> endRequest();
    Awaitable<void> letOthersGoFirst();
    Request requestOf(Parser::value_type &message);
    static void note(const Request &request, const Response &response);
    Address clientOf(const Parser::value_type &message) const;
    Awaitable<std::optional<Response>> answer(Request &request);
    Awaitable<void> waitUntil(std::chrono::system_clock::time_point time);
    Awaitable<void> waitHeld(Held held);
    Awaitable<void> pause(std::chrono::steady_clock::duration duration);
    void enter(Phase phase, std::chrono::milliseconds limit);
    Reply laterReply();
    void deliver(Answer answer);
    void watchForHangup();

    // session_receiving.cpp
    Awaitable<bool> receive(Parser &parser);
    Awaitable<bool> receiveHeader(Parser &parser);
    Awaitable<bool> welcomeBody(Parser &parser);
    Awaitable<bool> receiveBody(Parser &parser);
    Awaitable<bool> readMore(std::size_t most);
    bool keep(std::size_t more);
    bool keepHead();
    bool keepFor(const Address &client);
    std::optional<Response> objectionToBody(Parser &parser);
    Awaitable<void> refuse(error_code error);
    Awaitable<void> turnAway(Response response);
    Awaitable<void> drain();

    // session_replying.cpp
    Awaitable<bool> send(Response response, bool withBody, bool keepAlive);
    bool keepReply(Response &response);
    Awaitable<bool> write(std::string_view bytes);
    Awaitable<bool> writeBody(Response &response);
    Awaitable<bool> writeFile(const Response &response);

    Stream stream_;
    std::shared_ptr<Hub> hub_;
    boost::beast::flat_buffer buffer_;
    Timer wakeUp_;
    std::optional<Answer> answered_;
    Address client_;         ///< Of the request that is being received or answered.
    Budget::Share received_; ///< As far as it has come, but for what every connection has.
    std::int64_t deadline_ = 0;
    std::int64_t replySlack_ = 0; ///< When the reply under way had to be over if it were empty.
    std::uint64_t replied_ = 0;   ///< As much of it as was written.
    Phase phase_ = Phase::Idle;
    std::string_view path_;                       ///< Of the request that is being answered.
    std::chrono::steady_clock::time_point asked_; ///< When it was, or was held no longer.
    std::int64_t expired_ = 0; ///< The last tick at which its deadline had passed, or 0.
    bool gone_ = false;
};

} // namespace kivolo::server::http
