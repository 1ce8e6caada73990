#include "client.h"

#include <algorithm>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/detail/base64.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

namespace kivolo::server::history {

namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace json = boost::json;
using namespace std::chrono_literals;
using Kind = LookLog::Kind;
using Time = std::chrono::milliseconds;

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

struct Answer
{
    unsigned status = 0; ///< 0: none came.
    bool asked = false;  ///< Whether there was anybody to ask.
    json::value body;
};

/// A connection to one of the servers, made when it is needed, from an address of one's own.
class Line
{
public:
    Line(World &world, std::string from)
        : world_(world)
        , from_(std::move(from))
    {}

    /// Sends all of them at once and reads the answers that come within the time; then it is
    /// closed where one is missing.
    asio::awaitable<std::vector<Answer>> ask(std::size_t server, std::vector<std::string> requests,
                                             Time patience)
    {
        std::vector<Answer> answers(requests.size());
        std::string all;
        for (const std::string &request : requests)
            all += request;
        const bool connected = co_await write(server, all, patience);
        for (Answer &answer : answers)
            answer.asked = connected;
        for (Answer &answer : answers) {
            if (!stream_->socket().is_open())
                break;
            http::response_parser<http::string_body> parser;
            parser.body_limit(256 << 20);
            const auto [error, n] = co_await http::async_read(*stream_, buffer_, parser, awaited);
            if (!error) {
                answer.status = parser.get().result_int();
                answer.body = json::parse(parser.get().body());
            }
            if (error || !parser.get().keep_alive())
                stream_->close();
        }
        co_return answers;
    }

    asio::awaitable<Answer> ask(std::size_t server, std::string request, Time patience)
    {
        std::vector<std::string> requests;
        requests.push_back(std::move(request));
        std::vector<Answer> answers = co_await ask(server, std::move(requests), patience);
        co_return std::move(answers[0]);
    }

    /// Sends a part of a request and hangs up. False where there was nobody.
    asio::awaitable<bool> breakOff(std::size_t server, std::string part)
    {
        const bool connected = co_await write(server, std::move(part), 5s);
        close();
        co_return connected;
    }

    void close()
    {
        if (stream_)
            stream_->close();
    }

private:
    asio::awaitable<bool> write(std::size_t server, std::string bytes, Time patience)
    {
        const bool there = stream_ && stream_->socket().is_open() && server == server_;
        if (!there) {
            buffer_.clear();
            server_ = server;
            auto &socket = stream_.emplace(world_.context).socket();
            socket.open(asio::ip::tcp::v4());
            socket.bind({asio::ip::make_address(from_), 0});
            stream_->expires_after(5s);
            const asio::ip::tcp::endpoint peer(
                asio::ip::make_address(world_.servers.address(server)), world_.servers.port());
            const auto [refused] = co_await stream_->async_connect(peer, awaited);
            if (refused) {
                stream_->close();
                co_return false;
            }
        }
        stream_->expires_after(patience);
        const auto buffer = asio::buffer(bytes);
        co_await asio::async_write(*stream_, buffer, awaited);
        co_return true;
    }

