// A member's program, as unsteady as people and networks are, that writes down what it sees.
#pragma once

#include "servers.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <random>

namespace kivolo::server::history {

namespace asio = boost::asio;

/// Chooses by its seed alone.
class Dice
{
public:
    explicit Dice(std::uint64_t seed)
        : engine_(seed)
    {}
    /// From 0 to `most`. Not by std::uniform_int_distribution, which differs between libraries.
    std::uint64_t upTo(std::uint64_t most) { return engine_() % (most + 1); }
    bool oneIn(std::uint64_t n) { return upTo(n - 1) == 0; }
    template<typename List>
    const auto &oneOf(const List &list)
    {
        return list[upTo(std::size(list) - 1)];
    }

private:
    std::mt19937_64 engine_;
};

/// What all clients share. On one thread.
struct World
{
    World(std::string folder, std::string database, std::uint64_t seed_);

    /// What fails in there comes out of the context's run().
    void start(asio::awaitable<void> coroutine);
    asio::awaitable<void> sleep(std::uint64_t milliseconds);
    void complain(const std::string &what);

    std::uint64_t seed;
    Record record;
    Servers servers;
    std::size_t serversUsed = 1;
    bool ending = false;      ///< Nobody begins anything new but polls.
    Moment quiet = never;     ///< Polls that begin from then on see all there is.
    std::size_t living = 0;   ///< Clients and streams of faults that have something to do.
    std::size_t watching = 0; ///< Clients that poll, until all is quiet and they have seen it.
    std::vector<std::pair<std::size_t, std::string>> capsules; ///< With the circle of each.
    asio::io_context context{1}; ///< Last, so that what runs there ends before what it uses.
};

/// Lets a client do one thing after another until the world ends, and poll as its program would.
/// What it does is drawn afresh each time, so that what came of one thing changes no later one.
void startClient(World &world, std::size_t number);

} // namespace kivolo::server::history
