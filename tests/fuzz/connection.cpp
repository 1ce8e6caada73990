// The whole server on one thread and on a clock that stands still: connections bring bytes in
// pieces, stop reading, go away. An input is what they send, with commands in between that begin
// with 0xff:
//
//   |  send what has gathered      0 1 2  go on with that connection    #  the length of the body
//   ~  16 KiB of a letter          @      the present second               that follows, in digits
//   t  a tick passes               ^      what the latest poll's        h x  hang up, reset
//   p r  stop and go on reading             reply says to ask next

#include "fuzz.h"
#include "http/hub.h"
#include "ledger/sqlite_schema.h"
#include "ledger/sqlite_statements.h"
#include "routes/routes.h"

#include <array>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/json/parse.hpp>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <spdlog/spdlog.h>
#include <sys/socket.h>
#include <sys/timerfd.h>

namespace {

constexpr std::chrono::hours morning{24};
std::chrono::nanoseconds sinceMidnight = morning; // NOLINT(*-avoid-non-const-global-variables)

} // namespace

// In place of the library's, so that no deadline passes unless the input says so.
std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept
{
    return time_point(sinceMidnight);
}

// The system's timers would go by the real time; without one the loop asks the clock above.
extern "C" int timerfd_create(int, int) noexcept
{
    errno = ENOSYS;
    return -1;
}

namespace kivolo::server {
namespace {

namespace beast = boost::beast;
using fuzz::Heap;
using fuzz::require;
using std::chrono::seconds;
using Place = http::asio::generic::stream_protocol::endpoint;

constexpr seconds tick{10};
constexpr std::string_view noLength = "0000000";
constexpr int lastTick = 10; ///< By then every deadline has passed.
constexpr std::ptrdiff_t mostHeld = 1 << 20;
constexpr std::ptrdiff_t mostKept = 64 << 10;

std::chrono::system_clock::time_point wallClock()
{
    static const auto start = std::chrono::system_clock::now();
    return start + std::chrono::floor<seconds>(sinceMidnight - morning);
}

/// Identifiers count up, so that a corpus can name them.
Randomness counting(unsigned from)
{
    return [next = from](std::span<std::byte> bytes) mutable {
        std::ranges::fill(bytes, std::byte{0});
        bytes.back() = static_cast<std::byte>(next++);
    };
}

/// Tells at once, on one connection.
class DirectLedger final : public Ledger, LedgerGlance
{
public:
    explicit DirectLedger(const std::string &path)
        : file_(path)
        , connection_(file_, seconds(1), 1 << 20, prepareSchema)
        , statements_(connection_)
    {}
    /// There is no other process that could change anything.
    void watch(Observer) override {}
    LedgerGlance *glance() override { return this; }
    void read(Look look, Done done) override
    {
        tell([&] { look(statements_); }, done);
    }
    void write(Job job, JobFacts, Done done) override
    {
        const auto change = [&] {
            const std::int64_t before = connection_.changes();
            statements_.measureRoom(1LL << 40, 0);
            try {
                job(statements_, wholeSeconds(wallClock()));
            } catch (const Refusal &) {
                require(connection_.changes() == before, "who is refused changes nothing");
                throw;
            }
        };
        tell(change, done);
    }
    SqliteConnection &connection() { return connection_; }

private:
    std::optional<Seat> seat(std::string_view key, std::string_view memberId) override
    {
        std::optional<Seat> seat = statements_.seatOfKey(std::string(key));
        return seat && seat->member.id == memberId ? std::move(seat) : std::nullopt;
    }
    static void tell(const std::function<void()> &action, const Done &done)
    {
        std::exception_ptr failure;
        try {
            action();
        } catch (...) {
            failure = std::current_exception();
        }
        done(failure);
    }

