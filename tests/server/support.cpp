#include "support.h"

#include "servers/postgres.h"

#include <boost/asio/write.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <csignal>
#include <gtest/gtest.h>

namespace kivolo::server::test {

namespace asio = boost::asio;
namespace json = boost::json;

TemporaryFolder::TemporaryFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "kivolo-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder");
    path_ = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored; // what stays behind is in the temporary directory
    std::filesystem::remove_all(path_, ignored);
}

Clock ManualClock::clock() const
{
    return
        [this] { return std::chrono::system_clock::time_point(std::chrono::seconds(now_.load())); };
}

Holds::Clock ManualClock::steadyClock() const
{
    return
        [this] { return std::chrono::steady_clock::time_point(std::chrono::seconds(now_.load())); };
}

std::string Told::text(std::string_view key) const
{
    return std::string(body.at(key).as_string());
}

bool onPostgres = [] {
    const char *engine = std::getenv("KIVOLO_TEST_ENGINE"); // NOLINT(concurrency-mt-unsafe)
    return engine && std::string_view(engine) == "postgresql";
}();

std::string newDatabase(const TemporaryFolder &folder)
{
    return onPostgres ? Postgres::ofThisProgram().newDatabase()
                      : "sqlite:" + (folder / "ledger.sqlite").string();
}

int readerCount()
{
    return onPostgres ? 6 : 3;
}

House::House(Circles::Settings settings, std::function<void()> beforeCommit,
             std::chrono::milliseconds hold, double rates, std::function<std::int64_t()> freeSpace)
    : ledger(openLedger(database, time.clock(),
                        {.freeSpace = std::move(freeSpace),
                         .beforeCommit = std::move(beforeCommit),
                         .writers = 1}))
    , circles(*ledger, time.clock(), systemRandomness, settings)
    , holds(hold, time.steadyClock())
    , throttle(Throttle::allowances(rates), steadyTime.steadyClock())
    , routes(circles, holds, throttle, site,
             [this](std::function<void()> work) { asio::post(workers, std::move(work)); })
{}

Told House::call(std::string_view method, std::string_view target, std::string_view body,
                 std::string_view contentType)
{
    auto later = std::make_shared<std::promise<http::Answer>>();
    std::future<http::Answer> reply = later->get_future();
    http::Request request{method, target, contentType, std::string(body)};
    request.client = client;
    std::optional<http::Answer> atOnce = routes.handle(
        request, [later](http::Answer answer) { later->set_value(std::move(answer)); });
    http::Answer answer = atOnce ? std::move(*atOnce) : reply.get();
    if (auto *ask = std::get_if<http::Ask>(&answer))
        answer = std::exchange(ask->answer, {})();
    if (const auto *again = std::get_if<http::AgainAt>(&answer))
        return {0, {}, wholeSeconds(again->time), {}, {}};
    const auto &response = std::get<http::Response>(answer);
    return {response.status,
            json::parse(response.body),
            {},
            std::string(response.allow),
            response.retryAfter};
}

Told House::post(std::string_view target, const json::object &body)
{
    return call("POST", target, json::serialize(body));
}

Told House::newCircle()
{
    return post("/circle/create", {{"device_id", "creator"}, {"owner_email", ""}});
}

Told House::join(const std::string &code, const std::string &device, const std::string &handle)
{
    Told told =
        post("/join", {{"code", code}, {"handle", handle}, {"device_id", device}, {"emoji", "e"}});
    EXPECT_EQ(told.status, 200u) << json::serialize(told.body);
    return told;
}

Told House::sendText(const Told &membership, const std::string &text, json::object more)
{
    json::object body{{"circle_id", membership.text("circle_id")},
                      {"from_member", membership.text("member_id")},
                      {"type", "text"},
                      {"body", text}};
    for (auto &[key, value] : more)
        body[key] = value;
    return post("/beam", body);
}

Told House::poll(const Told &membership, Seconds since)
{
    return call("GET", "/beams?circle_id=" + membership.text("circle_id") + "&member_id=" +
                           membership.text("member_id") + "&since=" + std::to_string(since));
}

