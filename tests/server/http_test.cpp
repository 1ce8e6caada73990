// Real sockets, broken requests.

#include "allocations.h"
#include "http/server.h"
#include "support.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <deque>
#include <future>
#include <gtest/gtest.h>
#include <malloc.h>
#include <thread>

namespace kivolo::server::test {

namespace {

const std::string me = "GET /me?device_id=x HTTP/1.1\r\nHost: x\r\n\r\n";
const std::string lastMe = httpGet("/me?device_id=x");

std::uint16_t portOf(const std::string &address)
{
    return static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
}

struct RunningServer
{
    explicit RunningServer(http::Limits limits = {}, std::chrono::milliseconds hold = {})
        : house({}, {}, hold)
        , server(
              context,
              [this](http::Request &request, http::Reply later) {
                  std::optional<http::Answer> atOnce = house.routes.handle(
                      request, [this, later = std::move(later)](http::Answer answer) {
                          if (std::holds_alternative<http::AgainAt>(answer)) {
                              ++waits;
                              waits.notify_all();
                          }
                          later(std::move(answer));
                      });
                  if (atOnce && std::holds_alternative<http::Held>(*atOnce)) {
                      ++held;
                      held.notify_all();
                  }
                  return atOnce;
              },
              limits)
    {
        house.circles.setObserver(
            {[this](const Change &change) {
                 boost::asio::post(context, [this, change] { house.holds.announce(change); });
             },
             [this] { return house.holds.occupied(); }});
        port = portOf(server.listen("127.0.0.1:0"));
        thread = std::jthread([this] { context.run(); });
    }
    ~RunningServer()
    {
        boost::asio::post(context, [this] { server.stop(); });
        thread.join();
    }
    std::string post(std::string_view target, const boost::json::object &body) const
    {
        return talk(port, httpPost(target, body));
    }
    /// For a server of one connection: comes back when that one is free.
    void awaitFree() const
    {
        while (!talk(port, lastMe).starts_with("HTTP/1.1 200"))
            std::this_thread::yield();
    }

    boost::asio::io_context context;
    House house;
    std::atomic<int> waits = 0; ///< How often a request was told to come again.
    std::atomic<int> held = 0;  ///< How often a poll was held.
    http::Server server;
    std::uint16_t port = 0;
    std::jthread thread;
};

std::size_t countOf(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string_view::npos; ++at)
        ++count;
    return count;
}

} // namespace

