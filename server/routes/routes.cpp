#include "routes.h"

#include "query.h"
#include "records/refusal.h"
#include "records/wire.h"

#include <spdlog/spdlog.h>

namespace kivolo::server {

using http::Answer;
using http::Budget;
using http::errorResponse;
using http::Reply;
using http::Request;
using http::Response;
using Act = Throttle::Act;

namespace {

unsigned statusOf(Refusal::Reason reason)
{
    switch (reason) {
    case Refusal::Reason::Forbidden:
        return 403;
    case Refusal::Reason::NotFound:
        return 404;
    case Refusal::Reason::Conflict:
        return 409;
    case Refusal::Reason::TooLarge:
        return 413;
    case Refusal::Reason::TooMany:
        return 429;
    case Refusal::Reason::NoRoom:
        return 507;
    case Refusal::Reason::Busy:
        return 503;
    case Refusal::Reason::Invalid:
        break;
    }
    return 400;
}

Response ok(std::string body)
{
    Response response;
    response.body = std::move(body);
    return response;
}

/// To a HEAD for what may be large: nothing of it is read.
Response unmeasured(const Seat &)
{
    Response response;
    response.measured = false;
    return response;
}

/// The action's answer, or the one that tells how it failed.
template<typename Action>
auto told(Action &&action) -> decltype(action())
{
    try {
        return action();
    } catch (const Refusal &refusal) {
        Response response = errorResponse(statusOf(refusal.reason()), refusal.what());
        response.retryAfter = refusal.retryAfter();
        response.limit = refusal.limit();
        return response;
    } catch (const LedgerUnsure &failure) {
        spdlog::error("the database may have kept something or not: {}", failure.what());
        return errorResponse(500, "Kivolo is not sure whether that was done. Please have a look.");
    } catch (const LedgerUnavailable &failure) {
        spdlog::error("the database failed: {}", failure.what());
        return errorResponse(503, "Kivolo cannot do this just now. Please try again in a moment.");
    } catch (const std::exception &failure) {
        spdlog::error("a request failed: {}", failure.what());
        return errorResponse(500, "Something went wrong. Please try again.");
    }
}

/// Answers with what came of it, or with why it did not. Where a secret was named, `guess` is told
/// whether there is such a one. `answer` takes the result and may run on
/// any thread.
template<typename Result, typename AnswerOf>
Done<Result> answering(Reply later, std::shared_ptr<Guess> guess, AnswerOf answer)
{
    return [later = std::move(later), guess = std::move(guess), answer](Outcome<Result> outcome) {
        const auto take = [&outcome] { return outcome.take(); };
        later(told([&] { return Answer(answer(guess ? guess->judge(take) : take())); }));
    };
}

/// Answers with the record of what came of it.
template<typename Result>
Done<Result> telling(Reply later, std::shared_ptr<Guess> guess,
                     std::string (*record)(const Result &))
{
    return answering<Result>(std::move(later), std::move(guess),
                             [record](const Result &result) { return ok(record(result)); });
}

/// Takes the memory for a reply out of what the request's sender may have, and puts it there.
Circles::Room roomIn(std::shared_ptr<Budget::Share> room, const Request &request)
{
    if (!request.replies)
        return [](std::size_t) { return true; };
    return [room = std::move(room), replies = request.replies,
            client = request.client](std::size_t bytes) {
        std::optional<Budget::Share> share = replies->take(client, bytes);
        if (share)
            *room = std::move(*share);
        return share.has_value();
    };
}

/// Answers with the record of what may be large, and with the memory that was taken for it.
template<typename Result>
Done<Result> tellingLarge(Reply later, std::shared_ptr<Guess> guess, std::string (*record)(Result),
                          std::shared_ptr<Budget::Share> room)
{
    return answering<Result>(std::move(later), std::move(guess), [record, room](Result result) {
        Response response = ok(record(std::move(result)));
        response.room = std::move(*room);
        return response;
    });
}

// A browser sends other types across origins without asking; this one it has to ask for first.
bool isJson(std::string_view contentType)
{
    constexpr std::string_view json = "application/json";
    std::string_view type = contentType.substr(0, contentType.find(';'));
    while (type.ends_with(' ') || type.ends_with('\t'))
        type.remove_suffix(1);
    return type.size() == json.size() &&
           std::equal(type.begin(), type.end(), json.begin(), [](char a, char b) {
               return (a >= 'A' && a <= 'Z' ? a + ('a' - 'A') : a) == b;
           });
}

} // namespace

const Routes::Endpoint Routes::endpoints[] = {
    {"/beams", "GET", &Routes::poll},
    {"/me", "GET", &Routes::me},
    {"/beam", "POST", &Routes::send},
    {"/history", "GET", &Routes::history},
    {"/capsule", "GET", &Routes::capsule},
    {"/join", "POST", &Routes::join},
    {"/circle/create", "POST", &Routes::create},
};

Routes::Routes(Circles &circles, Holds &holds, Throttle &throttle, Site &site, Offload offload,
               Minimum minimum)
    : circles_(circles)
    , holds_(holds)
    , throttle_(throttle)
    , site_(site)
    , offload_(std::move(offload))
    , minimum_(std::move(minimum))
{}

std::optional<Answer> Routes::handle(Request &request, Reply later)
{
    return told([&] {
        if (!request.waited)
            throttle_.take(Act::Request, request.client);
        return dispatch(request, later);
    });
}

std::optional<Answer> Routes::dispatch(Request &request, Reply &later)
{
    const std::string_view path = request.path();
    const bool reads = request.method == "GET" || request.isHead();
    const auto notAllowed = [&](std::string_view allow) {
        Response response = errorResponse(405, "The request is wrong: this is done with " +
                                                   std::string(allow) + ".");
        response.allow = allow;
        return response;
    };
    for (const Endpoint &endpoint : endpoints) {
        if (endpoint.path != path)
            continue;
        if (minimum_.keepsOut(request.version))
            return minimum_.answer(site_, request);
        if (endpoint.method == "GET")
            return reads ? (this->*endpoint.handler)(request, later)
                         : std::optional<Answer>(notAllowed("GET, HEAD"));
        if (request.method != "POST")
            return notAllowed("POST");
        if (!isJson(request.contentType))
            return errorResponse(415, "The request is wrong: its body has to be JSON.");
        return (this->*endpoint.handler)(request, later);
    }
    std::optional<Response> file = site_.answer(request);
    if (!file)
        return errorResponse(404, "There is nothing here.");
    return reads ? std::move(*file) : notAllowed("GET, HEAD");
}

std::shared_ptr<Guess> Routes::guess(Act wrong, const Request &request)
{
    return std::make_shared<Guess>(throttle_, wrong, request.client);
}

// A device that is in no circle yet asks for one that is not known, so some of that is nobody's
// guessing.
std::optional<Answer> Routes::me(Request &request, Reply &later)
{
    const std::string deviceId = onlyQueryText(request.target, "device_id");
    const auto guessed = guess(Act::WrongDevice, request);
    circles_.status(deviceId, answering<std::optional<Membership>>(
                                  later, guessed, [guessed](const auto &membership) {
                                      if (!membership)
                                          guessed->wrong();
                                      return ok(wire::status(membership));
                                  }));
    return std::nullopt;
}

std::optional<Answer> Routes::create(Request &request, Reply &later)
{
    CreateRequest founding = wire::createRequest(request.body);
    throttle_.take(Act::Found, request.client);
    circles_.create(std::move(founding), telling<Founding>(later, nullptr, wire::created));
    return std::nullopt;
}

std::optional<Answer> Routes::join(Request &request, Reply &later)
{
    JoinRequest joining = wire::joinRequest(request.body);
    throttle_.take(Act::Send, request.client);
    circles_.join(std::move(joining),
                  telling<Membership>(later, guess(Act::WrongCode, request), wire::joined));
    return std::nullopt;
}

// A note is taken apart in microseconds, a doodle not always.
std::optional<Answer> Routes::send(Request &request, Reply &later)
{
    throttle_.take(Act::Send, request.client);
    const auto take = [this, guessed = guess(Act::WrongKey, request)](std::string_view body,
                                                                      const Reply &reply) {
        circles_.send(wire::beamRequest(body), telling<Beam>(reply, guessed, wire::accepted));
        return std::optional<Answer>();
    };
    constexpr std::size_t large = 64 << 10;
    if (request.body.size() <= large)
        return take(request.body, later);
    offload_([take, body = std::move(request.body), later] {
        if (std::optional<Answer> answer = told([&] { return take(body, later); }))
            later(std::move(*answer));
    });
    return std::nullopt;
}

std::optional<Answer> Routes::poll(Request &request, Reply &later)
{
    const std::string seatKey = queryText(request.target, "circle_id");
    const std::string memberId = queryText(request.target, "member_id");
    const std::int64_t since = queryNumber(request.target, "since");
    const auto guessed = guess(Act::WrongKey, request);
    if (request.isHead()) {
        circles_.checkPoll(seatKey, memberId, answering<Seat>(later, guessed, unmeasured));
        return std::nullopt;
    }
    const auto empty =
        guessed->judge([&] { return circles_.nothingNew(seatKey, memberId, since); });
    if (empty)
        return emptyPoll(*empty, request.waited);
    const auto room = std::make_shared<Budget::Share>();
    const auto answer = [this, room, waited = request.waited,
                         asked = holds_.now()](Circles::Polled polled) -> Answer {
        if (polled.nothingFor && !waited)
            return http::Ask{[this, asked, polled = std::move(polled)] {
                return holds_.mayHaveMissed(*polled.nothingFor, asked)
                           ? http::AgainAt{std::chrono::system_clock::now()}
                           : emptyPoll({*polled.nothingFor, polled.poll}, false);
            }};
        Response response = ok(wire::poll(std::move(polled.poll)));
        response.room = std::move(*room);
        return response;
    };
    circles_.poll(seatKey, memberId, since, roomIn(room, request),
                  answering<Circles::Polled>(later, guessed, answer));
    return std::nullopt;
}

Answer Routes::emptyPoll(const Circles::EmptyPoll &empty, bool waited)
{
    if (std::optional<http::Held> held = waited ? std::nullopt : holds_.hold(empty.seat))
        return std::move(*held);
    return ok(wire::poll(empty.poll));
}

std::optional<Answer> Routes::history(Request &request, Reply &later)
{
    const std::string seatKey = queryText(request.target, "circle_id");
    const std::int64_t limit = queryNumber(request.target, "limit");
    const auto guessed = guess(Act::WrongKey, request);
    const auto room = std::make_shared<Budget::Share>();
    if (request.isHead())
        circles_.checkHistory(seatKey, limit, answering<Seat>(later, guessed, unmeasured));
    else
        circles_.history(seatKey, limit, roomIn(room, request),
                         tellingLarge<std::vector<Beam>>(later, guessed, wire::history, room));
    return std::nullopt;
}

std::optional<Answer> Routes::capsule(Request &request, Reply &later)
{
    const auto answer = [](const Circles::Capsule &capsule) -> Answer {
        if (const auto *opening = std::get_if<Circles::Time>(&capsule))
            return http::AgainAt{*opening};
        return ok(wire::beam(std::get<Beam>(capsule)));
    };
    circles_.capsule(queryText(request.target, "circle_id"), queryText(request.target, "id"),
                     answering<Circles::Capsule>(later, guess(Act::WrongKey, request), answer));
    return std::nullopt;
}

} // namespace kivolo::server
