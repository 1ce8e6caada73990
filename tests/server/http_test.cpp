// Real sockets, broken requests.

#include "http/server.h"
#include "support.h"

#include <boost/asio/post.hpp>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace kivolo::server::test {

namespace {

struct RunningServer
{
    explicit RunningServer(http::Limits limits = {})
        : server(
              context,
              [this](const http::Request &request, Reply later) {
                  Answer answer = house.routes.handle(request, std::move(later));
                  if (std::holds_alternative<AgainAt>(answer))
                      waits.set_value();
                  return answer;
              },
              limits)
    {
        const std::string address = server.listen("127.0.0.1:0");
        port = static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1)));
        thread = std::jthread([this] { context.run(); });
    }
    ~RunningServer()
    {
        boost::asio::post(context, [this] { server.stop(); });
        thread.join();
    }

    House house;
    std::promise<void> waits; ///< Kept when a request was told to come again.
    boost::asio::io_context context;
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

const std::string me = "GET /me?device_id=x HTTP/1.1\r\nHost: x\r\n\r\n";
const std::string lastMe = httpGet("/me?device_id=x");

} // namespace

TEST(Http, AnswersOrRefusesWhateverComesAndGoesOn)
{
    http::Limits limits;
    limits.tick = std::chrono::milliseconds(5);
    limits.idle = limits.header = limits.body = std::chrono::milliseconds(40);
    RunningServer running(limits);
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
        {post + "Content-Length: 99999999999999999999999\r\n\r\n", "HTTP/1.1 400"},
        {post + "Content-Length: -1\r\n\r\n", "HTTP/1.1 400"},
        {post + "Content-Length: 5000000\r\n\r\n{", "HTTP/1.1 413"},
        {post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "HTTP/1.1 400"},
        {post + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "HTTP/1.1 400"},
        {post + "Transfer-Encoding: chunked\r\nConnection: close\r\n\r\n2\r\n{}\r\n0\r\n\r\n",
         "HTTP/1.1 400"},
        {post + "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n", "HTTP/1.1 100"},
        {post + "Content-Length: 10\r\n\r\n{", "HTTP/1.1 408"},
        {"GET /me", "HTTP/1.1 408"},
        {"", ""},
    };
    for (const auto &[request, start] : cases) {
        const std::string reply = talk(running.port, request);
        EXPECT_EQ(reply.substr(0, 12), start) << request.substr(0, 80);
    }
    const std::string pipelined = talk(running.port, me + me + lastMe);
    EXPECT_EQ(countOf(pipelined, "{\"joined\":false}"), 3u);
    const std::string head = talk(running.port, cases[2].first);
    EXPECT_NE(head.find("Content-Length: 16\r\n"), std::string::npos);
    EXPECT_TRUE(head.ends_with("\r\n\r\n"));
}

TEST(Http, HoldsBackWhatIsBeyondItsConnections)
{
    http::Limits limits;
    limits.connections = 0;
    RunningServer running(limits);
    EXPECT_EQ(talk(running.port, lastMe).substr(0, 12), "HTTP/1.1 503");
}

TEST(Http, DeliversLargeRepliesWholeAndStopsInTheMiddleOfAWait)
{
    RunningServer running;
    House &house = running.house;
    const auto request = [&](std::string_view target, boost::json::object body) {
        return talk(running.port, httpPost(target, body));
    };
    const std::string code = fieldOf(request("/circle/create", {{"device_id", "a"}}), "code");
    const std::string ana = request("/join", {{"code", code}, {"handle", "A"}, {"device_id", "a"}});
    const std::string circle = fieldOf(ana, "circle_id");
    const std::string doodle =
        "data:image/png;base64,iVBORw0KGgoA" + std::string((2 << 20) - 36, '/');
    boost::json::object beam{{"circle_id", circle},
                             {"from_member", fieldOf(ana, "member_id")},
                             {"type", "doodle"},
                             {"body", doodle}};
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(request("/beam", beam).substr(0, 12), "HTTP/1.1 200");
    const std::string history = talk(running.port, httpGet("/history?limit=9&circle_id=" + circle));
    EXPECT_EQ(countOf(history, doodle), 5u);

    beam["type"] = "text";
    beam["open_at"] = house.time.now() + 20;
    beam["body"] = "later";
    const std::string id = fieldOf(request("/beam", beam), "id");
    std::string waited;
    std::jthread waiting([&] {
        waited = talk(running.port, httpGet("/capsule?id=" + id + "&circle_id=" + circle));
    });
    // The manual clock is ahead of the wall clock that the wait goes by, so only the stop ends it.
    running.waits.get_future().wait();
    boost::asio::post(running.context, [&] { running.server.stop(); });
    waiting.join();
    EXPECT_TRUE(waited.starts_with("HTTP/1.1 503")) << waited;
}

} // namespace kivolo::server::test