TEST(Http, AnswersOrRefusesWhateverComesAndGoesOn)
{
    http::Limits limits;
    limits.tick = std::chrono::milliseconds(5);
    limits.idle = limits.header = limits.body = std::chrono::milliseconds(40);
    RunningServer running(limits);
    std::string manyFields;
    while (manyFields.size() < 1'000)
        manyFields += "a:\r\n";
    const std::string post = "POST /join HTTP/1.1\r\nContent-Type: application/json\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {me + me + lastMe, "HTTP/1.1 200"},
        {"GET /me?device_id=x HTTP/1.0\r\n\r\n", "HTTP/1.1 200"},
        {"HEAD /me?device_id=x HTTP/1.1\r\nConnection: close\r\n\r\n", "HTTP/1.1 200"},
        {"BREW /me HTTP/1.1\r\nConnection: close\r\n\r\n", "HTTP/1.1 405"},
        {"GET / HTTP/9.9\r\n\r\n", "HTTP/1.1 400"},
        {std::string("\x16\x03\x01\x00\xff\x00\x00", 7) + "\r\n\r\n", "HTTP/1.1 400"},
        {std::string("GET /\0 HTTP/1.1\r\n\r\n", 19), "HTTP/1.1 400"},
        {"GET /me HTTP/1.1\r\nA: " + std::string(40'000, 'a') + "\r\n\r\n", "HTTP/1.1 431"},
        {"GET /" + std::string(40'000, 'a'), "HTTP/1.1 431"},
        {"GET /me HTTP/1.1\r\n" + manyFields + "\r\n", "HTTP/1.1 431"},
        {post + "Content-Length: 99999999999999999999999\r\n\r\n", "HTTP/1.1 400"},
        {post + "Content-Length: -1\r\n\r\n", "HTTP/1.1 400"},
        {post + "Content-Length: 5000000\r\n\r\n{", "HTTP/1.1 413"},
        {post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "HTTP/1.1 400"},
        {post + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "HTTP/1.1 411"},
        {post + "Transfer-Encoding: chunked\r\n\r\n", "HTTP/1.1 411"},
        {post + "Transfer-Encoding: gzip, chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n", "HTTP/1.1 411"},
        {"POST /join HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n"
         "Content-Type: application/json\r\n\r\n",
         "HTTP/1.1 411"},
        {post + "Transfer-Encoding: gzip\r\n\r\n" + lastMe, "HTTP/1.1 501"},
        {post + "Connection: close\r\n\r\n", "HTTP/1.1 400"},
        {post + "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n", "HTTP/1.1 100"},
        {post + "Content-Length: 10\r\n\r\n{", "HTTP/1.1 408"},
        {"GET /me", "HTTP/1.1 408"},
        {"", ""},
    };
    for (const auto &[request, start] : cases) {
        const std::string reply = talk(running.port, request);
        EXPECT_EQ(reply.substr(0, 12), start) << request.substr(0, 80);
    }
    const std::string unknownCoding = post + "Transfer-Encoding: gzip\r\n\r\n" + lastMe;
    EXPECT_EQ(countOf(talk(running.port, unknownCoding), "HTTP/1.1"), 1u)
        << "its body was answered";
    const std::string pipelined = talk(running.port, me + me + lastMe);
    EXPECT_EQ(countOf(pipelined, "{\"joined\":false}"), 3u);
    const std::string head = talk(running.port, cases[2].first);
    EXPECT_NE(head.find("Content-Length: 16\r\n"), std::string::npos);
    EXPECT_TRUE(head.ends_with("\r\n\r\n"));
}

// The first of many requests is answered only when another connection has asked for something,
// which then has to come between them.
TEST(Http, LetsOthersInBetweenTheRequestsOfOneConnection)
{
    constexpr int requests = 90; // come in with one read
    boost::asio::io_context context;
    std::promise<void> first;
    std::promise<void> otherHasAsked;
    std::atomic<int> answered = 0;
    http::Server server(
        context,
        [&](const http::Request &request, const http::Reply &) -> std::optional<http::Answer> {
            http::Response response;
            if (request.target == "/other") {
                response.body = "after " + std::to_string(answered);
            } else if (++answered == 1) {
                first.set_value();
                otherHasAsked.get_future().wait();
            }
            return response;
        },
        {});
    const std::uint16_t port = portOf(server.listen("127.0.0.1:0"));
    const std::jthread thread([&] { context.run(); });
    std::string all;
    for (int i = 1; i < requests; ++i)
        all += "GET /many HTTP/1.1\r\nHost: x\r\n\r\n";
    Connection many(port, all + httpGet("/many"));
    first.get_future().wait();
    Connection other(port, httpGet("/other"));
    otherHasAsked.set_value();
    const std::string reply = other.read();
    const int before = std::stoi(reply.substr(reply.rfind(' ')));
    EXPECT_LT(before, 20) << "requests of the other connection were answered first";
    EXPECT_EQ(countOf(many.read(), "HTTP/1.1 200"), std::size_t{requests});
    boost::asio::post(context, [&] { server.stop(); });
}

// An idle connection costs little, whatever it has sent before.
TEST(Http, KeepsNoRoomThatALargeRequestNeeded)
{
    constexpr std::size_t count = 50;
    constexpr std::size_t bytesEach = 6 << 10;
    RunningServer running;
    const std::string large = R"({"code":")" + std::string(60'000, 'x') + R"("})";
    const std::string request = "POST /join HTTP/1.1\r\nContent-Type: application/json\r\n"
                                "Content-Length: " +
                                std::to_string(large.size()) + "\r\n\r\n" + large;
    Connection warmUp(running.port, request);
    warmUp.readUntil("\"}");
    const std::size_t before = mallinfo2().uordblks;
    std::deque<Connection> connections;
    while (connections.size() < count)
        connections.emplace_back(running.port, request).readUntil("\"}");
    talk(running.port, lastMe); // the last one's room is given up in a turn of its own
    EXPECT_LT(mallinfo2().uordblks, before + count * bytesEach);
}

// Where memory runs out, what keeps the promises of all must not die of it without a word.
TEST(Http, GoesOnKeepingDeadlinesAndAcceptingWhenMemoryRanOut)
{
    http::Limits limits;
    limits.tick = std::chrono::milliseconds(5);
    limits.idle = std::chrono::milliseconds(300);
    RunningServer running(limits);
    const auto onThread = [&](auto action) {
        std::promise<void> done;
        boost::asio::post(running.context, [&] {
            action();
            done.set_value();
        });
        done.get_future().wait();
    };
    Connection idle(running.port, me);
    idle.readUntil("}");
    onThread([&] { failAllocations(1); });
    EXPECT_EQ(idle.read(), "") << "closed because it was idle for too long";
    onThread([&] { failAllocations(0); });

    onThread([&] { failAllocations(400); }); // a connection's own record is larger
    EXPECT_EQ(talk(running.port, lastMe), "") << "there was no memory for it";
    onThread([&] { failAllocations(0); });
    EXPECT_EQ(talk(running.port, lastMe).substr(0, 12), "HTTP/1.1 200");
}

TEST(Http, ListensOnAllAddressesThatItIsGiven)
{
    boost::asio::io_context context;
    http::Server server(
        context, [](const http::Request &, const http::Reply &) { return http::Response(); }, {});
    const std::string one = server.listen("127.0.0.1:0");
    const std::string all = server.listen("localhost:0");
    const std::jthread thread([&] { context.run(); });
    EXPECT_TRUE(talk(portOf(one), lastMe).starts_with("HTTP/1.1 200"));
    boost::asio::io_context lookup;
    boost::asio::ip::tcp::resolver resolver(lookup);
    for (const auto &found : resolver.resolve("localhost", std::to_string(portOf(all)))) {
        boost::asio::ip::tcp::socket socket(lookup);
        boost::system::error_code error;
        socket.connect(found.endpoint(), error);
        EXPECT_FALSE(error) << found.endpoint().address().to_string();
    }
    boost::asio::post(context, [&] { server.stop(); });
}

TEST(Http, HoldsBackWhatIsBeyondItsConnections)
{
    http::Limits limits;
    limits.connections = 0;
    RunningServer running(limits);
    EXPECT_EQ(talk(running.port, lastMe).substr(0, 12), "HTTP/1.1 503");
}

// Nobody is kept out by one who has many connections, whether they ask for something or not.
TEST(Http, EndsConnectionsOfThoseWhoHaveMost)
{
    http::Limits limits;
    limits.connections = 5;
    limits.connectionsPerAddress = 4;
    RunningServer running(limits);
    const auto isServed = [&](const char *from) {
        return talk(running.port, lastMe, from).starts_with("HTTP/1.1 200");
    };
    const auto closed = [](std::deque<Connection> &connections) {
        connections.front().read();
        connections.pop_front();
    };
    std::deque<Connection> idle;
    for (int i = 0; i < 5; ++i)
        idle.emplace_back(running.port, me).readUntil("}");
    closed(idle); // one address has its bounds while there is room
    Connection other(running.port, me, "127.0.1.1");
    other.readUntil("}");
    for (const char *newcomer : {"127.0.0.2", "127.0.2.1"}) { // of the same net and of none
        EXPECT_TRUE(isServed(newcomer));
        closed(idle);
        idle.emplace_back(running.port, me).readUntil("}");
    }
    idle.clear();

    std::deque<Connection> busy; // each has begun a request
    while (busy.size() < 4)
        busy.emplace_back(running.port, me + "GET").readUntil("}");
    EXPECT_FALSE(isServed("127.0.0.1")) << "it has most itself";
    EXPECT_TRUE(isServed("127.0.2.1"));
    closed(busy);
}

namespace {

/// A member of a circle of its own, at a server.
struct Member
{
    explicit Member(const RunningServer &server)
    {
        const std::string code =
            fieldOf(server.post("/circle/create", {{"device_id", "a"}}), "code");
        const std::string joined =
            server.post("/join", {{"code", code}, {"handle", "A"}, {"device_id", "a"}});
        circle = fieldOf(joined, "circle_id");
        beam = {{"circle_id", circle},
                {"from_member", fieldOf(joined, "member_id")},
                {"type", "text"},
                {"body", "later"}};
    }
    std::string history() const { return httpGet("/history?limit=9&circle_id=" + circle); }
    std::string capsule(const RunningServer &server, Seconds openAt)
    {
        beam["open_at"] = openAt;
        const std::string id = fieldOf(server.post("/beam", beam), "id");
        return httpGet("/capsule?id=" + id + "&circle_id=" + circle);
    }

    std::string circle;
    boost::json::object beam;
};

const std::string largeDoodle =
    "data:image/png;base64,iVBORw0KGgoA" + std::string((2 << 20) - 36, '/');

} // namespace

TEST(Http, DeliversLargeRepliesWholeAndStopsInTheMiddleOfAWait)
{
    RunningServer running;
    Member ana(running);
    const std::string capsule = ana.capsule(running, running.house.time.now() + 20);
    ana.beam.erase("open_at");
    ana.beam["type"] = "doodle";
    ana.beam["body"] = largeDoodle;
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(running.post("/beam", ana.beam).starts_with("HTTP/1.1 200"));
    const std::string history = ana.history();
    EXPECT_EQ(countOf(talk(running.port, history), largeDoodle), 5u);
    const std::string head = talk(running.port, "HEAD" + history.substr(3));
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200") && head.ends_with("\r\n\r\n")) << head;
    EXPECT_EQ(countOf(head, "Content-Length"), 0u) << "it was made only to be measured";

    Connection waiting(running.port, capsule);
    running.waits.wait(0);
    boost::asio::post(running.context, [&] { running.server.stop(); });
    const std::string waited = waiting.read();
    EXPECT_TRUE(waited.starts_with("HTTP/1.1 503")) << waited;
}

TEST(Http, ACapsuleAskedEarlyWaitsForItsTime)
{
    http::Limits limits;
    limits.connections = 1;
    RunningServer running(limits);
    // Behind the wall clock, so that the server comes again every millisecond.
    running.house.time.advance(-1'000'000'000);
    Member ana(running);
    const std::string request = ana.capsule(running, running.house.time.now() + 20);
    {
        const Connection hangsUp(running.port, request);
        running.waits.wait(0);
    }
    running.awaitFree();
    const int before = running.waits;
    Connection patient(running.port, request);
    running.waits.wait(before);
    running.house.time.advance(20);
    const std::string opened = patient.read();
    EXPECT_TRUE(opened.starts_with("HTTP/1.1 200")) << opened;
    EXPECT_EQ(fieldOf(opened, "body"), "later");
}

TEST(Http, RefusesWhatItsMemoryCannotHold)
{
    http::Limits limits;
    limits.allReceivedBytes = limits.allRepliesBytes = 5 << 20; // half of it for one address
    RunningServer running(limits);
    Member ana(running);
    ana.beam["type"] = "doodle";
    ana.beam["body"] = largeDoodle;
    const auto status = [](const std::string &reply) { return reply.substr(0, 12); };
    const std::string request = httpPost("/beam", ana.beam);
    std::deque<Connection> silent; // they announce it
    while (silent.size() < 64)
        silent.emplace_back(running.port, request.substr(0, request.find("\r\n\r\n") + 4));
    {
        Connection half(running.port, std::string_view(request).substr(0, request.size() / 2));
        // One after the other, so the half has been seen when a whole one is refused.
        std::string whole;
        while (!(whole = talk(running.port, request)).starts_with("HTTP/1.1 503"))
            ASSERT_EQ(status(whole), "HTTP/1.1 200");
        EXPECT_NE(whole.find("Kivolo is very busy"), std::string::npos);
        EXPECT_EQ(status(talk(running.port, lastMe)), "HTTP/1.1 200");
    }
    while (status(running.post("/beam", ana.beam)) != "HTTP/1.1 200")
        std::this_thread::yield(); // until the half is known to be gone
    ASSERT_EQ(status(running.post("/beam", ana.beam)), "HTTP/1.1 200");
    EXPECT_EQ(status(talk(running.port, ana.history())), "HTTP/1.1 503") << "two doodles";
    const std::string one = httpGet("/history?limit=1&circle_id=" + ana.circle);
    EXPECT_EQ(status(talk(running.port, one)), "HTTP/1.1 200");
    EXPECT_EQ(status(talk(running.port, one)), "HTTP/1.1 200") << "a share was not given back";
}

// Whoever reads slowly keeps others from no more than what he has not read yet.
TEST(Http, GivesBackTheRoomOfAReplyAsItIsWritten)
{
    http::Limits limits;
    limits.allRepliesBytes = 40 << 20; // half of it for one address
    RunningServer running(limits);
    Member ana(running);
    ana.beam["type"] = "doodle";
    ana.beam["body"] = largeDoodle;
    for (int i = 0; i < 9; ++i)
        ASSERT_TRUE(running.post("/beam", ana.beam).starts_with("HTTP/1.1 200"));
    const std::string four = httpGet("/history?limit=4&circle_id=" + ana.circle);
    Connection slow(running.port, ana.history());
    std::string reply = slow.readSoMuch(12 << 20);
    EXPECT_TRUE(talk(running.port, four).starts_with("HTTP/1.1 200"));
    reply += slow.read();
    EXPECT_EQ(countOf(reply, largeDoodle), 9u) << "what was given back was not written yet";
}

// On a slow line it takes long, and what has been waited for must not be thrown away.
TEST(Http, WaitsForABodyForAsLongAsItComesFastEnough)
{
    http::Limits limits;
    limits.tick = std::chrono::milliseconds(5);
    limits.idle = limits.body = std::chrono::milliseconds(40);
    limits.bytesPerSecond = 100;
    RunningServer running(limits);
    const std::string part(500, 'x'); // may take five seconds
    Connection slow(running.port, "POST /join HTTP/1.1\r\nContent-Type: application/json\r\n"
                                  "Connection: close\r\nContent-Length: 1500\r\n\r\n" +
                                      part);
    for (int i = 1; i < 3; ++i) {
        Connection idle(running.port, me);
        idle.readUntil("}");
        EXPECT_EQ(idle.read(), ""); // by when a body that did not go on would be over as well
        slow.send(part);
    }
    EXPECT_TRUE(slow.read().starts_with("HTTP/1.1 400"));
}

TEST(Http, EndsAReplyThatNobodyReads)
{
    http::Limits limits;
    limits.connections = 1;
    limits.tick = std::chrono::milliseconds(5);
    limits.reply = std::chrono::milliseconds(40);
    RunningServer running(limits);
    Member ana(running);
    ana.beam["type"] = "doodle";
    ana.beam["body"] = largeDoodle;
    for (int i = 0; i < 9; ++i) // more than the buffers of two sockets hold
        running.post("/beam", ana.beam);
    Connection idle(running.port, ana.history());
    running.awaitFree();
    EXPECT_LT(idle.read().size(), 9 * largeDoodle.size());
}

TEST(Http, EndsWithItsGraceWhateverIsUnderWay)
{
    http::Limits limits;
    limits.tick = std::chrono::minutes(1);
    limits.grace = std::chrono::milliseconds(30);
    std::promise<void> asked;
    boost::asio::io_context context;
    http::Server server(
        context,
        [&](const http::Request &, const http::Reply &) -> std::optional<http::Answer> {
            asked.set_value();
            return std::nullopt; // and no answer comes later
        },
        limits);
    const Connection connection(portOf(server.listen("127.0.0.1:0")), me + me);
    std::future<void> running = std::async(std::launch::async, [&] { context.run(); });
    asked.get_future().wait();
    boost::asio::post(context, [&] { server.stop(); });
    EXPECT_EQ(running.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

namespace {

/// Two members of a circle on a server that holds polls, some time after they joined.
struct HeldPolls
{
    explicit HeldPolls(std::chrono::milliseconds hold, http::Limits limits = {})
        : running(limits, hold)
    {
        const std::string code = running.house.newCircle().text("code");
        ana = running.house.join(code, "a");
        ben = running.house.join(code, "b");
        calm();
    }
    /// Until changes of members are long past.
    void calm()
    {
        std::promise<void> announced;
        boost::asio::post(running.context, [&] { announced.set_value(); });
        announced.get_future().wait();
        running.house.time.advance(15);
    }
    /// A poll of Ben's that finds nothing.
    std::string poll()
    {
        return httpGet("/beams?circle_id=" + ben.text("circle_id") +
                       "&member_id=" + ben.text("member_id") +
                       "&since=" + std::to_string(nextSince(running.house.poll(ben, 0))));
    }
    RunningServer running;
    Told ana, ben;
};

constexpr std::chrono::seconds longHold{30};

} // namespace

TEST(HeldPolls, AreAnsweredByABeamBySilenceAndByTheEnd)
{
    HeldPolls held(longHold);
    const std::string behindHisOwn = held.poll();
    held.running.house.sendText(held.ben, "mine");
    Connection forABeam(held.running.port, behindHisOwn);
    held.running.held.wait(0);
    held.running.house.sendText(held.ana, "now");
    const std::string beam = forABeam.read();
    EXPECT_TRUE(beam.starts_with("HTTP/1.1 200")) << beam;
    EXPECT_EQ(fieldOf(beam, "body"), "now");

    Connection untilTheEnd(held.running.port, held.poll());
    held.running.held.wait(1);
    boost::asio::post(held.running.context, [&] { held.running.server.stop(); });
    const std::string last = untilTheEnd.read();
    EXPECT_TRUE(last.starts_with("HTTP/1.1 200")) << last;

    HeldPolls brief(std::chrono::milliseconds(20));
    const std::string nothing = talk(brief.running.port, brief.poll());
    EXPECT_EQ(brief.running.held, 1);
    EXPECT_NE(nothing.find("{\"beams\":[],"), std::string::npos) << nothing;
}

TEST(HeldPolls, OfASeatThatIsTakenOverAreRefusedBeforeThatIsTold)
{
    HeldPolls held(longHold);
    const std::string code = held.ana.text("code");
    for (const char *device : {"c", "d", "e"})
        held.running.house.join(code, device);
    held.calm();
    Connection poll(held.running.port, held.poll());
    held.running.held.wait(0);
    held.running.house.time.advance(31 * 86'400);
    held.running.house.poll(held.ana, 0); // leaves Ben as the one who was unseen for longest
    const std::string taken = held.running.post(
        "/join", {{"code", code}, {"handle", "F"}, {"device_id", "f"}, {"emoji", "e"}});
    ASSERT_TRUE(taken.starts_with("HTTP/1.1 200")) << taken;
    EXPECT_TRUE(poll.readWhatIsThere().starts_with("HTTP/1.1 403"));
}

TEST(HeldPolls, OfASeatThatIsGivenUpAreRefusedBeforeThatIsTold)
{
    HeldPolls held(longHold);
    const std::string other = held.running.house.newCircle().text("code");
    Connection poll(held.running.port, held.poll());
    held.running.held.wait(0);
    const std::string moved = held.running.post(
        "/join", {{"code", other}, {"handle", "B"}, {"device_id", "b"}, {"emoji", "e"}});
    ASSERT_TRUE(moved.starts_with("HTTP/1.1 200")) << moved;
    EXPECT_TRUE(poll.readWhatIsThere().starts_with("HTTP/1.1 403"));
}

TEST(HeldPolls, OfClientsThatWentAwayTakeNoPlace)
{
    http::Limits limits;
    limits.connections = 1;
    HeldPolls held(longHold, limits);
    {
        const Connection hangsUp(held.running.port, held.poll());
        held.running.held.wait(0);
    }
    held.running.awaitFree();
}

} // namespace kivolo::server::test