    SqliteFile file_;
    SqliteConnection connection_;
    SqliteStatements statements_;
};

template<typename Result, typename Call>
Result told(Call &&call)
{
    std::optional<Outcome<Result>> outcome;
    call(Done<Result>([&](Outcome<Result> result) { outcome = std::move(result); }));
    return outcome->take();
}

/// What is there before the day begins: a circle that inputs can name, one that nobody knows,
/// files.
struct Town
{
    Town()
    {
        spdlog::set_level(spdlog::level::off);
        const std::filesystem::path files = folder / "site" / "more";
        const std::filesystem::path downloads = folder / "site" / "downloads";
        std::filesystem::create_directories(files);
        std::filesystem::create_directories(downloads);
        std::ofstream(folder / "outside.txt") << secret;
        std::ofstream(folder / "site" / "index.html")
            << "<p><!--each client-->Welcome to {{version}}<!--end-->";
        const std::string member = std::string(48, ' ') + "2         `\nxx";
        std::ofstream(downloads / "kivolo_1_amd64.deb") << "!<arch>\n" + member + member + member;
        std::ofstream(files / "version.json") << R"({"version":"1.0"})";
        std::filesystem::create_symlink(folder / "outside.txt", files / "link");
        site = Site(folder / "site");
        settle(counting(1), "ana", "ben", "Hello");
        settle(systemRandomness, secret, secret + secret, secret);
    }
    ~Town()
    {
        std::error_code ignored; // what stays behind is in the temporary directory
        std::filesystem::remove_all(folder, ignored);
    }
    void settle(const Randomness &randomness, const std::string &device, const std::string &other,
                const std::string &text)
    {
        Circles circles(ledger, wallClock, randomness, {});
        const auto founding = told<Founding>([&](auto done) {
            circles.create({device, ""}, done);
        });
        keys = {device, founding.circle.code};
        for (const std::string &joining : {other, device}) {
            const JoinRequest request{founding.circle.code, "Ana", joining, "e"};
            const auto joined = told<Membership>([&](auto done) { circles.join(request, done); });
            keys.push_back(joined.seat.key);
            const auto send = [&](const char *type, const std::string &body, Seconds opens = 0) {
                BeamRequest beam{joined.seat.key, joined.seat.member.id, type, body, {}, {}};
                if (opens > 0)
                    beam.openAt = wholeSeconds(wallClock()) + opens;
                told<Beam>([&](auto done) { circles.send(beam, done); });
            };
            const std::string png = "data:image/png;base64,iVBORw0KGgo" + std::string(20'001, 'A');
            send("doodle", text == secret ? png + secret : png);
            send("text", text);
            send("text", text, 25);
            send("text", secret, 300 * 86'400);
        }
    }

    /// What no reply may ever hold,
    std::string secret = newIdentifier(systemRandomness);
    /// unless somebody said one of these: a fuzzer watches what is compared, and comes to know.
    std::vector<std::string> keys;
    std::filesystem::path folder = std::filesystem::temp_directory_path() / ("kivolo-" + secret);
    bool made = std::filesystem::create_directories(folder);
    DirectLedger ledger{folder / "ledger.sqlite"};
    Site site;
};

/// The server for one input. What it writes is undone when the day is over.
class Day
{
public:
    explicit Day(Town &town)
        : transaction_(town.ledger.connection())
        , holds_(seconds(15))
        , circles_(town.ledger, wallClock, counting(100), {})
        , routes_(circles_, holds_, throttle_, town.site,
                  [this](auto work) { boost::asio::post(context_, std::move(work)); })
    {
        circles_.setObserver({[this](const Change &change) {
                                  boost::asio::post(context_,
                                                    [this, change] { holds_.announce(change); });
                              },
                              [] { return true; }});
        http::Proxies proxies;
        proxies.trust("unix");
        const auto handler = [this](http::Request &request, http::Reply later) {
            return routes_.handle(request, std::move(later));
        };
        hub_ = std::make_shared<http::Hub>(context_, handler, limits(), proxies);
        const http::asio::local::stream_protocol local;
        http::Acceptor acceptor(context_, http::asio::generic::stream_protocol(local));
        const sockaddr nameless{AF_UNIX, {}}; // The system gives it a name of its own.
        if (::bind(acceptor.native_handle(), &nameless, sizeof nameless.sa_family) != 0)
            std::abort();
        acceptor.listen();
        acceptor.non_blocking(true);
        place_ = acceptor.local_endpoint();
        hub_->serve({std::move(acceptor), {}}, nullptr);
    }
    const Place &place() const { return place_; }
    /// Does all that can be done at this moment.
    void turn()
    {
        context_.restart();
        context_.poll();
    }
    void passTick()
    {
        sinceMidnight += tick;
        turn();
    }
    void stop() { hub_->stop(); }
    bool isOver() const { return context_.stopped(); }

private:
    static http::Limits limits()
    {
        http::Limits limits;
        limits.tick = limits.spread = tick;
        limits.idle = limits.header = limits.body = limits.reply = limits.grace = 2 * tick;
        limits.answer = 5 * tick;
        limits.headerBytes = 4 << 10;
        limits.bodyBytes = 72 << 10;
        return limits;
    }

    SqliteTransaction transaction_;
    http::asio::io_context context_{1};
    Holds holds_;
    Throttle throttle_{Throttle::allowances()};
    Circles circles_;
    Routes routes_;
    std::shared_ptr<http::Hub> hub_;
    Place place_;
};

void checkBody(int status, const std::string &body)
{
    boost::system::error_code error;
    const boost::json::value value = boost::json::parse(body, error);
    require(!error && value.is_object(), "a reply is a JSON object");
    const boost::json::value *sentence = value.get_object().if_contains("error");
    require((status >= 400) == (sentence != nullptr), "a failure says what it is");
    require(!sentence || sentence->as_string().ends_with('.'), "a sentence ends");
}

/// Takes replies apart to the last byte. Up to `heads` of them may have no body, and up to `others`
/// one that is no error; where they are cut the last need not be whole. Gives their number.
std::size_t checkReplies(std::string_view replies, std::size_t heads, std::size_t others, bool cut)
{
    std::size_t count = 0;
    for (bool last = false; !replies.empty();) {
        require(!last, "nothing comes after the last reply");
        const std::size_t end = replies.find("\r\n\r\n");
        const std::string_view behind = replies.substr(std::min(end, replies.size() - 4) + 4);
        const std::string_view head = replies.substr(0, end);
        const bool empty = head.starts_with("HTTP/1.1 304 ") ||
                           head.find("\r\nContent-Length: 0\r\n") != head.npos;
        const bool bare =
            heads > 0 && !empty && (behind.empty() || behind.starts_with("HTTP/1.1 "));
        beast::http::response_parser<beast::http::string_body> parser;
        parser.eager(true);
        parser.skip(bare);
        boost::system::error_code error;
        replies.remove_prefix(parser.put(http::asio::buffer(replies), error));
        if (error == beast::http::error::need_more || !parser.is_done()) {
            require(cut, "replies are whole");
            break;
        }
        require(!error, "replies are HTTP");
        const auto &reply = parser.get();
        if (reply.result_int() == 100)
            continue;
        ++count;
        heads -= bare ? 1 : 0;
        if (reply.result_int() < 400 && !reply.body().empty())
            require(others-- > 0, "a body is asked for");
        last = !reply.keep_alive();
        require(reply.count("Connection") == 1 && reply.count("Date") == 1 &&
                    reply.count("Content-Length") <= 1 && reply.count("Transfer-Encoding") == 0,
                "a reply says once what it has to say");
        const int status = static_cast<int>(reply.result_int());
        const bool whole = status != 206 && status != 304;
        if (!bare && whole && reply["Content-Type"] == "application/json")
            checkBody(status, reply.body());
    }
    return count;
}

std::size_t countOf(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size())
        ++count;
    return count;
}

/// One connection's other end. It has its room for texts from the start, so that the heap is the
/// server's alone.
struct Guest
{
    static constexpr std::size_t room = 1 << 20;

