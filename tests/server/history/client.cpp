#include "client.h"

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/detail/base64.hpp>
#include <boost/beast/http.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace kivolo::server::history {

namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace json = boost::json;
using namespace std::chrono_literals;

namespace {

constexpr auto awaited = asio::as_tuple(asio::use_awaitable);
// For as long a request that nobody answered may still take effect: stalls and the server's own
// patience lie below it.
constexpr Moment afterlife = 30 * second;

std::string get(const std::string &target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: kivolo\r\n\r\n";
}

std::string post(const std::string &target, const json::object &body)
{
    const std::string text = json::serialize(body);
    return "POST " + target +
           " HTTP/1.1\r\nHost: kivolo\r\nContent-Type: application/json\r\nContent-Length: " +
           std::to_string(text.size()) + "\r\n\r\n" + text;
}

std::string textAt(const json::value &object, const char *key)
{
    const json::value *value = object.as_object().if_contains(key);
    return value && value->is_string() ? std::string(value->as_string()) : std::string();
}

std::int64_t numberAt(const json::value &object, const char *key)
{
    const json::value *value = object.as_object().if_contains(key);
    return value && value->is_int64() ? value->as_int64() : 0;
}

std::string nameOf(const std::string &handle, const std::string &emoji)
{
    return handle + "\n" + emoji;
}

Delivered deliveredIn(const json::value &beam)
{
    const Row row{textAt(beam, "id"),
                  textAt(beam, "from_member"),
                  nameOf(textAt(beam, "from_handle"), textAt(beam, "from_emoji")),
                  textAt(beam, "type"),
                  textAt(beam, "body"),
                  textAt(beam, "effect"),
                  0,
                  numberAt(beam, "created_at"),
                  numberAt(beam, "open_at")};
    return {row.id, digest(row), numberAt(beam, "sealed") == 1, row.openAt};
}

/// Text that is easily altered by whoever does not take care.
std::string difficultText(std::uint64_t length, Dice &dice)
{
    static constexpr const char *pieces[] = {
        "a",  "\"", "\\",   "\n",   "\x01", "ß",   "\\u0041",      "💜", "é",  "👩‍👩‍👧",
        "</", " ",  "\x7f", "\r\n", "'",    "%00", "\xe2\x80\xae", "0", "\t", "{}"};
    std::string text;
    for (std::uint64_t i = 0; i < length; ++i)
        text += pieces[dice.upTo(std::size(pieces) - 1)];
    return text;
}

std::string doodle(const std::string &token, std::uint64_t size)
{
    const std::string bytes = "\x89PNG\r\n\x1a\n" + token + std::string(size, 'd');
    std::string text(beast::detail::base64::encoded_size(bytes.size()), '\0');
    text.resize(beast::detail::base64::encode(text.data(), bytes.data(), bytes.size()));
    return "data:image/png;base64," + text;
}

} // namespace

Line::Line(World &world, std::string from)
    : world_(world)
    , from_(std::move(from))
{}

void Line::close()
{
    if (stream_)
        stream_->close();
}

asio::awaitable<bool> Line::connect(std::size_t server)
{
    if (stream_ && stream_->socket().is_open() && server == server_)
        co_return true;
    buffer_.clear();
    server_ = server;
    auto &socket = stream_.emplace(world_.context).socket();
    socket.open(asio::ip::tcp::v4());
    socket.bind({asio::ip::make_address(from_), 0});
    stream_->expires_after(5s);
    const asio::ip::tcp::endpoint peer(asio::ip::make_address(world_.servers.address(server)),
                                       world_.servers.port());
    const auto [refused] = co_await stream_->async_connect(peer, awaited);
    if (refused)
        stream_->close();
    co_return !refused;
}

asio::awaitable<std::vector<Answer>>
Line::ask(std::size_t server, std::vector<std::string> requests, std::chrono::milliseconds patience)
{
    std::vector<Answer> answers(requests.size());
    std::string all;
    for (const std::string &request : requests)
        all += request;
    const bool connected = co_await connect(server);
    if (!connected)
        co_return answers;
    for (Answer &answer : answers)
        answer.asked = true;
    stream_->expires_after(patience);
    const auto buffer = asio::buffer(all);
    co_await asio::async_write(*stream_, buffer, awaited);
    for (Answer &answer : answers) {
        http::response_parser<http::string_body> parser;
        parser.body_limit(256 << 20);
        const auto [error, count] = co_await http::async_read(*stream_, buffer_, parser, awaited);
        if (error) {
            stream_->close();
            break;
        }
        answer.status = parser.get().result_int();
        answer.body = json::parse(parser.get().body());
        if (!parser.get().keep_alive()) {
            stream_->close();
            break;
        }
    }
    co_return answers;
}