BeamRequest textFrom(const Told &member, std::string text)
{
    return {member.text("circle_id"), member.text("member_id"), "text", std::move(text), {}, {}};
}

std::string sendThrough(Circles &circles, const Told &member)
{
    return outcomeOf<Beam>(
               [&](Done<Beam> done) { circles.send(textFrom(member), std::move(done)); })
        .id;
}

Poll pollThrough(Circles &circles, const Told &member, Tick since)
{
    const std::string key = member.text("circle_id");
    const std::string id = member.text("member_id");
    if (auto empty = circles.nothingNew(key, id, since))
        return std::move(empty->poll);
    return outcomeOf<Circles::Polled>([&](Done<Circles::Polled> done) {
               circles.poll(
                   key, id, since, [](std::size_t) { return true; }, std::move(done));
           })
        .poll;
}

Tick nextSince(const Told &poll)
{
    return std::max<Tick>(0, poll.body.at("server_time").as_int64() - 1);
}

void settle(Ledger &ledger)
{
    std::promise<void> done;
    ledger.write([](LedgerTransaction &, Seconds) {}, {},
                 [&done](const std::exception_ptr &failure) {
                     EXPECT_FALSE(failure);
                     done.set_value();
                 });
    done.get_future().wait();
}

Serving::Serving(http::Handler handler, http::Limits limits)
    : server(*context, std::move(handler), limits)
    , work_(context->get_executor())
{
    std::signal(SIGPIPE, SIG_IGN); // as the program does
    end = std::async(std::launch::async, [this] { context->run(); });
}

std::string Serving::listen(const std::string &address)
{
    return onThread([&] { return server.listen(address); });
}

void Serving::stop()
{
    asio::post(*context, [this] {
        server.stop();
        work_.reset();
    });
}

std::uint16_t portOf(const std::string &address)
{
    return static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
}

namespace {

asio::io_context
    ofConnections; // NOLINT(*-avoid-non-const-global-variables): does nothing by itself

} // namespace

Connection::Connection(std::uint16_t port, std::string_view bytes, const char *from)
    : socket_(ofConnections, {asio::ip::make_address(from), 0})
{
    boost::system::error_code refused;
    socket_.connect({asio::ip::address_v4::loopback(), port}, refused);
    if (!refused)
        send(bytes);
}

void Connection::send(std::string_view bytes)
{
    boost::system::error_code ignored; // of a server that has seen enough
    asio::write(socket_, asio::buffer(bytes), ignored);
}

std::string Connection::read(std::string_view end, std::size_t most)
{
    std::string received;
    char buffer[4096];
    boost::system::error_code closed;
    while (!closed && received.size() < most && (end.empty() || !received.ends_with(end)))
        received.append(buffer, socket_.read_some(asio::buffer(buffer), closed));
    return received;
}

std::string Connection::readWhatIsThere()
{
    std::string received(socket_.available(), '\0');
    received.resize(socket_.receive(asio::buffer(received)));
    return received;
}

std::string talk(std::uint16_t port, std::string_view bytes, const char *from)
{
    return Connection(port, bytes, from).read();
}

std::string httpGet(std::string_view target)
{
    return "GET " + std::string(target) + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
}

std::string httpPost(std::string_view target, const json::object &body)
{
    const std::string text = json::serialize(body);
    return "POST " + std::string(target) +
           " HTTP/1.1\r\nHost: x\r\nConnection: close\r\nContent-Type: application/json\r\n"
           "Content-Length: " +
           std::to_string(text.size()) + "\r\n\r\n" + text;
}

std::string statusesOf(std::string_view replies)
{
    constexpr std::string_view line = "HTTP/1.1 ";
    std::string statuses;
    for (std::size_t at = 0; (at = replies.find(line, at)) != replies.npos;) {
        at += line.size();
        statuses.append(statuses.empty() ? "" : " ").append(replies.substr(at, 3));
    }
    return statuses;
}

} // namespace kivolo::server::test