    World &world_;
    std::string from_;
    std::size_t server_ = 0;
    std::optional<beast::tcp_stream> stream_;
    beast::flat_buffer buffer_;
};

class Client
{
public:
    Client(World &world, std::size_t number)
        : world_(world)
        , number_(number)
        , device_("&=+" + std::to_string(number) + "-" + std::to_string(world.seed))
        , pollDice_(world.seed * 1'000 + number)
        , line_(world, "127.200." + std::to_string(number) + ".1")
        , pollLine_(world, "127.200." + std::to_string(number) + ".1")
    {}

    asio::awaitable<void> live()
    {
        ++world_.living;
        for (std::uint64_t step = 0; unsure_ || !world_.ending; ++step) {
            Dice dice((world_.seed * 1'000 + number_) * 1'000'000 + step);
            co_await world_.sleep(dice.upTo(250));
            server_ = dice.upTo(world_.serversUsed - 1);
            if (unsure_)
                co_await askStatus();
            else
                co_await act(dice);
        }
        --world_.living;
    }

    asio::awaitable<void> watch()
    {
        ++world_.watching;
        bool seenAll = false;
        while (world_.quiet > now() && !seenAll) {
            if (!seat_) {
                co_await world_.sleep(30);
                continue;
            }
            const std::size_t seat = *seat_;
            const std::uint64_t starts = starts_;
            std::int64_t since = 0;
            while (seat_ == seat && starts_ == starts && !seenAll) {
                const Moment begun = now();
                const bool told = co_await pollOnce(seat, since);
                seenAll = told && begun >= world_.quiet;
                co_await world_.sleep(pollDice_.upTo(150));
            }
        }
        --world_.watching;
    }

private:
    SeatLog &seatLog() { return world_.record.seats[*seat_]; }

    asio::awaitable<void> act(Dice &dice)
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
            co_await join(dice, seatLog().circle);
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

    void startAnew()
    {
        ++starts_;
        unsure_ = true;
        line_.close();
        pollLine_.close();
    }

    void complain(const std::string &what, const Span &span)
    {
        world_.record.complaints.push_back(what + ": " + device_ + " (" +
                                           std::to_string(span.begun) + " to " +
                                           std::to_string(span.ended) + ")");
    }

    asio::awaitable<void> askStatus()
    {
        Span span{now(), 0};
        const std::string request = get("/me?device_id=" + device_);
        const Answer answer = co_await line_.ask(server_, request, 8s);
        span.ended = now();
        if (answer.status != 200)
            co_return;
        unsure_ = false;
        if (answer.body.at("joined").as_bool()) {
            settleSeat(answer.body, span);
        } else if (seat_) {
            if (seatLog().doubtful > span.ended)
                complain("a seat was lost by itself", span);
            loseSeat(*seat_, span.ended);
        }
    }

    asio::awaitable<void> create(Dice &dice)
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
        if (seat_ && seatLog().circle == circle && span.begun >= doubtUntil_ &&
            seatLog().key != textAt(answer.body, "circle_id"))
            complain("a founder was given another key than promised", span);
    }

    asio::awaitable<void> join(Dice &dice, std::size_t circle)
    {
        static constexpr const char *emojis[] = {"💜", "👩‍👩‍👧", "e", "🏳️‍🌈"};
        const std::string handle =
            "Ana \"" + std::to_string(number_) + "\" é" + std::to_string(serial_++);
        const json::object body{{"code", world_.record.codes[circle]},
                                {"handle", handle},
                                {"emoji", emojis[dice.upTo(std::size(emojis) - 1)]},
                                {"device_id", device_}};
        const std::string name = nameIn(body, "handle", "emoji");
        const std::optional<std::size_t> left =
            seat_ && seatLog().circle != circle ? seat_ : std::nullopt;
        const Moment doubtful = left ? seatLog().doubtful : never;
        const std::set<std::string> names = names_;
        Span span{now(), 0};
        if (left)
            seatLog().doubtful = std::min(doubtful, span.begun);
        names_.insert(name);
        const std::string request = post("/join", body);
        const Answer answer = co_await line_.ask(server_, request, 8s);
        span.ended = now();
        if (answer.status == 200) {
            if (span.begun >= doubtUntil_)
                names_ = {name};
            settleSeat(answer.body, span);
        } else if (!answer.asked || (answer.status >= 400 && answer.status < 500)) {
            names_ = names;
            if (left)
                world_.record.seats[*left].doubtful = doubtful;
        } else {
            unsure_ = true;
            doubtUntil_ = span.ended + afterlife;
        }
    }

    void settleSeat(const json::value &reply, const Span &span)
    {
        std::vector<SeatLog> &seats = world_.record.seats;
        const std::vector<std::string> &codes = world_.record.codes;
        const auto code = std::find(codes.begin(), codes.end(), textAt(reply, "code"));
        const SeatLog told{textAt(reply, "circle_id"), textAt(reply, "member_id"),
                           static_cast<std::size_t>(code - codes.begin()),
                           span.begun < doubtUntil_ ? span.begun : never};
        if (code == codes.end())
            return complain("a seat in a circle that nobody made", span);
        const json::array &members = reply.at("members").as_array();
        const auto isMe = [&](const json::value &member) {
            return textAt(member, "id") == told.member &&
                   names_.contains(nameIn(member, "handle", "emoji"));
        };
        if (std::count_if(members.begin(), members.end(), isMe) != 1)
            complain("a member is not among the members, or has another name", span);
        if (seat_ && seatLog().key == told.key) {
            if (seatLog().member != told.member || seatLog().circle != told.circle)
                complain("a seat has become another one", span);
            return;
        }
        for (const SeatLog &seat : seats) {
            if (seat.key == told.key)
                complain("a key was given twice", span);
        }
        if (seat_ && seatLog().doubtful > span.ended)
            complain("a seat was exchanged by itself", span);
        if (seat_)
            loseSeat(*seat_, span.ended);
        seats.push_back(told);
        seat_ = seats.size() - 1;
    }

    void loseSeat(std::size_t seat, Moment by)
    {
        SeatLog &log = world_.record.seats[seat];
        log.lost = std::min(log.lost, by);
        if (seat_ != seat)
            return;
        lostSeats_.push_back(seat);
        seat_.reset();
        unsure_ = true;
    }

    std::size_t addSend(Dice &dice, std::size_t seat)
    {
        SendLog send{.seat = seat, .server = server_, .names = names_};
        const std::string token = std::to_string(number_) + "/" + std::to_string(++serial_) + " ";
        const std::uint64_t kind = dice.upTo(99);
        if (kind < 15) {
            send.beam.type = "doodle";
            send.beam.body = doodle(token, kind == 0 ? 300'000 : dice.upTo(2'000));
        } else {
            send.beam.type = "text";
            send.beam.body = token + difficultText(kind == 99 ? 1'200 : dice.upTo(40), dice);
        }
        if (kind >= 80)
            send.beam.effect = "shake";
        if (kind >= 65 && kind < 85)
            send.beam.openAt = now() / second + world_.servers.ahead(send.server) + 1 +
                               static_cast<std::int64_t>(dice.upTo(20));
        send.span.begun = now();
        world_.record.sends.push_back(std::move(send));
        return world_.record.sends.size() - 1;
    }

    std::string beamRequest(std::size_t index) const
    {
        const SendLog &send = world_.record.sends[index];
        const SeatLog &seat = world_.record.seats[send.seat];
        json::object body{{"circle_id", seat.key},
                          {"from_member", seat.member},
                          {"type", send.beam.type},
                          {"body", send.beam.body}};
        if (!send.beam.effect.empty())
            body["effect"] = send.beam.effect;
        if (send.beam.openAt != 0)
            body["open_at"] = send.beam.openAt;
        return post("/beam", body);
    }

    void settleSend(std::size_t index, const Answer &answer)
    {
        using Outcome = SendLog::Outcome;
        SendLog &send = world_.record.sends[index];
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
        send.beam.id = textAt(answer.body, "id");
        send.beam.createdAt = numberAt(answer.body, "created_at");
        if (send.beam.openAt != 0)
            world_.capsules.emplace_back(world_.record.seats[send.seat].circle, send.beam.id);
    }

    asio::awaitable<void> send(Dice &dice, std::size_t count)
    {
        std::vector<std::size_t> sends;
        std::vector<std::string> requests;
        for (std::size_t i = 0; i < count; ++i) {
            sends.push_back(addSend(dice, *seat_));
            requests.push_back(beamRequest(sends[i]));
            if (i > 0)
                world_.record.sends.back().after = sends[i - 1];
        }
        LookLog look{Kind::History, *seat_, server_, 20, {now(), 0}};
        if (count > 1)
            requests.push_back(requestOf(look));
        const auto answers = co_await line_.ask(look.server, std::move(requests), 8s);
        for (std::size_t i = 0; i < count; ++i)
            settleSend(sends[i], answers[i]);
        if (count > 1)
            addLook(std::move(look), answers[count]);
    }

    asio::awaitable<void> sendBrokenOff(Dice &dice)
    {
        const std::size_t index = addSend(dice, *seat_);
        const std::string request = beamRequest(index);
        const std::size_t part = dice.oneIn(3) ? request.size() : dice.upTo(request.size());
        const bool asked = co_await line_.breakOff(server_, request.substr(0, part));
        SendLog &send = world_.record.sends[index];
        send.span.ended = now();
        if (part < request.size() || !asked)
            send.outcome = SendLog::Outcome::Cut;
    }

    /// `of`: for a poll the member that asks, for a capsule its id.
    std::string requestOf(const LookLog &look, const std::string &of = {}) const
    {
        const std::string key = "?circle_id=" + world_.record.seats[look.seat].key;
        const std::string asked = std::to_string(look.asked);
        if (look.kind == Kind::Poll)
            return get("/beams" + key + "&member_id=" + of + "&since=" + asked);
        if (look.kind == Kind::History)
            return get("/history" + key + "&limit=" + asked);
        return get("/capsule" + key + "&id=" + of);
    }

    asio::awaitable<unsigned> look(Line &line, LookLog look, std::string request, Time patience)
    {
        look.span.begun = now();
        const Answer answer = co_await line.ask(look.server, request, patience);
        addLook(std::move(look), answer);
        co_return answer.status;
    }

    void addLook(LookLog look, const Answer &answer)
    {
        look.span.ended = now();
        look.status = answer.status;
        const bool ofAll = look.kind == Kind::Poll || look.kind == Kind::History;
        if (look.status == 403 && ofAll)
            loseSeat(look.seat, look.span.ended);
        if (look.status == 0)
            return;
        if (look.status == 200 && look.kind == Kind::Capsule)
            look.beams.emplace_back(beamIn(answer.body));
        if (look.status == 200 && ofAll) {
            look.serverTime = numberAt(answer.body, "server_time");
            for (const json::value &beam : answer.body.at("beams").as_array())
                look.beams.emplace_back(beamIn(beam));
        }
        world_.record.looks.push_back(std::move(look));
    }

    asio::awaitable<void> history(Dice &dice)
    {
        const LookLog log{Kind::History, *seat_, server_,
                          static_cast<std::int64_t>(1 + dice.upTo(199))};
        const std::string request = requestOf(log);
        co_await look(line_, log, request, 8s);
    }

    asio::awaitable<void> capsule(Dice &dice)
    {
        std::vector<std::string> known;
        for (const auto &[circle, id] : world_.capsules) {
            if (circle == seatLog().circle)
                known.push_back(id);
        }
        if (known.empty())
            co_return;
        const std::size_t back = dice.upTo(std::min<std::size_t>(known.size(), 10) - 1);
        const LookLog log{Kind::Capsule, *seat_, server_};
        const std::string request = requestOf(log, known[known.size() - 1 - back]);
        co_await look(line_, log, request, 3s);
    }

    // From another address, as whoever has found a key would: wrong ones count against an address.
    asio::awaitable<void> tryForeign(Dice &dice)
    {
        const std::vector<SeatLog> &seats = world_.record.seats;
        Line line(world_, "127.201." + std::to_string(dice.upTo(249)) + "." +
                              std::to_string(1 + dice.upTo(249)));
        LookLog log{Kind::Poll, *seat_, server_};
        const std::size_t way = dice.upTo(3);
        const std::string member = seats[dice.upTo(seats.size() - 1)].member;
        std::string request;
        if (way == 0 && member != seatLog().member) {
            request = requestOf(log, member);
            log.kind = Kind::Foreign;
        } else if (way == 1 && !world_.capsules.empty()) {
            const auto &[circle, id] = world_.capsules[dice.upTo(world_.capsules.size() - 1)];
            log.kind = Kind::Capsule;
            if (circle != seatLog().circle)
                request = requestOf(log, id);
            log.kind = Kind::Foreign;
        } else if (!lostSeats_.empty()) {
            log.seat = lostSeats_[dice.upTo(lostSeats_.size() - 1)];
            log.kind = way == 2 ? Kind::Poll : Kind::History;
            log.asked = 1;
            request = requestOf(log, seats[log.seat].member);
            const std::size_t index = addSend(dice, log.seat);
            const std::string sending = beamRequest(index);
            const Answer answer = co_await line.ask(log.server, sending, 8s);
            settleSend(index, answer);
        }
        if (!request.empty())
            co_await look(line, log, request, 8s);
    }

    asio::awaitable<bool> pollOnce(std::size_t seat, std::int64_t &since)
    {
        if (pollDice_.oneIn(8))
            pollServer_ = pollDice_.upTo(world_.serversUsed - 1);
        const LookLog log{Kind::Poll, seat, pollServer_, since};
        const Time patience(pollDice_.oneIn(10) ? 60 : 8'000);
        const std::string request = requestOf(log, world_.record.seats[seat].member);
        const unsigned status = co_await look(pollLine_, log, request, patience);
        if (status == 200)
            since = std::max<std::int64_t>(0, world_.record.looks.back().serverTime - 1);
        co_return status == 200;
    }

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

asio::awaitable<void> live(std::shared_ptr<Client> client)
{
    co_await client->live();
}

asio::awaitable<void> watch(std::shared_ptr<Client> client)
{
    co_await client->watch();
}

} // namespace

World::World(ServerOptions options, std::uint64_t seed_)
    : seed(seed_)
    , servers(std::move(options), record)
{}

void World::start(asio::awaitable<void> coroutine)
{
    asio::co_spawn(context, std::move(coroutine), [](std::exception_ptr failure) {
        if (failure)
            std::rethrow_exception(failure);
    });
}

asio::awaitable<void> World::sleep(std::uint64_t milliseconds)
{
    asio::steady_timer timer(context, Time(milliseconds));
    co_await timer.async_wait(awaited);
}

void startClient(World &world, std::size_t number)
{
    const auto client = std::make_shared<Client>(world, number);
    world.start(live(client));
    world.start(watch(client));
}

} // namespace kivolo::server::history
