// The endpoint table: which request calls which rule, and how its outcome is told.
#pragma once

#include "circles.h"
#include "http/message.h"
#include "site.h"

namespace kivolo::server {

/// The reply comes later, through the Reply that was handed in.
struct Later
{};

/// The same request is to be handed in again at that time.
struct AgainAt
{
    std::chrono::system_clock::time_point time;
};

using Answer = std::variant<http::Response, Later, AgainAt>;

/// Called once, on any thread.
using Reply = std::function<void(http::Response)>;

/// Needs no connection and throws nothing: every failure is a reply. Belongs to one thread.
class Routes
{
public:
    Routes(Circles &circles, const Site &site);

    Answer handle(const http::Request &request, Reply later);

private:
    using Handler = Answer (Routes::*)(const http::Request &, Reply &);
    struct Endpoint
    {
        std::string_view path;
        std::string_view method;
        Handler handler;
    };
    static const Endpoint endpoints[];

    Answer dispatch(const http::Request &request, Reply &later);
    Answer me(const http::Request &request, Reply &later);
    Answer create(const http::Request &request, Reply &later);
    Answer join(const http::Request &request, Reply &later);
    Answer send(const http::Request &request, Reply &later);
    Answer poll(const http::Request &request, Reply &later);
    Answer history(const http::Request &request, Reply &later);
    Answer capsule(const http::Request &request, Reply &later);

    Circles &circles_;
    const Site &site_;
};

/// A reply that says in one sentence what went wrong.
http::Response errorResponse(unsigned status, std::string_view sentence);

} // namespace kivolo::server