asio::awaitable<Answer> Line::ask(std::size_t server, std::string request,
                                  std::chrono::milliseconds patience)
{
    std::vector<std::string> requests;
    requests.push_back(std::move(request));
    std::vector<Answer> answers = co_await ask(server, std::move(requests), patience);
    co_return std::move(answers[0]);
}

asio::awaitable<bool> Line::breakOff(std::size_t server, std::string_view part)
{
    const bool connected = co_await connect(server);
    const auto buffer = asio::buffer(part.data(), part.size());
    if (connected)
        co_await asio::async_write(*stream_, buffer, awaited);
    close();
    co_return connected;
}

Client::Client(World &world, std::size_t number)
    : world_(world)
    , number_(number)
    , device_("&=+" + std::to_string(number) + "-" + std::to_string(world.seed))
    , pollDice_(world.seed * 1'000 + number)
    , line_(world, "127.200." + std::to_string(number) + ".1")
    , pollLine_(world, "127.200." + std::to_string(number) + ".1")
{}

asio::awaitable<void> Client::pause(std::uint64_t milliseconds)
{
    asio::steady_timer timer(world_.context, Time(milliseconds));
    co_await timer.async_wait(awaited);
}

asio::awaitable<void> Client::live()
{
    for (std::uint64_t step = 0; unsure_ || !world_.ending; ++step) {
        Dice dice((world_.seed * 1'000 + number_) * 1'000'000 + step);
        co_await pause(dice.upTo(250));
        server_ = dice.upTo(world_.serversUsed - 1);
        if (unsure_)
            co_await askStatus();
        else
            co_await act(dice);
    }
}

asio::awaitable<void> Client::act(Dice &dice)
{
    const std::size_t circles = world_.record.codes.size();
    const std::size_t latest = std::clamp<std::size_t>(circles, 1, 12);
    const std::size_t other = circles - 1 - dice.upTo(latest - 1);
    const std::uint64_t kind = dice.upTo(99);
    const auto counted = [&](const char *what) { return ++world_.operations[what] > 0; };
    if ((circles == 0 || kind == 0 || (!seat_ && kind < 10)) && counted("create"))
        co_await create(dice);
    else if ((!seat_ || kind < 4) && counted("join or move"))
        co_await join(dice, other);
    else if (kind < 8 && counted("rename"))
        co_await join(dice, world_.record.seats[*seat_].circle);
    else if (kind < 50 && counted("send"))
        co_await send(dice, 1);
    else if (kind < 60 && counted("pipeline"))
        co_await send(dice, 2 + dice.upTo(4));
    else if (kind < 66 && counted("hang up"))
        co_await sendBrokenOff(dice);
    else if (kind < 74 && counted("history"))
        co_await history(dice);
    else if (kind < 84 && counted("capsule"))
        co_await capsule(dice);
    else if (kind < 88 && counted("status"))
        co_await askStatus();
    else if (kind < 91 && counted("start anew"))
        startAnew();
    else if (counted("foreign key or beam"))
        co_await tryForeign(dice);
}

void Client::startAnew()
{
    ++starts_;
    unsure_ = true;
    line_.close();
    pollLine_.close();
}

void Client::complain(const std::string &what, const Span &span)
{
    world_.record.complaints.push_back(what + ": " + device_ + " (" + std::to_string(span.begun) +
                                       " to " + std::to_string(span.ended) + ")");
}

asio::awaitable<void> Client::askStatus()
{
    Span span{now(), 0};
    const std::string request = get("/me?device_id=" + device_);
    const Answer answer = co_await line_.ask(server_, request, 8s);
    span.ended = now();
    if (answer.status != 200)
        co_return;
    unsure_ = false;
    const json::value &body = answer.body;
    if (body.at("joined").as_bool()) {
        settleSeat(body, span);
    } else if (seat_) {
        if (world_.record.seats[*seat_].doubtful > span.ended)
            complain("a seat was lost by itself", span);
        loseSeat(*seat_, span.ended);
    }
}

asio::awaitable<void> Client::create(Dice &dice)
{
    const json::object body{{"device_id", device_}, {"owner_email", ""}};
    const std::string request = post("/circle/create", body);
    const Answer answer = co_await line_.ask(server_, request, 8s);
    if (answer.status != 200)
        co_return;
    world_.record.codes.push_back(textAt(answer.body, "code"));
    const std::size_t circle = world_.record.codes.size() - 1;
    Span span{now(), 0};
    co_await join(dice, circle);
    span.ended = now();
    if (seat_ && world_.record.seats[*seat_].circle == circle && span.begun >= doubtUntil_ &&
        world_.record.seats[*seat_].key != textAt(answer.body, "circle_id"))
        complain("a founder was given another key than promised", span);
}

asio::awaitable<void> Client::join(Dice &dice, std::size_t circle)
{
    static constexpr const char *emojis[] = {"💜", "👩‍👩‍👧", "e", "🏳️‍🌈"};
    const std::string handle =
        "Ana \"" + std::to_string(number_) + "\" é" + std::to_string(serial_++);
    const std::string emoji = emojis[dice.upTo(std::size(emojis) - 1)];
    const std::optional<std::size_t> old = seat_;
    const bool leaving = old && world_.record.seats[*old].circle != circle;
    Span span{now(), 0};
    const Moment doubtful = old ? world_.record.seats[*old].doubtful : never;
    if (leaving)
        world_.record.seats[*old].doubtful = std::min(doubtful, span.begun);
    const std::set<std::string> names = names_;
    names_.insert(nameOf(handle, emoji));
    const json::object body{{"code", world_.record.codes[circle]},
                            {"handle", handle},
                            {"emoji", emoji},
                            {"device_id", device_}};
    const std::string request = post("/join", body);
    const Answer answer = co_await line_.ask(server_, request, 8s);
    span.ended = now();
    const unsigned status = answer.status;
    if (status == 200) {
        if (span.begun >= doubtUntil_)
            names_ = {nameOf(handle, emoji)};
        settleSeat(answer.body, span);
    } else if (!answer.asked || (status >= 400 && status < 500)) {
        names_ = names;
        if (leaving)
            world_.record.seats[*old].doubtful = doubtful;
    } else {
        unsure_ = true;
        doubtUntil_ = span.ended + afterlife;
    }
}

void Client::settleSeat(const json::value &reply, const Span &span)
{
    std::vector<SeatLog> &seats = world_.record.seats;
    const std::vector<std::string> &codes = world_.record.codes;
    const auto code = std::find(codes.begin(), codes.end(), textAt(reply, "code"));
    const SeatLog told{textAt(reply, "circle_id"), textAt(reply, "member_id"),
                       static_cast<std::size_t>(code - codes.begin()), number_,
                       span.begun < doubtUntil_ ? span.begun : never};
    if (code == codes.end())
        return complain("a seat in a circle that nobody made", span);
    std::size_t named = 0;
    for (const json::value &member : reply.at("members").as_array())
        named += textAt(member, "id") == told.member &&
                 names_.contains(nameOf(textAt(member, "handle"), textAt(member, "emoji")));
    if (named != 1)
        complain("a member is not among the members, or has another name", span);
    if (seat_ && seats[*seat_].key == told.key) {
        if (seats[*seat_].member != told.member || seats[*seat_].circle != told.circle)
            complain("a seat has become another one", span);
        return;
    }
    for (const SeatLog &seat : seats) {
        if (seat.key == told.key)
            complain("a key was given twice", span);
    }
    if (seat_ && seats[*seat_].doubtful > span.ended)
        complain("a seat was exchanged by itself", span);
    if (seat_)
        loseSeat(*seat_, span.ended);
    seats.push_back(told);
    seat_ = seats.size() - 1;
}

void Client::loseSeat(std::size_t seat, Moment by)
{
    SeatLog &log = world_.record.seats[seat];
    log.lost = std::min(log.lost, by);
    if (seat_ != seat)
        return;
    lostSeats_.push_back(seat);
    seat_.reset();
    unsure_ = true;
}

std::size_t Client::addSend(Dice &dice, std::size_t seat)
{
    SendLog send;
    send.seat = seat;
    send.server = server_;
    send.names = names_;
    send.type = "text";
    const std::string token = std::to_string(number_) + "/" + std::to_string(++serial_) + " ";
    const std::uint64_t kind = dice.upTo(99);
    if (kind < 15) {
        send.type = "doodle";
        send.body = doodle(token, kind == 0 ? 300'000 : dice.upTo(2'000));
    } else {
        send.body = token + difficultText(kind == 99 ? 1'200 : dice.upTo(40), dice);
    }
    if (kind >= 80)
        send.effect = "shake";
    if (kind >= 65 && kind < 85)
        send.openAt = now() / second + world_.servers.ahead(send.server) + 1 +
                      static_cast<std::int64_t>(dice.upTo(20));
    send.span.begun = now();
    world_.record.sends.push_back(std::move(send));
    return world_.record.sends.size() - 1;
}

std::string Client::beamRequest(const SendLog &send) const
{
    const SeatLog &seat = world_.record.seats[send.seat];
    json::object body{{"circle_id", seat.key},
                      {"from_member", seat.member},
                      {"type", send.type},
                      {"body", send.body}};
    if (!send.effect.empty())
        body["effect"] = send.effect;
    if (send.openAt != 0)
        body["open_at"] = send.openAt;
    return post("/beam", body);
}

void Client::settleSend(SendLog &send, const Answer &answer)
{
    using Outcome = SendLog::Outcome;
    send.span.ended = now();
    send.status = answer.status;
    const bool refused = answer.status == 503 || (answer.status >= 400 && answer.status < 500);
    send.outcome = answer.status == 200 ? Outcome::Kept
                   : refused            ? Outcome::Refused
                   : answer.asked       ? Outcome::Unsure
                                        : Outcome::Cut;
    if (answer.status == 403)
        loseSeat(send.seat, send.span.ended);
    if (answer.status != 200)
        return;
    send.id = textAt(answer.body, "id");
    send.createdAt = numberAt(answer.body, "created_at");
    if (send.openAt != 0)
        world_.capsules.emplace_back(world_.record.seats[send.seat].circle, send.id);
}

asio::awaitable<void> Client::send(Dice &dice, std::size_t count)
{
    const std::size_t seat = *seat_;
    std::vector<std::size_t> sends;
    std::vector<std::string> requests;
    for (std::size_t i = 0; i < count; ++i) {
        sends.push_back(addSend(dice, seat));
        requests.push_back(beamRequest(world_.record.sends.back()));
        if (i > 0)
            world_.record.sends.back().after = sends[i - 1];
    }
    LookLog look{LookLog::Kind::History, seat, server_, 20, {now(), 0}};
    if (count > 1)
        requests.push_back(historyRequest(look));
    const auto answers = co_await line_.ask(look.server, std::move(requests), 8s);
    for (std::size_t i = 0; i < count; ++i)
        settleSend(world_.record.sends[sends[i]], answers[i]);
    if (count > 1)
        addLook(std::move(look), answers[count]);
}

asio::awaitable<void> Client::sendBrokenOff(Dice &dice)
{
    const std::size_t index = addSend(dice, *seat_);
    const std::string request = beamRequest(world_.record.sends[index]);
    const std::size_t part = dice.oneIn(3) ? request.size() : dice.upTo(request.size());
    const std::string_view bytes = std::string_view(request).substr(0, part);
    const bool asked = co_await line_.breakOff(server_, bytes);
    SendLog &send = world_.record.sends[index];
    send.span.ended = now();
    if (part < request.size() || !asked)
        send.outcome = SendLog::Outcome::Cut;
}

std::string Client::pollRequest(const LookLog &look, const std::string &member) const
{
    return get("/beams?circle_id=" + world_.record.seats[look.seat].key + "&member_id=" + member +
               "&since=" + std::to_string(look.asked));
}

std::string Client::historyRequest(const LookLog &look) const
{
    return get("/history?circle_id=" + world_.record.seats[look.seat].key +
               "&limit=" + std::to_string(look.asked));
}

std::string Client::capsuleRequest(const LookLog &look, const std::string &id) const
{
    return get("/capsule?circle_id=" + world_.record.seats[look.seat].key + "&id=" + id);
}

asio::awaitable<unsigned> Client::look(Line &line, LookLog look, std::string request, Time patience)
{
    look.span.begun = now();
    const Answer answer = co_await line.ask(look.server, request, patience);
    addLook(std::move(look), answer);
    co_return answer.status;
}

void Client::addLook(LookLog look, const Answer &answer)
{
    look.span.ended = now();
    look.status = answer.status;
    if (look.status == 403 && look.kind != LookLog::Kind::Capsule &&
        look.kind != LookLog::Kind::Foreign)
        loseSeat(look.seat, look.span.ended);
    if (look.status == 0)
        return;
    if (look.status == 200 && look.kind == LookLog::Kind::Capsule)
        look.beams.push_back(deliveredIn(answer.body));
    if (look.status == 200 && look.kind != LookLog::Kind::Foreign)
        look.serverTime = numberAt(answer.body, "server_time");
    if (look.status == 200 &&
        (look.kind == LookLog::Kind::Poll || look.kind == LookLog::Kind::History)) {
        for (const json::value &beam : answer.body.at("beams").as_array())
            look.beams.push_back(deliveredIn(beam));
    }
    world_.record.looks.push_back(std::move(look));
}

asio::awaitable<void> Client::history(Dice &dice)
{
    const LookLog log{LookLog::Kind::History, *seat_, server_,
                      static_cast<std::int64_t>(1 + dice.upTo(199))};
    const std::string request = historyRequest(log);
    co_await look(line_, log, request, 8s);
}

asio::awaitable<void> Client::capsule(Dice &dice)
{
    const LookLog log{LookLog::Kind::Capsule, *seat_, server_};
    std::vector<std::string> known;
    for (const auto &[circle, id] : world_.capsules) {
        if (circle == world_.record.seats[*seat_].circle)
            known.push_back(id);
    }
    if (known.empty())
        co_return;
    const std::size_t back = dice.upTo(std::min<std::size_t>(known.size(), 10) - 1);
    const std::string request = capsuleRequest(log, known[known.size() - 1 - back]);
    co_await look(line_, log, request, 3s);
}

// From another address, as whoever has found a key would: wrong ones count against an address.
asio::awaitable<void> Client::tryForeign(Dice &dice)
{
    const std::vector<SeatLog> &seats = world_.record.seats;
    Line line(world_, "127.201." + std::to_string(dice.upTo(249)) + "." +
                          std::to_string(1 + dice.upTo(249)));
    LookLog log{LookLog::Kind::Foreign, *seat_, server_};
    const std::size_t way = dice.upTo(3);
    const std::string member = seats[dice.upTo(seats.size() - 1)].member;
    std::string request;
    if (way == 0 && member != seats[*seat_].member) {
        request = pollRequest(log, member);
    } else if (way == 1 && !world_.capsules.empty()) {
        const auto &[circle, id] = world_.capsules[dice.upTo(world_.capsules.size() - 1)];
        if (circle != seats[*seat_].circle)
            request = capsuleRequest(log, id);
    } else if (!lostSeats_.empty()) {
        log.seat = lostSeats_[dice.upTo(lostSeats_.size() - 1)];
        log.kind = way == 2 ? LookLog::Kind::Poll : LookLog::Kind::History;
        log.asked = 1;
        request = way == 2 ? pollRequest(log, seats[log.seat].member) : historyRequest(log);
        const std::size_t index = addSend(dice, log.seat);
        const std::string sending = beamRequest(world_.record.sends[index]);
        const Answer answer = co_await line.ask(log.server, sending, 8s);
        settleSend(world_.record.sends[index], answer);
    }
    if (!request.empty())
        co_await look(line, log, request, 8s);
}

asio::awaitable<void> Client::watch()
{
    while (world_.quiet > now()) {
        if (!seat_) {
            co_await pause(30);
            continue;
        }
        const std::size_t seat = *seat_;
        const std::uint64_t starts = starts_;
        std::int64_t since = 0;
        while (seat_ == seat && starts_ == starts) {
            const Moment begun = now();
            const bool told = co_await pollOnce(seat, since);
            if (told && begun >= world_.quiet)
                co_return;
            co_await pause(pollDice_.upTo(150));
        }
    }
}

asio::awaitable<bool> Client::pollOnce(std::size_t seat, std::int64_t &since)
{
    if (pollDice_.oneIn(8))
        pollServer_ = pollDice_.upTo(world_.serversUsed - 1);
    const LookLog log{LookLog::Kind::Poll, seat, pollServer_, since};
    const Time patience(pollDice_.oneIn(10) ? 60 : 8'000);
    const std::string request = pollRequest(log, world_.record.seats[seat].member);
    const unsigned status = co_await look(pollLine_, log, request, patience);
    if (status == 200)
        since = std::max<std::int64_t>(0, world_.record.looks.back().serverTime - 1);
    co_return status == 200;
}

} // namespace kivolo::server::history
