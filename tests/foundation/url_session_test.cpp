#include "platform/foundation/url_session.h"

#include "support/scripted_server.h"

#include <gtest/gtest.h>

using namespace kivolo;
using namespace std::chrono_literals;

namespace {

struct Outcome
{
    std::optional<UrlReply> reply;
    QString failure;
};

Outcome outcomeOf(QFuture<UrlReply> future)
{
    EXPECT_TRUE(eventually([&] { return future.isFinished(); }));
    try {
        return {future.result(), {}};
    } catch (const TransportError &error) {
        EXPECT_FALSE(error.localizedDescription().isEmpty());
        return {std::nullopt, error.localizedDescription()};
    }
}

class UrlSessionTest : public testing::Test
{
protected:
    UrlRequest request(const QByteArray &path) const
    {
        UrlRequest made;
        made.url = QUrl::fromEncoded(server.origin() + path);
        return made;
    }

    QFuture<UrlReply> send(const UrlRequest &request)
    {
        return session.data([request] { return request; });
    }

    ScriptedServer server;
    UrlSession session{1'000'000};
};

} // namespace

TEST_F(UrlSessionTest, BrokenRepliesFailAndTheNextRequestWorks)
{
    const struct
    {
        const char *what;
        QByteArray bytes;
    } cases[] = {
        {"cut short", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this"},
        {"cut in a chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nff\r\nonly this"},
        {"closed at once", ""},
        {"no HTTP", "220 mail.example.org ESMTP\r\n\r\n"},
        {"announced too large", "HTTP/1.1 200 OK\r\nContent-Length: 99000000000\r\n\r\nx"},
        {"too large",
         "HTTP/1.1 200 OK\r\nContent-Length: 1000001\r\n\r\n" + QByteArray(1'000'001, 'x')},
    };
    for (const auto &c : cases) {
        ScriptedServer one;
        one.answerRaw("/", c.bytes);
        UrlRequest broken;
        broken.url = QUrl::fromEncoded(one.origin() + "/");
        EXPECT_FALSE(outcomeOf(send(broken)).failure.isEmpty()) << c.what;
    }
    server.answer("/", "fine");
    EXPECT_EQ(outcomeOf(send(request("/"))).reply->body, "fine");
}

TEST_F(UrlSessionTest, AnErrorStatusIsAnAnswer)
{
    for (const int status : {400, 401, 403, 404, 409, 413, 418, 426, 500, 503})
        server.answer("/", "why", status, "WWW-Authenticate: Basic realm=x\r\n");
    for (const int status : {400, 401, 403, 404, 409, 413, 418, 426, 500, 503}) {
        const Outcome outcome = outcomeOf(send(request("/")));
        ASSERT_TRUE(outcome.reply) << status << qPrintable(outcome.failure);
        EXPECT_EQ(outcome.reply->status, status);
        EXPECT_EQ(outcome.reply->body, "why");
    }
}

TEST_F(UrlSessionTest, AServerThatNeverAnswersTimesOut)
{
    server.answerNever("/");
    UrlRequest silent = request("/");
    silent.timeout = 1ms;
    EXPECT_EQ(outcomeOf(send(silent)).failure, QStringLiteral("The request timed out."));
    EXPECT_EQ(UrlRequest().timeout, 60s);
}

TEST_F(UrlSessionTest, RedirectsStayAtHomeAndNeverRepeatAPost)
{
    ScriptedServer elsewhere;
    elsewhere.answer("/", "stolen");
    server.answer("/target", "found");
    server.answer("/home", "", 302, "Location: /target\r\n");
    server.answer("/away", "", 302, "Location: " + elsewhere.origin() + "/\r\n");
    server.answer("/loop", "", 302, "Location: /loop\r\n");

    EXPECT_EQ(outcomeOf(send(request("/home"))).reply->body, "found");
    EXPECT_EQ(outcomeOf(send(request("/away"))).reply->status, 302);
    EXPECT_EQ(outcomeOf(send(request("/loop"))).reply->status, 302);
    UrlRequest post = request("/home");
    post.method = "POST";
    post.headers = {{"Content-Type", "text/plain"}};
    post.body = "secret";
    EXPECT_EQ(outcomeOf(send(post)).reply->status, 302);
    EXPECT_TRUE(elsewhere.requests().isEmpty());
    EXPECT_EQ(server.requestsTo("/target").size(), 1);
}

TEST_F(UrlSessionTest, CookiesAreNotKept)
{
    server.answer("/", "", 200, "Set-Cookie: tracker=1; Path=/\r\n");
    outcomeOf(send(request("/")));
    outcomeOf(send(request("/")));
    EXPECT_FALSE(server.requests().last().headers.contains("cookie"));
}

TEST_F(UrlSessionTest, EndingASessionFailsWhatIsUnderWay)
{
    server.answerNever("/");
    auto doomed = std::make_unique<UrlSession>();
    const QFuture<UrlReply> future = doomed->data([this] { return request("/"); });
    ASSERT_TRUE(eventually([&] { return server.requests().size() == 1; }));
    doomed.reset();
    EXPECT_FALSE(outcomeOf(future).failure.isEmpty());
}

TEST_F(UrlSessionTest, TheMainThreadTurnsWhileARequestWaits)
{
    server.answerNever("/");
    UrlRequest slow = request("/");
    slow.timeout = 50ms;
    const QFuture<UrlReply> future = send(slow);
    int turns = 0;
    EXPECT_TRUE(eventually([&] { return ++turns > 0 && future.isFinished(); }));
    EXPECT_GT(turns, 1);
}