    Guest()
    {
        said.reserve(room);
        heard.reserve(room);
    }
    Guest(const Guest &) = delete;
    Guest &operator=(const Guest &) = delete;
    ~Guest() { reset(); }
    void open(const Place &place)
    {
        if (std::exchange(opened, true))
            return;
        socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        const auto size = static_cast<socklen_t>(place.size());
        require(::connect(socket, place.data(), size) == 0, "a connection is accepted");
    }
    void reset()
    {
        if (socket >= 0)
            ::close(std::exchange(socket, -1));
        cut = true;
    }
    bool over() const { return socket < 0 || ended; }
    /// Sends and reads as much as can be. Whether anything moved.
    bool move()
    {
        static std::array<char, 64 << 10> bytes;
        if (over())
            return false;
        const std::string_view rest = std::string_view(said).substr(sent, sendable - sent);
        const ssize_t out =
            rest.empty() ? 0 : ::send(socket, rest.data(), rest.size(), MSG_NOSIGNAL);
        sent += out > 0 ? static_cast<std::size_t>(out) : 0;
        const ssize_t in = paused ? -1 : ::recv(socket, bytes.data(), bytes.size(), 0);
        if (in > 0 && heard.size() + static_cast<std::size_t>(in) <= room)
            heard.append(bytes.data(), static_cast<std::size_t>(in));
        else if (in > 0)
            reset();
        ended = !paused && (in == 0 || (in < 0 && errno != EAGAIN));
        return out > 0 || in > 0;
    }
    /// As the program asks: for all after what was told.
    std::int64_t nextSince() const
    {
        constexpr std::string_view key = "\"server_time\":";
        std::int64_t time = 1;
        if (const std::size_t at = heard.rfind(key); at != heard.npos)
            std::from_chars(heard.data() + at + key.size(), heard.data() + heard.size(), time);
        return time - 1;
    }
    void check() const
    {
        const std::size_t others = countOf(said, "GET ") + countOf(said, "POST ");
        const std::size_t replies = checkReplies(heard, countOf(said, "HEAD "), others, cut);
        require(replies <= countOf(said, "\r\n\r\n") + 1, "nothing is answered twice");
    }

