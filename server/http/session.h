// One connection: reads requests, has them answered one after the other, writes the replies.
#pragma once

#include "hub.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

namespace kivolo::server::http {

/// Belongs to the coroutine that run() makes; the hub only knows it, to end it. On the thread of
/// the context, as everything here; a reply may come from any thread.
class Session : public std::enable_shared_from_this<Session>
{
public:
    Session(boost::asio::ip::tcp::socket socket, std::shared_ptr<Hub> hub);
    ~Session();

    /// Serves the connection to its end and owns it meanwhile.
    static boost::asio::awaitable<void> run(std::shared_ptr<Session> self);

    /// Ends what the connection is waiting for if its deadline lies before that tick.
    void expire(std::int64_t tick);
    /// Ends the connection if it is idle; else the request under way is its last.
    void finish();
    /// Ends the connection wherever it is.
    void abort();

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    enum class Phase { Idle, Reading, Answering, Writing };

    boost::asio::awaitable<bool> serveOne();
    boost::asio::awaitable<bool> receive(Parser &parser);
    boost::asio::awaitable<bool> receiveHeader(Parser &parser);
    boost::asio::awaitable<bool> welcomeBody(Parser &parser);
    boost::asio::awaitable<bool> receiveBody(Parser &parser);
    boost::asio::awaitable<bool> readMore(std::size_t most);
    std::optional<Response> objectionToBody(Parser &parser);
    boost::asio::awaitable<void> letOthersGoFirst();
    boost::asio::awaitable<void> refuse(boost::system::error_code error);
    boost::asio::awaitable<void> turnAway(Response response);
    boost::asio::awaitable<std::optional<Response>> answer(Request &request);
    boost::asio::awaitable<void> waitUntil(std::chrono::system_clock::time_point time);
    boost::asio::awaitable<void> waitHeld(Held held);
    boost::asio::awaitable<void> pause(std::chrono::steady_clock::duration duration);
    boost::asio::awaitable<bool> send(Response response, bool withBody, bool keepAlive);
    boost::asio::awaitable<bool> write(std::string_view bytes);
    boost::asio::awaitable<bool> writeFile(const Response &response);
    boost::asio::awaitable<void> drain();

    Address clientOf(const Parser::value_type &message) const;
    void enter(Phase phase, std::chrono::milliseconds limit);
    Reply laterReply();
    void deliver(Answer answer);
    void watchForHangup();
    void composeHead(const Response &response, bool keepAlive);

    boost::asio::ip::tcp::socket socket_;
    std::shared_ptr<Hub> hub_;
    Address peer_;
    boost::beast::flat_buffer buffer_;
    boost::asio::steady_timer wakeUp_;
    std::optional<Answer> answered_;
    Budget::Share bodyShare_; ///< Of the request that is being received or answered.
    std::string head_;
    std::int64_t deadline_ = 0;
    std::int64_t replyDeadline_ = 0; ///< Of the whole reply that is being written.
    Phase phase_ = Phase::Idle;
    bool expired_ = false;
    bool gone_ = false;
};

} // namespace kivolo::server::http
