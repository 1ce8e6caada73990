// Real sockets, broken requests.

#include "allocations.h"
#include "support.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/json/object.hpp>
#include <deque>
#include <gtest/gtest.h>
#include <malloc.h>

namespace kivolo::server::test {

namespace asio = boost::asio;
namespace json = boost::json;
using std::chrono::milliseconds;

namespace {

const std::string me = "GET /me?device_id=x HTTP/1.1\r\nHost: x\r\n\r\n";
const std::string lastMe = httpGet("/me?device_id=x");
const std::string post = "POST /join HTTP/1.1\r\nContent-Type: application/json\r\n";
const std::string largeDoodle =
    "data:image/png;base64,iVBORw0KGgoA" + std::string((2 << 20) - 36, '/');
constexpr std::chrono::seconds longHold{30};

std::size_t countOf(std::string_view text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; at += part.size())
        ++count;
    return count;
}

/// Whose deadlines have passed after so long.
http::Limits impatient(milliseconds after)
{
    http::Limits limits;
    limits.tick = milliseconds(5);
    limits.idle = limits.header = limits.body = limits.reply = after;
    return limits;
}

/// A house with a circle of two, some time after they joined.
struct RunningServer
{
    explicit RunningServer(http::Limits limits = {}, milliseconds hold = {})
        : house({}, {}, hold)
        , serving(
              [this](http::Request &request, const http::Reply &later) {
                  auto atOnce = house.routes.handle(request, [this, later](http::Answer answer) {
                      countWait(answer);
                      later(std::move(answer));
                  });
                  if (atOnce)
                      countWait(*atOnce);
                  return atOnce;
              },
              limits)
    {
        const auto announce = [this, context = serving.context](const Change &change) {
            asio::post(*context, [this, change] { house.holds.announce(change); });
        };
        house.circles.setObserver({announce, [this] { return house.holds.occupied(); }});
        calm();
    }
    /// Until changes of members are long past.
    void calm()
    {
        serving.onThread([] {}); // by now they are announced
        house.time.advance(15);
    }
    std::string statuses(std::string_view request, const char *from = "127.0.0.1") const
    {
        return statusesOf(talk(port, request, from));
    }
    /// For a server of one connection: comes back when that one is free.
    void awaitFree() const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (statuses(lastMe) != "200")
            ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "it is still taken";
    }
    /// A poll of Ben's that finds nothing.
    std::string poll()
    {
        return httpGet("/beams?circle_id=" + ben.text("circle_id") +
                       "&member_id=" + ben.text("member_id") +
                       "&since=" + std::to_string(nextSince(house.poll(ben, 0))));
    }
    /// A look at one that has yet to wait for twenty seconds.
    std::string capsule()
    {
        const Told sent = house.sendText(ana, "now", {{"open_at", house.time.now() + 20}});
        return httpGet("/capsule?id=" + sent.text("id") + "&circle_id=" + ana.text("circle_id"));
    }
    std::string doodle() const
    {
        return httpPost("/beam", {{"circle_id", ana.text("circle_id")},
                                  {"from_member", ana.text("member_id")},
                                  {"type", "doodle"},
                                  {"body", largeDoodle}});
    }
    void sendNineDoodles() const
    {
        const std::string request = doodle();
        for (int i = 0; i < 9; ++i)
            ASSERT_EQ(statuses(request), "200");
    }
    std::string history(int limit) const
    {
        return httpGet("/history?limit=" + std::to_string(limit) +
                       "&circle_id=" + ana.text("circle_id"));
    }

    Pair house;
    const Told &ana = house.ana, &ben = house.ben;
    std::atomic<int> waits = 0; ///< How often a request was held or told to come again.
    Serving serving;
    const std::uint16_t port = portOf(serving.listen());

private:
    void countWait(const http::Answer &answer)
    {
        if (!std::holds_alternative<http::Response>(answer)) {
            ++waits;
            waits.notify_all();
        }
    }
};

} // namespace