    int socket = -1;
    std::string said;
    std::size_t length = std::string::npos; ///< Where one is to be put in.
    std::size_t sendable = 0;               ///< So much of it may leave.
    std::size_t sent = 0;
    std::string heard;
    bool opened = false;
    bool paused = false;
    bool ended = false;
    bool cut = false; ///< Its replies need not be whole.
};

/// Plays an input. A command is carried out when everything before it has come to rest.
class Play
{
public:
    Play(Day &day, std::array<Guest, 3> &guests)
        : day_(day)
        , guests_(guests)
    {
        guest_->open(day_.place());
    }
    void perform(std::string_view script)
    {
        while (!script.empty()) {
            const std::size_t text = std::min(script.find('\xff'), script.size());
            guest_->said += script.substr(0, text);
            script.remove_prefix(text);
            if (script.size() > 1 && !gather(script[1]))
                act(script[1]);
            script.remove_prefix(std::min<std::size_t>(2, script.size()));
        }
        act('|');
    }
    /// Everybody hangs up, and is let go.
    void end()
    {
        for (Guest &guest : guests_) {
            guest.paused = false;
            ::shutdown(guest.socket, SHUT_WR);
        }
        const auto over = [this] { return std::ranges::all_of(guests_, &Guest::over); };
        settle();
        for (int i = 0; i < lastTick && !over(); ++i)
            passTick();
        require(over(), "a connection ends");
    }
    void stop()
    {
        day_.stop();
        for (int i = 0; i < lastTick && !day_.isOver(); ++i)
            passTick();
        require(day_.isOver(), "a server that is stopped ends");
    }

private:
    /// What is said next.
    bool gather(char what)
    {
        constexpr int mostLetters = 24;
        if (what == '#') {
            guest_->length = guest_->said.size();
            guest_->said += noLength;
        } else if (what == '~') {
            guest_->said.append(++letters_ <= mostLetters ? 16 << 10 : 0, 'a');
        } else if (what == '@') {
            guest_->said += std::to_string(wholeSeconds(wallClock()));
        } else if (what == '^') {
            guest_->said += std::to_string(guest_->nextSince());
        } else {
            return false;
        }
        return true;
    }
    void act(char what)
    {
        constexpr int mostTicks = 8;
        putLength();
        guest_->sendable = guest_->said.size();
        settle();
        if (what >= '0' && what <= '2') {
            guest_ = &guests_.at(static_cast<std::size_t>(what - '0'));
            guest_->open(day_.place());
        } else if (what == 'p' || what == 'r') {
            guest_->paused = what == 'p';
            guest_->cut = true;
        } else if (what == 'h') {
            ::shutdown(guest_->socket, SHUT_WR);
        } else if (what == 'x') {
            guest_->reset();
        } else if (what == 't' && ++ticks_ <= mostTicks) {
            passTick();
        }
        settle();
    }
    void putLength()
    {
        std::string &said = guest_->said;
        if (const std::size_t head = said.find("\r\n\r\n", guest_->length); head != said.npos) {
            const std::string digits = std::to_string(said.size() - head - 4);
            said.replace(guest_->length + noLength.size() - digits.size(), digits.size(), digits);
        }
        guest_->length = said.npos;
    }
    void settle()
    {
        for (bool moved = true; moved;) {
            day_.turn();
            moved = false;
            for (Guest &guest : guests_)
                moved = guest.move() || moved;
        }
    }
    void passTick()
    {
        day_.passTick();
        settle();
    }

    Day &day_;
    std::array<Guest, 3> &guests_;
    Guest *guest_ = guests_.data();
    int letters_ = 0;
    int ticks_ = 0;
};

} // namespace
} // namespace kivolo::server

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kivolo::server;
    static Town town;
    sinceMidnight = morning;
    std::array<Guest, 3> guests;
    Heap::begin();
    {
        Day day(town);
        Play play(day, guests);
        play.perform(kivolo::fuzz::textOf(data, size));
        play.end();
        require(Heap::most() < mostHeld, "connections hold no more than their share");
        require(Heap::held() < mostKept, "nothing is kept of who is gone");
        play.stop();
    }
    std::string said, heard;
    for (const Guest &guest : guests) {
        guest.check();
        said += guest.said;
        heard += guest.heard;
    }
    const bool known = std::ranges::any_of(
        town.keys, [&](const std::string &key) { return said.find(key) != key.npos; });
    require(known || heard.find(town.secret) == heard.npos, "a secret stays one");
    return 0;
}
