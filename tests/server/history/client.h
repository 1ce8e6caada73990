// A member's program, as unsteady as people and networks are, that writes down what it sees.
#pragma once

#include "servers.h"

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>

namespace kivolo::server::history {

namespace asio = boost::asio;

/// What all clients share. On one thread.
struct World
{
    World(ServerOptions options, std::uint64_t seed_);

    /// What fails in there comes out of the context's run().
    void start(asio::awaitable<void> coroutine);
    asio::awaitable<void> sleep(std::uint64_t milliseconds);

    std::uint64_t seed;
    Record record;
    Servers servers;
    std::size_t serversUsed = 1;
    bool ending = false;      ///< Nobody begins anything new but polls.
    Moment quiet = never;     ///< Polls that begin from then on see all there is.
    std::size_t living = 0;   ///< Clients that have something to do or to find out.
    std::size_t watching = 0; ///< Clients that poll, until all is quiet and they have seen it.
    std::size_t troubles = 0; ///< Streams of faults that have not come to their end.
    std::vector<std::pair<std::size_t, std::string>> capsules; ///< With the circle of each.
    std::map<std::string, std::uint64_t> operations;
    std::map<std::string, std::uint64_t> faults;
    asio::io_context context{1}; ///< Last, so that what runs there ends before what it uses.
};

/// Lets a client do one thing after another until the world ends, and poll as its program would.
/// What it does is drawn afresh each time, so that what came of one thing changes no later one.
void startClient(World &world, std::size_t number);

} // namespace kivolo::server::history
