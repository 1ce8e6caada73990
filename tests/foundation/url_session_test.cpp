#include "platform/foundation/url_session.h"

#include "staging/scripted_server.h"
#include "support/eventually.h"

#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;
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

TEST_F(UrlSessionTest, WhatIsLostIsNotSentAgain)
{
    const QString lost = u"The connection closed before the server had answered. "
                         "What you sent may have arrived all the same."_s;
    for (const QByteArray method : {"GET", "POST"}) {
        for (const QByteArray answer : {"", "HTTP/1.1 200 OK\r\nContent-Le"}) {
            SCOPED_TRACE((method + ' ' + answer).constData());
            ScriptedServer one;
            UrlRequest request;
            request.url = QUrl::fromEncoded(one.origin() + "/");
            request.method = method;
            request.headers = {{"Content-Type", "text/plain"}};
            if (method == "POST")
                request.body = QByteArray(100'000, 'x');
            // Over a fresh connection, then over one that has served before.
            for (const qsizetype before : {0, 2}) {
                one.answerRaw("/", answer);
                EXPECT_EQ(outcomeOf(send(request)).failure, lost);
                one.answer("/", "fine");
                EXPECT_EQ(outcomeOf(send(request)).reply->body, "fine");
                EXPECT_EQ(one.requests().size(), before + 2) << "none came late either";
                EXPECT_EQ(one.requests().last().method, method);
                EXPECT_EQ(one.requests().last().body, request.body);
            }
        }
    }
}

TEST_F(UrlSessionTest, AnErrorStatusIsAnAnswerAndCookiesAreNotKept)
{
    for (const int status : {400, 401, 404, 407, 426, 503}) {
        server.answer("/", "why", status,
                      "WWW-Authenticate: Basic realm=x\r\nProxy-Authenticate: Basic realm=x\r\n"
                      "Set-Cookie: tracker=1; Path=/\r\n");
        const Outcome outcome = outcomeOf(send(request("/")));
        ASSERT_TRUE(outcome.reply) << status << qPrintable(outcome.failure);
        EXPECT_EQ(outcome.reply->status, status);
        EXPECT_EQ(outcome.reply->body, "why");
        EXPECT_FALSE(server.requests().last().headers.contains("cookie"));
    }
}

TEST_F(UrlSessionTest, ARequestsOwnTimeGoesBeforeTheSessions)
{
    const QString timedOut = u"The request timed out."_s;
    UrlSession hasty(1'000'000, 1ms);
    server.hold("/");
    UrlRequest patient = request("/");
    patient.timeout = 60s;
    const QFuture<UrlReply> waiting = hasty.data([patient] { return patient; });
    EXPECT_EQ(outcomeOf(hasty.data([this] { return request("/"); })).failure, timedOut);
    UrlRequest hurried = request("/");
    hurried.timeout = 1ms;
    EXPECT_EQ(outcomeOf(send(hurried)).failure, timedOut);
    EXPECT_FALSE(waiting.isFinished());
    server.answer("/", "fine");
    ASSERT_TRUE(eventually([&] { return !server.requests().empty(); }));
    server.release("/");
    EXPECT_EQ(outcomeOf(waiting).reply->body, "fine");
}

TEST_F(UrlSessionTest, RedirectsStayAtHomeUnlessAllowedAndNeverRepeatAPost)
{
    ScriptedServer elsewhere;
    elsewhere.answer("/", "elsewhere");
    server.answer("/target", "found");
    server.answer("/home", "", 302, "Location: /target\r\n");
    server.answer("/away", "", 302, "Location: " + elsewhere.origin() + "/\r\n");
    server.answer("/loop", "", 302, "Location: /loop\r\n");

    EXPECT_EQ(outcomeOf(send(request("/home"))).reply->body, "found");
    EXPECT_EQ(outcomeOf(send(request("/away"))).reply->status, 302);
    EXPECT_EQ(outcomeOf(send(request("/loop"))).reply->status, 302);
    UrlRequest wandering = request("/away");
    wandering.redirects = UrlRequest::Redirects::Anywhere;
    EXPECT_EQ(outcomeOf(send(wandering)).reply->body, "elsewhere");
    server.answer("/down", "", 302, "Location: ftp://127.0.0.1/\r\n");
    wandering.url = request("/down").url;
    EXPECT_EQ(outcomeOf(send(wandering)).reply->status, 302);
    UrlRequest post = request("/home");
    post.method = "POST";
    post.headers = {{"Content-Type", "text/plain"}};
    post.body = "secret";
    post.redirects = UrlRequest::Redirects::Anywhere;
    EXPECT_EQ(outcomeOf(send(post)).reply->status, 302);
    EXPECT_EQ(server.requestsTo("/target").size(), 1);
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
