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
using namespace std::chrono_literals;
using Kind = LookLog::Kind;
using Outcome = SendLog::Outcome;
using Time = std::chrono::milliseconds;

namespace {

constexpr auto awaited = asio::as_tuple(asio::use_awaitable);
constexpr Time enough = 8s; ///< Longer than the server's own patience.

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
        text += dice.oneOf(pieces);
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
    static constexpr unsigned nobody = 0; ///< There was nobody to ask.
    static constexpr unsigned none = 1;   ///< None came.

    /// Whether what was asked for has certainly not been done, and will not be.
    bool refuses() const
    {
        return status == nobody || status == 503 || (status >= 400 && status < 500);
    }

    unsigned status = nobody;
    json::object body{};
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
        const bool connected = co_await connect(server);
        if (!connected)
            co_return answers;
        std::string all;
        for (const std::string &request : requests)
            all += request;
        stream_->expires_after(patience);
        const auto bytes = asio::buffer(all);
        co_await asio::async_write(*stream_, bytes, awaited);
        for (Answer &answer : answers) {
            answer.status = Answer::none;
            if (!stream_->socket().is_open())
                continue;
            http::response_parser<http::string_body> parser;
            parser.body_limit(256 << 20);
            const auto [error, n] = co_await http::async_read(*stream_, buffer_, parser, awaited);
            if (!error)
                answer = {parser.get().result_int(), json::parse(parser.get().body()).as_object()};
            if (error || !parser.get().keep_alive())
                stream_->close();
        }
        co_return answers;
    }

    asio::awaitable<Answer> ask(std::size_t server, std::string request, Time patience)
    {
        std::vector<std::string> requests(1, request);
        std::vector<Answer> answers = co_await ask(server, std::move(requests), patience);
        co_return std::move(answers[0]);
    }

    /// Sends that and hangs up.
    asio::awaitable<void> breakOff(std::size_t server, std::string part)
    {
        const bool connected = co_await connect(server);
        const auto bytes = asio::buffer(part);
        if (connected)
            co_await asio::async_write(*stream_, bytes, awaited);
        close();
    }

    void close()
    {
        if (stream_)
            stream_->close();
    }

