// The endpoint table: which request calls which rule, and how its outcome is told.
#pragma once

#include "holds.h"
#include "http/message.h"
#include "minimum.h"
#include "rules/circles.h"
#include "site.h"
#include "throttle.h"

namespace kivolo::server {

/// Needs no connection and throws nothing: every failure is a reply. Belongs to one thread.
class Routes
{
public:
    /// Runs something on a thread that may take its time, some time.
    using Offload = std::function<void(std::function<void()>)>;

    Routes(Circles &circles, Holds &holds, Throttle &throttle, Site &site, Offload offload,
           Minimum minimum = {});

    std::optional<http::Answer> handle(http::Request &request, http::Reply later);

private:
    using Handler = std::optional<http::Answer> (Routes::*)(http::Request &, http::Reply &);
    struct Endpoint
    {
        std::string_view path;
        std::string_view method;
        Handler handler;
    };
    static const Endpoint endpoints[];

    std::optional<http::Answer> dispatch(http::Request &request, http::Reply &later);
    std::optional<http::Answer> me(http::Request &request, http::Reply &later);
    std::optional<http::Answer> create(http::Request &request, http::Reply &later);
    std::optional<http::Answer> join(http::Request &request, http::Reply &later);
    std::optional<http::Answer> send(http::Request &request, http::Reply &later);
    std::optional<http::Answer> poll(http::Request &request, http::Reply &later);
    std::optional<http::Answer> history(http::Request &request, http::Reply &later);
    std::optional<http::Answer> capsule(http::Request &request, http::Reply &later);

    std::shared_ptr<Guess> guess(Throttle::Act wrong, const http::Request &request);
    http::Answer emptyPoll(const Circles::EmptyPoll &empty, bool waited);

    Circles &circles_;
    Holds &holds_;
    Throttle &throttle_;
    Site &site_;
    Offload offload_;
    Minimum minimum_;
};

} // namespace kivolo::server