TEST(Http, AnswersOrRefusesWhateverComesAndGoesOn)
{
    RunningServer running(impatient(milliseconds(40)));
    std::string manyFields;
    while (manyFields.size() < 1'000)
        manyFields += "a:\r\n";
    const std::pair<std::string, std::string> cases[] = {
        {me + me + lastMe, "200 200 200"},
        {"GET /me?device_id=x HTTP/1.0\r\n\r\n", "200"},
        {"BREW /me HTTP/1.1\r\nConnection: close\r\n\r\n", "405"},
        {"GET / HTTP/9.9\r\n\r\n", "400"},
        {std::string("\x16\x03\x01\x00\xff\x00\x00", 7) + "\r\n\r\n", "400"},
        {"GET /me HTTP/1.1\r\nA: " + std::string(40'000, 'a') + "\r\n\r\n", "431"},
        {"GET /" + std::string(40'000, 'a'), "431"},
        {"GET /me HTTP/1.1\r\n" + manyFields + "\r\n", "431"},
        {post + "Content-Length: 99999999999999999999999\r\n\r\n", "400"},
        {post + "Content-Length: 5000000\r\n\r\n{", "413"},
        {post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "400"},
        {post + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "411"},
        {post + "Transfer-Encoding: gzip, chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n", "411"},
        {post + "Transfer-Encoding: gzip\r\n\r\n" + lastMe, "501"}, // its body is not answered
        {post + "Connection: close\r\n\r\n", "400"},
        {post + "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n", "100 408"},
        {post + "Content-Length: 10\r\n\r\n{", "408"},
        {"GET /me", "408"},
        {"", ""},
    };
    for (const auto &[request, statuses] : cases)
        EXPECT_EQ(running.statuses(request), statuses) << request.substr(0, 80);
    const std::string head = talk(running.port, "HEAD" + lastMe.substr(3));
    EXPECT_NE(head.find("Content-Length: 16\r\n"), std::string::npos);
    EXPECT_TRUE(head.ends_with("\r\n\r\n"));
}

// The first of many requests is answered only when another connection has asked for something,
// which then has to come between them.
TEST(Http, LetsOthersInBetweenTheRequestsOfOneConnection)
{
    constexpr std::size_t requests = 90; // come in with one read
    std::promise<void> first, otherHasAsked;
    std::atomic<int> answered = 0;
    Serving serving([&](const http::Request &request, const http::Reply &) {
        http::Response response;
        if (request.target == "/other") {
            response.body = "after " + std::to_string(answered);
        } else if (++answered == 1) {
            first.set_value();
            otherHasAsked.get_future().wait();
        }
        return response;
    });
    const std::uint16_t port = portOf(serving.listen());
    std::string all;
    for (std::size_t i = 1; i < requests; ++i)
        all += me;
    Connection many(port, all + lastMe);
    first.get_future().wait();
    Connection other(port, httpGet("/other"));
    otherHasAsked.set_value();
    const std::string reply = other.read();
    EXPECT_LT(std::stoi(reply.substr(reply.rfind(' '))), 20) << "of one were answered first";
    EXPECT_EQ(countOf(many.read(), "HTTP/1.1 200"), requests);
}

// An idle connection costs little, whatever it has sent before.
TEST(Http, KeepsNoRoomThatALargeRequestNeeded)
{
    constexpr std::size_t count = 50;
    constexpr std::size_t bytesEach = 6 << 10;
    RunningServer running;
    const std::string large = R"({"code":")" + std::string(60'000, 'x') + R"("})";
    const std::string request =
        post + "Content-Length: " + std::to_string(large.size()) + "\r\n\r\n" + large;
    Connection warmUp(running.port, request);
    warmUp.read("\"}");
    const std::size_t before = mallinfo2().uordblks;
    std::deque<Connection> connections;
    while (connections.size() < count)
        connections.emplace_back(running.port, request).read("\"}");
    talk(running.port, lastMe); // the last one's room is given up in a turn of its own
    EXPECT_LT(mallinfo2().uordblks, before + count * bytesEach);
}

// Where memory runs out, what keeps the promises of all must not die of it without a word.
TEST(Http, GoesOnKeepingDeadlinesAndAcceptingWhenMemoryRanOut)
{
    RunningServer running(impatient(milliseconds(300)));
    const auto failFrom = [&](std::size_t bytes) {
        running.serving.onThread([bytes] { failAllocations(bytes); });
    };
    Connection idle(running.port, me);
    idle.read("}");
    failFrom(1);
    EXPECT_EQ(idle.read(), "") << "closed because it was idle for too long";
    failFrom(0);
    failFrom(400); // a connection's own record is larger
    EXPECT_EQ(talk(running.port, lastMe), "") << "there was no memory for it";
    failFrom(0);
    EXPECT_EQ(running.statuses(lastMe), "200");
}

TEST(Http, ListensOnAllAddressesThatItIsGiven)
{
    Serving serving([](const http::Request &, const http::Reply &) { return http::Response(); });
    const std::uint16_t one = portOf(serving.listen());
    const std::string all = std::to_string(portOf(serving.listen("localhost:0")));
    EXPECT_EQ(statusesOf(talk(one, lastMe)), "200");
    asio::io_context lookup;
    for (const auto &found : asio::ip::tcp::resolver(lookup).resolve("localhost", all)) {
        asio::ip::tcp::socket socket(lookup);
        EXPECT_NO_THROW(socket.connect(found.endpoint())) << found.endpoint().address();
    }
}

// Nobody is kept out by one who has many connections, whether they ask for something or not.
TEST(Http, EndsConnectionsOfThoseWhoHaveMost)
{
    http::Limits limits;
    limits.connections = 5;
    limits.connectionsPerAddress = 4;
    RunningServer running(limits);
    std::deque<Connection> connections;
    const auto open = [&](const std::string &request) {
        connections.emplace_back(running.port, request).read("}");
    };
    const auto expectTheFirstClosed = [&] {
        connections.front().read();
        connections.pop_front();
    };
    for (int i = 0; i < 5; ++i)
        open(me);
    expectTheFirstClosed(); // one address has its bounds while there is room
    Connection other(running.port, me, "127.0.1.1");
    other.read("}");
    for (const char *newcomer : {"127.0.0.2", "127.0.2.1"}) { // of the same net and of none
        EXPECT_EQ(running.statuses(lastMe, newcomer), "200");
        expectTheFirstClosed();
        open(me);
    }

    connections.clear();
    while (connections.size() < 4)
        open(me + "GET"); // has begun a request
    EXPECT_EQ(running.statuses(lastMe), "503") << "it has most itself";
    EXPECT_EQ(running.statuses(lastMe, "127.0.2.1"), "200");
    expectTheFirstClosed();
}

TEST(Http, RefusesWhatItsMemoryCannotHold)
{
    http::Limits limits;
    limits.allReceivedBytes = limits.allRepliesBytes = 5 << 20; // half of it for one address
    RunningServer running(limits);
    const std::string request = running.doodle();
    std::deque<Connection> silent; // they announce it
    while (silent.size() < 64)
        silent.emplace_back(running.port, request.substr(0, request.find("\r\n\r\n") + 4));
    {
        Connection half(running.port, std::string_view(request).substr(0, request.size() / 2));
        // One after the other, so the half has been seen when a whole one is refused.
        std::string whole;
        while (statusesOf(whole = talk(running.port, request)) != "503")
            ASSERT_EQ(statusesOf(whole), "200");
        EXPECT_NE(whole.find("Kivolo is very busy"), std::string::npos);
        EXPECT_EQ(running.statuses(lastMe), "200");
    }
    while (running.statuses(request) != "200")
        std::this_thread::yield(); // until the half is known to be gone
    ASSERT_EQ(running.statuses(request), "200");
    EXPECT_EQ(running.statuses(running.history(9)), "503") << "two doodles";
    for (int twice = 0; twice < 2; ++twice)
        EXPECT_EQ(running.statuses(running.history(1)), "200") << "a share was not given back";
}

// Whoever reads slowly keeps others from no more than what he has not read yet.
TEST(Http, WritesLargeRepliesWholeAndGivesTheirRoomBackMeanwhile)
{
    http::Limits limits;
    limits.allRepliesBytes = 40 << 20; // half of it for one address
    RunningServer running(limits);
    running.sendNineDoodles();
    Connection slow(running.port, running.history(9));
    const std::string begin = slow.read({}, 12 << 20);
    EXPECT_EQ(running.statuses(running.history(4)), "200");
    EXPECT_EQ(countOf(begin + slow.read(), largeDoodle), 9u) << "not yet written, but given back";
    const std::string head = talk(running.port, "HEAD" + running.history(9).substr(3));
    EXPECT_TRUE(statusesOf(head) == "200" && head.ends_with("\r\n\r\n")) << head;
    EXPECT_EQ(countOf(head, "Content-Length"), 0u) << "it was made only to be measured";
}

// On a slow line it takes long, and what has been waited for must not be thrown away.
TEST(Http, WaitsForABodyForAsLongAsItComesFastEnough)
{
    http::Limits limits = impatient(milliseconds(40));
    limits.bytesPerSecond = 100;
    RunningServer running(limits);
    const std::string part(500, 'x'); // may take five seconds
    Connection slow(running.port,
                    post + "Connection: close\r\nContent-Length: 1500\r\n\r\n" + part);
    for (int i = 1; i < 3; ++i) {
        Connection idle(running.port, me);
        idle.read("}");
        EXPECT_EQ(idle.read(), ""); // by when a body that did not go on would be over as well
        slow.send(part);
    }
    EXPECT_EQ(statusesOf(slow.read()), "400");
}

TEST(Http, EndsAReplyThatNobodyReads)
{
    http::Limits limits;
    limits.connections = 1;
    limits.tick = milliseconds(5);
    limits.reply = milliseconds(40);
    RunningServer running(limits);
    running.sendNineDoodles(); // more than the buffers of two sockets hold
    Connection idle(running.port, running.history(9));
    running.awaitFree();
    EXPECT_LT(idle.read().size(), 9 * largeDoodle.size());
}

TEST(Http, EndsWithItsGraceWhateverIsUnderWay)
{
    http::Limits limits;
    limits.tick = std::chrono::minutes(1);
    limits.grace = milliseconds(30);
    std::promise<void> asked;
    Serving serving(
        [&](const http::Request &, const http::Reply &) -> std::optional<http::Answer> {
            asked.set_value();
            return std::nullopt; // and no answer comes later
        },
        limits);
    const Connection connection(portOf(serving.listen()), me + me);
    asked.get_future().wait();
    serving.stop();
    EXPECT_EQ(serving.end.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(Waiting, LastsUntilWhatItIsForOrTheEndAndTakesNoPlaceWhenNobodyWaits)
{
    constexpr Seconds decades = 1'000'000'000;
    struct Case
    {
        std::string (RunningServer::*ask)();
        void (*happen)(RunningServer &);
        Seconds behind; ///< The wall clock, so that the server comes again every millisecond,
        const char *atTheEnd;
    };
    const Case cases[] = {
        {&RunningServer::poll, [](auto &r) { r.house.sendText(r.ana, "now"); }, 0, "200"},
        {&RunningServer::capsule, [](auto &r) { r.house.time.advance(20); }, decades, "503"},
    };
    const auto begin = [](RunningServer &running, const std::string &request) {
        const int before = running.waits;
        auto connection = std::make_unique<Connection>(running.port, request);
        running.waits.wait(before);
        return connection;
    };
    http::Limits limits;
    limits.connections = 1;
    for (const Case &c : cases) {
        RunningServer small(limits, longHold);
        begin(small, (small.*c.ask)()); // and hangs up
        small.awaitFree();

        RunningServer running({}, longHold);
        running.house.time.advance(-c.behind);
        const std::string request = (running.*c.ask)();
        running.house.sendText(running.ben, "one's own");
        const auto patient = begin(running, request);
        c.happen(running);
        const std::string reply = patient->read();
        EXPECT_EQ(statusesOf(reply), "200");
        EXPECT_NE(reply.find(R"("body":"now")"), std::string::npos) << reply;
        running.house.time.advance(c.behind); // and then only when its time has come
        const auto untilTheEnd = begin(running, (running.*c.ask)());
        running.serving.stop();
        EXPECT_EQ(statusesOf(untilTheEnd->read()), c.atTheEnd);
    }
    RunningServer brief({}, milliseconds(20));
    const std::string nothing = talk(brief.port, brief.poll());
    EXPECT_EQ(brief.waits, 1);
    EXPECT_NE(nothing.find("{\"beams\":[],"), std::string::npos) << nothing;
}

TEST(Waiting, OfASeatThatIsLostIsRefusedBeforeThatIsTold)
{
    for (const bool takenOver : {true, false}) { // or else given up for another circle
        RunningServer running({}, longHold);
        Pair &house = running.house;
        const std::string code = takenOver ? house.code : house.newCircle().text("code");
        for (const char *device : {"c", "d", "e"})
            house.join(house.code, device);
        running.calm();
        Connection poll(running.port, running.poll());
        running.waits.wait(0);
        if (takenOver) {
            house.time.advance(31 * 86'400);
            house.poll(running.ana, 0); // leaves Ben as the one who was unseen for longest
        }
        const json::object joining{
            {"code", code}, {"handle", "F"}, {"device_id", takenOver ? "f" : "b"}};
        EXPECT_EQ(running.statuses(httpPost("/join", joining)), "200");
        EXPECT_EQ(statusesOf(poll.readWhatIsThere()), "403") << takenOver;
    }
}

} // namespace kivolo::server::test