private:
    asio::awaitable<bool> connect(std::size_t server)
    {
        const bool there = stream_ && stream_->socket().is_open() && server == server_;
        if (there)
            co_return true;
        buffer_.clear();
        server_ = server;
        auto &socket = stream_.emplace(world_.context).socket();
        socket.open(asio::ip::tcp::v4());
        socket.bind({asio::ip::make_address(from_), 0});
        stream_->expires_after(5s);
        const asio::ip::tcp::endpoint peer(asio::ip::make_address(world_.servers.address(server)),
                                           Servers::port);
        const auto [refused] = co_await stream_->async_connect(peer, awaited);
        if (refused)
            stream_->close();
        co_return !refused;
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
        , pollDice_(world.seed * 1'000 + number)
        , line_(world, "127.200." + std::to_string(number) + ".1")
        , pollLine_(world, "127.200." + std::to_string(number) + ".1")
    {
        becomeAnother();
    }

    asio::awaitable<void> live()
    {
        ++world_.living;
        for (std::uint64_t step = 0; !world_.ending; ++step) {
            Dice dice((world_.seed * 1'000 + number_) * 1'000'000 + step);
            co_await world_.sleep(dice.upTo(250));
            server_ = dice.upTo(world_.serversUsed - 1);
            const Deed *deed = deeds;
            for (std::uint64_t left = dice.upTo(seat_ ? 99 : 4); left >= deed->often; ++deed)
                left -= deed->often;
            ++world_.record.counts[std::string("done: ") + deed->name];
            co_await (this->*deed->perform)(dice);
        }
        --world_.living;
    }

    asio::awaitable<void> watch()
    {
        ++world_.watching;
        std::optional<std::size_t> seat;
        std::uint64_t starts = 0;
        std::int64_t since = 0;
        for (bool seenAll = false; !seenAll && (seat_ || now() < world_.quiet);) {
            co_await world_.sleep(pollDice_.upTo(150));
            if (seat != seat_ || starts != starts_)
                since = 0;
            seat = seat_;
            starts = starts_;
            if (!seat)
                continue;
            const Moment begun = now();
            const bool told = co_await pollOnce(*seat, since);
            seenAll = told && begun >= world_.quiet;
        }
        --world_.watching;
    }

private:
    /// What it does now and then, so often in a hundred times.
    struct Deed
    {
        std::uint64_t often;
        const char *name;
        asio::awaitable<void> (Client::*perform)(Dice &);
    };
    static const Deed deeds[];

    SeatLog &seatLog() { return world_.record.seats[*seat_]; }

    /// Nobody is bothered by what its device may still be doing.
    void becomeAnother()
    {
        seat_.reset();
        device_ = "&=+" + std::to_string(number_) + "-" + std::to_string(world_.seed) + "-" +
                  std::to_string(++serial_);
    }

    asio::awaitable<void> create(Dice &dice)
    {
        const std::string request = post("/circle/create", {{"device_id", device_}});
        const Answer answer = co_await line_.ask(server_, request, enough);
        if (answer.status != 200)
            co_return;
        world_.record.codes.push_back(textAt(answer.body, "code"));
        const std::size_t circle = world_.record.codes.size() - 1;
        co_await enter(dice, circle);
        if (seat_ && seatLog().circle == circle &&
            seatLog().key != textAt(answer.body, "circle_id"))
            world_.complain("a founder was given another key than promised");
    }

    asio::awaitable<void> join(Dice &dice)
    {
        const std::size_t circles = world_.record.codes.size();
        if (circles > 0)
            co_await enter(dice, circles - 1 - dice.upTo(std::min<std::size_t>(circles, 12) - 1));
    }

    asio::awaitable<void> rename(Dice &dice) { co_await enter(dice, seatLog().circle); }

    asio::awaitable<void> enter(Dice &dice, std::size_t circle)
    {
        static constexpr const char *emojis[] = {"💜", "👩‍👩‍👧", "e", "🏳️‍🌈"};
        const std::string handle =
            "Ana \"" + std::to_string(number_) + "\" é" + std::to_string(++serial_);
        const json::object body{{"code", world_.record.codes[circle]},
                                {"handle", handle},
                                {"emoji", dice.oneOf(emojis)},
                                {"device_id", device_}};
        const bool moves = seat_ && seatLog().circle != circle;
        if (moves)
            seatLog().doubtful = now();
        const std::string request = post("/join", body);
        const Answer answer = co_await line_.ask(server_, request, enough);
        if (answer.status == 200)
            settle(circle, body, answer.body);
        else if (!answer.refuses())
            becomeAnother();
        else if (moves)
            seatLog().doubtful = never;
    }

    /// It has joined, under that name.
    void settle(std::size_t circle, const json::object &name, const json::object &reply)
    {
        std::vector<SeatLog> &seats = world_.record.seats;
        const std::string key = textAt(reply, "circle_id");
        handle_ = textAt(name, "handle");
        emoji_ = textAt(name, "emoji");
        const bool moves = !seat_ || seatLog().circle != circle;
        if (moves && std::ranges::find(seats, key, &SeatLog::key) != seats.end())
            world_.complain("a key was given twice");
        if (moves && seat_) {
            seatLog().lost = now();
            lostSeats_.push_back(*seat_);
        }
        if (moves) {
            seat_ = seats.size();
            seats.push_back({key, textAt(reply, "member_id"), circle});
        }
        expectSeat(reply);
    }

    void expectSeat(const json::object &reply)
    {
        const json::object me{{"id", seatLog().member}, {"handle", handle_}, {"emoji", emoji_}};
        if (textAt(reply, "circle_id") != seatLog().key ||
            textAt(reply, "member_id") != seatLog().member ||
            textAt(reply, "code") != world_.record.codes[seatLog().circle])
            world_.complain("a seat has become another one");
        else if (std::ranges::count(reply.at("members").as_array(), json::value(me)) != 1)
            world_.complain("a member is not among the members, or has another name");
    }

    asio::awaitable<void> askStatus(Dice &)
    {
        const std::string request = get("/me?device_id=" + device_);
        const Answer answer = co_await line_.ask(server_, request, enough);
        if (answer.status == 200 && answer.body.at("joined").as_bool())
            expectSeat(answer.body);
        else if (answer.status == 200)
            world_.complain("a seat was lost by itself");
    }

    asio::awaitable<void> startAnew(Dice &dice)
    {
        ++starts_;
        line_.close();
        pollLine_.close();
        co_await askStatus(dice);
    }

    std::size_t addSend(Dice &dice, std::size_t seat)
    {
        SendLog send{.seat = seat, .server = server_};
        const std::string token = std::to_string(number_) + "/" + std::to_string(++serial_) + " ";
        const std::uint64_t kind = dice.upTo(99);
        send.beam["from_member"] = world_.record.seats[seat].member;
        send.beam["type"] = kind < 15 ? "doodle" : "text";
        send.beam["body"] = kind < 15
                                ? doodle(token, kind == 0 ? 300'000 : dice.upTo(2'000))
                                : token + difficultText(kind == 99 ? 1'200 : dice.upTo(40), dice);
        if (kind >= 80)
            send.beam["effect"] = "shake";
        if (kind >= 65 && kind < 85)
            send.beam["open_at"] = now() / second + world_.servers.ahead(send.server) + 1 +
                                   static_cast<std::int64_t>(dice.upTo(20));
        send.span.begun = now();
        world_.record.sends.push_back(std::move(send));
        return world_.record.sends.size() - 1;
    }

    std::string beamRequest(std::size_t index) const
    {
        const SendLog &send = world_.record.sends[index];
        json::object body = send.beam;
        body["circle_id"] = world_.record.seats[send.seat].key;
        return post("/beam", body);
    }

    void settleSend(std::size_t index, const Answer &answer)
    {
        SendLog &send = world_.record.sends[index];
        send.span.ended = now();
        send.status = answer.status;
        send.outcome = answer.status == 200              ? Outcome::Kept
                       : answer.status == Answer::nobody ? Outcome::Cut
                       : answer.refuses()                ? Outcome::Refused
                                                         : Outcome::Unsure;
        ++world_.record.counts["sends with status " + std::to_string(answer.status)];
        if (answer.status != 200)
            return;
        for (const char *key : {"id", "created_at"})
            send.beam[key] = answer.body.at(key);
        send.beam["from_handle"] = handle_;
        send.beam["from_emoji"] = emoji_;
        if (send.beam.contains("open_at"))
            world_.capsules.emplace_back(world_.record.seats[send.seat].circle,
                                         textAt(send.beam, "id"));
    }

    asio::awaitable<void> send(Dice &dice) { co_await sendPiece(dice, 1); }
    asio::awaitable<void> sendMany(Dice &dice) { co_await sendPiece(dice, 2 + dice.upTo(4)); }

    /// So many in one piece, and where they are many, a look at what has come of them.
    asio::awaitable<void> sendPiece(Dice &dice, std::size_t count)
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
        const auto answers = co_await line_.ask(server_, std::move(requests), enough);
        for (std::size_t i = 0; i < count; ++i)
            settleSend(sends[i], answers[i]);
        if (count > 1)
            addLook(std::move(look), answers[count]);
    }

    asio::awaitable<void> hangUp(Dice &dice)
    {
        const std::size_t index = addSend(dice, *seat_);
        const std::string request = beamRequest(index);
        const std::size_t part = dice.oneIn(3) ? request.size() : dice.upTo(request.size());
        co_await line_.breakOff(server_, request.substr(0, part));
        SendLog &send = world_.record.sends[index];
        send.span.ended = now();
        send.outcome = part < request.size() ? Outcome::Cut : Outcome::Unsure;
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

    asio::awaitable<bool> look(Line &line, LookLog look, std::string request, Time patience)
    {
        look.span.begun = now();
        const Answer answer = co_await line.ask(look.server, request, patience);
        addLook(std::move(look), answer);
        co_return answer.status == 200;
    }

    void addLook(LookLog look, const Answer &answer)
    {
        look.span.ended = now();
        look.status = answer.status;
        if (look.status == Answer::nobody || look.status == Answer::none)
            return;
        if (look.status == 200 && look.kind == Kind::Capsule)
            look.beams.emplace_back(answer.body);
        if (look.status == 200 && look.kind == Kind::Poll)
            look.serverTime = answer.body.at("server_time").as_int64();
        if (look.status == 200 && (look.kind == Kind::Poll || look.kind == Kind::History)) {
            for (const json::value &beam : answer.body.at("beams").as_array())
                look.beams.emplace_back(beam.as_object());
        }
        world_.record.looks.push_back(std::move(look));
    }

    asio::awaitable<void> history(Dice &dice)
    {
        const LookLog log{Kind::History, *seat_, server_,
                          static_cast<std::int64_t>(1 + dice.upTo(199))};
        const std::string request = requestOf(log);
        co_await look(line_, log, request, enough);
    }

    asio::awaitable<void> capsule(Dice &dice)
    {
        const LookLog log{Kind::Capsule, *seat_, server_};
        std::vector<std::string> known;
        for (const auto &[circle, id] : world_.capsules) {
            if (circle == seatLog().circle)
                known.push_back(id);
        }
        if (known.empty())
            co_return;
        const std::size_t back = dice.upTo(std::min<std::size_t>(known.size(), 10) - 1);
        const std::string request = requestOf(log, known[known.size() - 1 - back]);
        co_await look(line_, log, request, 3s);
    }

    // From another address, as whoever has found a key would: wrong ones count against an address.
    asio::awaitable<void> tryForeign(Dice &dice)
    {
        const std::vector<SeatLog> &seats = world_.record.seats;
        Line line(world_, "127.201." + std::to_string(dice.upTo(249)) + "." +
                              std::to_string(1 + dice.upTo(249)));
        LookLog log{Kind::Poll, *seat_, server_, 1};
        const std::size_t way = dice.upTo(3);
        const std::string member = dice.oneOf(seats).member;
        std::string request;
        if (way == 0 && member != seatLog().member) {
            request = requestOf(log, member);
            log.kind = Kind::Foreign;
        } else if (way == 1 && !world_.capsules.empty()) {
            const auto &[circle, id] = dice.oneOf(world_.capsules);
            log.kind = Kind::Foreign;
            if (circle != seatLog().circle)
                request = requestOf(log, id);
        } else if (!lostSeats_.empty()) {
            log.seat = dice.oneOf(lostSeats_);
            log.kind = way == 2 ? Kind::Poll : Kind::History;
            request = requestOf(log, seats[log.seat].member);
            const std::size_t index = addSend(dice, log.seat);
            const std::string sending = beamRequest(index);
            const Answer answer = co_await line.ask(log.server, sending, enough);
            settleSend(index, answer);
        }
        if (!request.empty())
            co_await look(line, log, request, enough);
    }

    asio::awaitable<bool> pollOnce(std::size_t seat, std::int64_t &since)
    {
        if (pollDice_.oneIn(8))
            pollServer_ = pollDice_.upTo(world_.serversUsed - 1);
        const LookLog log{Kind::Poll, seat, pollServer_, since};
        const Time patience = pollDice_.oneIn(10) ? Time(60) : enough;
        const std::string request = requestOf(log, world_.record.seats[seat].member);
        const bool told = co_await look(pollLine_, log, request, patience);
        if (told)
            since = std::max<std::int64_t>(0, world_.record.looks.back().serverTime - 1);
        co_return told;
    }

    World &world_;
    std::size_t number_;
    std::string device_;
    Dice pollDice_;
    Line line_;
    Line pollLine_;
    std::optional<std::size_t> seat_;
    std::string handle_, emoji_;
    std::vector<std::size_t> lostSeats_;
    std::uint64_t starts_ = 0;
    std::uint64_t serial_ = 0;
    std::size_t server_ = 0; ///< Which it asks just now.
    std::size_t pollServer_ = 0;
};

// Who has no seat does one of the first two.
const Client::Deed Client::deeds[] = {
    {1, "create", &Client::create},
    {4, "join or move", &Client::join},
    {4, "rename", &Client::rename},
    {41, "send", &Client::send},
    {10, "send up to six in one piece", &Client::sendMany},
    {6, "hang up", &Client::hangUp},
    {8, "history", &Client::history},
    {10, "capsule", &Client::capsule},
    {4, "status", &Client::askStatus},
    {3, "start anew", &Client::startAnew},
    {9, "foreign key, id or capsule", &Client::tryForeign},
};

asio::awaitable<void> run(std::shared_ptr<Client> client, asio::awaitable<void> (Client::*what)())
{
    co_await ((*client).*what)();
}

} // namespace

World::World(std::string folder, std::string database, std::uint64_t seed_)
    : seed(seed_)
    , servers(std::move(folder), std::move(database), record)
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

void World::complain(const std::string &what)
{
    record.complaints.push_back(what + " (" + std::to_string(now()) + ")");
}

void startClient(World &world, std::size_t number)
{
    const auto client = std::make_shared<Client>(world, number);
    for (const auto what : {&Client::live, &Client::watch})
        world.start(run(client, what));
}

} // namespace kivolo::server::history
