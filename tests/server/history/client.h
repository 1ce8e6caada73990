// A member's program, as unsteady as people and networks are, that writes down what it sees.
#pragma once

#include "servers.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/json/value.hpp>
#include <chrono>
#include <memory>

namespace kivolo::server::history {

namespace asio = boost::asio;

/// What all clients share. On one thread.
struct World
{
    asio::io_context &context;
    Servers &servers;
    Record &record;
    std::uint64_t seed = 0;
    std::size_t serversUsed = 1;
    bool ending = false;  ///< Nobody begins anything new but polls.
    Moment quiet = never; ///< Polls that begin from then on see all there is.
    std::vector<std::pair<std::size_t, std::string>> capsules{}; ///< With the circle of each.
    std::map<std::string, std::uint64_t> operations{};
};

struct Answer
{
    unsigned status = 0; ///< 0: none came.
    bool asked = false;  ///< Whether there was anybody to ask.
    boost::json::value body;
};

/// A connection to one of the servers, made when it is needed, from an address of one's own.
class Line
{
public:
    Line(World &world, std::string from);
    /// Sends all of them at once and reads the answers that come within the time; then it is
    /// closed where one is missing.
    asio::awaitable<std::vector<Answer>> ask(std::size_t server, std::vector<std::string> requests,
                                             std::chrono::milliseconds patience);
    asio::awaitable<Answer> ask(std::size_t server, std::string request,
                                std::chrono::milliseconds patience);
    /// Sends a part of it and hangs up. False where there was nobody.
    asio::awaitable<bool> breakOff(std::size_t server, std::string_view part);
    void close();

private:
    asio::awaitable<bool> connect(std::size_t server);

    World &world_;
    std::string from_;
    std::size_t server_ = 0;
    std::optional<boost::beast::tcp_stream> stream_;
    boost::beast::flat_buffer buffer_;
};

class Client
{
public:
    Client(World &world, std::size_t number);

    /// Does one thing after another until the world ends. What it does is drawn afresh each time,
    /// so that what came of one thing changes no later one.
    asio::awaitable<void> live();
    /// Polls from then on, as its program would, until all is quiet and it has seen it.
    asio::awaitable<void> watch();

private:
    using Time = std::chrono::milliseconds;

    asio::awaitable<void> pause(std::uint64_t milliseconds);
    asio::awaitable<void> act(Dice &dice);
    asio::awaitable<void> askStatus();
    asio::awaitable<void> create(Dice &dice);
    asio::awaitable<void> join(Dice &dice, std::size_t circle);
    asio::awaitable<void> send(Dice &dice, std::size_t count);
    asio::awaitable<void> sendBrokenOff(Dice &dice);
    asio::awaitable<unsigned> look(Line &line, LookLog look, std::string request, Time patience);
    asio::awaitable<void> history(Dice &dice);
    asio::awaitable<void> capsule(Dice &dice);
    asio::awaitable<void> tryForeign(Dice &dice);
    asio::awaitable<bool> pollOnce(std::size_t seat, std::int64_t &since);
    void startAnew();

    std::size_t addSend(Dice &dice, std::size_t seat);
    std::string beamRequest(const SendLog &send) const;
    void settleSend(SendLog &send, const Answer &answer);
    std::string pollRequest(const LookLog &look, const std::string &member) const;
    std::string historyRequest(const LookLog &look) const;
    std::string capsuleRequest(const LookLog &look, const std::string &id) const;
    void settleSeat(const boost::json::value &reply, const Span &span);
    void loseSeat(std::size_t seat, Moment by);
    void addLook(LookLog look, const Answer &answer);
    void complain(const std::string &what, const Span &span);

    World &world_;
    std::size_t number_;
    std::string device_;
    Dice pollDice_;
    Line line_;
    Line pollLine_;
    std::optional<std::size_t> seat_;
    std::set<std::string> names_; ///< What it may be called.
    std::vector<std::size_t> lostSeats_;
    bool unsure_ = true;    ///< Whether it has to ask where it is.
    Moment doubtUntil_ = 0; ///< Until then an old request can still move it.
    std::uint64_t starts_ = 0;
    std::uint64_t serial_ = 0;
    std::size_t server_ = 0; ///< Which it asks just now.
    std::size_t pollServer_ = 0;
};

} // namespace kivolo::server::history
