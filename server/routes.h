// The endpoint table: which request calls which rule, and how its outcome is told.
#pragma once

#include "circles.h"
#include "http/message.h"
#include "site.h"

namespace kivolo::server {

/// Needs no connection and throws nothing: every failure is a reply. Belongs to one thread.
class Routes
{
public:
    Routes(Circles &circles, const Site &site);

    http::Answer handle(const http::Request &request, http::Reply later);

private:
    using Handler = http::Answer (Routes::*)(const http::Request &, http::Reply &);
    struct Endpoint
    {
        std::string_view path;
        std::string_view method;
        Handler handler;
    };
    static const Endpoint endpoints[];

    http::Answer dispatch(const http::Request &request, http::Reply &later);
    http::Answer me(const http::Request &request, http::Reply &later);
    http::Answer create(const http::Request &request, http::Reply &later);
    http::Answer join(const http::Request &request, http::Reply &later);
    http::Answer send(const http::Request &request, http::Reply &later);
    http::Answer poll(const http::Request &request, http::Reply &later);
    http::Answer history(const http::Request &request, http::Reply &later);
    http::Answer capsule(const http::Request &request, http::Reply &later);

    Circles &circles_;
    const Site &site_;
};

} // namespace kivolo::server
