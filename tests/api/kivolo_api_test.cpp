#include "api/kivolo_api.h"

#include "staging/scripted_server.h"
#include "support/eventually.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

/// Turns the event loop until the request has ended; the text of its failure, or empty.
template<typename Reply>
QString failureOf(QFuture<Reply> future)
{
    EXPECT_TRUE(eventually([&] { return future.isFinished(); }));
    try {
        future.result();
        return {};
    } catch (const std::exception &error) {
        return localizedDescription(error);
    }
}

class KivoloApiTest : public testing::Test
{
protected:
    void SetUp() override
    {
        server.serveThisProcess();
        QCoreApplication::setApplicationVersion(u"1.2.3"_s);
    }
    void TearDown() override { KivoloAPI::onForceUpdate = nullptr; }

    template<typename Reply>
    ScriptedServer::Request requestOf(const QFuture<Reply> &future)
    {
        failureOf(future);
        return server.requests().last();
    }

    ScriptedServer server;
};

} // namespace

TEST_F(KivoloApiTest, RequestsAreExact)
{
    constexpr qint64 large = 9007199254740993; // more than a double holds
    const std::pair<ScriptedServer::Request, QByteArray> cases[] = {
        {requestOf(KivoloAPI::me(u"a b%c\"#<é"_s)), "/me?device_id=a%20b%25c%22%23%3C%C3%A9"},
        {requestOf(KivoloAPI::me(u"!$&'()*+,-./0:;=?@A_z~"_s)),
         "/me?device_id=!$&'()*+,-./0:;=?@A_z~"},
        // An identifier that happens to be percent-encoded is not encoded again.
        {requestOf(KivoloAPI::beams(u"c%2F+"_s, u"m"_s, large)),
         "/beams?circle_id=c%2F+&member_id=m&since=9007199254740993"},
        {requestOf(KivoloAPI::createCircle(u"a@b"_s, u"d"_s)),
         R"(/circle/create {"device_id":"d","owner_email":"a@b"})"},
        {requestOf(KivoloAPI::send(u"c"_s, u"m"_s, u"t"_s, u""_s, u"shake"_s, large)),
         R"(/beam {"body":"","circle_id":"c","effect":"shake","from_member":"m",)"
         R"("open_at":9007199254740993,"type":"t"})"},
    };
    for (const auto &[request, expected] : cases) {
        const bool posts = expected.contains(' ');
        EXPECT_EQ(request.target + (posts ? " " : "") + request.body, expected);
        EXPECT_EQ(request.method, posts ? "POST" : "GET");
        EXPECT_EQ(request.headers.value("x-kivolo-version"), "1.2.3");
        EXPECT_EQ(request.headers.value("content-type"), posts ? "application/json" : "");
    }
    const auto version = requestOf(KivoloAPI::latestVersion());
    EXPECT_EQ(version.target, "/version.json");
    EXPECT_FALSE(version.headers.contains("x-kivolo-version"));
}

TEST_F(KivoloApiTest, WhatFailsAndHowItReads)
{
    const QString generic = u"Something went wrong. Please try again."_s;
    const QString unreadable = u"The server's reply could not be read."_s;
    const struct
    {
        int status;
        QByteArray body;
        QString failure;
    } cases[] = {
        {200, R"({"joined":false})", {}},
        {204, "", unreadable},
        {200, "<html>busy</html>", unreadable},
        {500, R"({"error":"The kettle is on."})", u"The kettle is on."_s},
        {500, R"({"error":7})", generic},
        {502, "<html>Bad gateway</html>", generic},
        {302, R"({"error":"Moved."})", u"Moved."_s},
        {426, "", generic},
    };
    for (const auto &c : cases) {
        server.answer("/me", c.body, c.status);
        EXPECT_EQ(failureOf(KivoloAPI::me(u"A"_s)), c.failure) << c.status << c.body.constData();
    }
}

TEST_F(KivoloApiTest, AVersionFileIsReadWhateverItsStatusAndHost)
{
    ScriptedServer www;
    www.answer("/version.json", R"({"version":"2","url":"u"})");
    const QByteArray moved = "Location: " + www.origin() + "/version.json\r\n";
    server.answer("/version.json", "", 301, moved);
    server.answer("/version.json", R"({"version":"2","url":"u"})", 404);
    server.answer("/version.json", "<html></html>", 200);
    EXPECT_EQ(failureOf(KivoloAPI::latestVersion()), QString());
    EXPECT_EQ(failureOf(KivoloAPI::latestVersion()), QString());
    EXPECT_NE(failureOf(KivoloAPI::latestVersion()), QString());
}

TEST_F(KivoloApiTest, AnEndOfServiceNamesADownload)
{
    const QString fallback = QString::fromUtf8(server.origin()) + u"/Kivolo.dmg"_s;
    const std::pair<const char *, QString> cases[] = {
        {R"({"url":"https://example.org/new","error":"Too old."})", u"https://example.org/new"_s},
        {"", fallback},
        {"<html>", fallback},
        {R"({"url":7})", fallback},
    };
    QStringList urls;
    KivoloAPI::onForceUpdate = [&](const QString &url) {
        EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
        urls.append(url);
    };
    for (const auto &[body, url] : cases) {
        urls.clear();
        server.answer("/me", body, 426);
        EXPECT_NE(failureOf(KivoloAPI::me(u"A"_s)), QString());
        ASSERT_TRUE(eventually([&] { return !urls.isEmpty(); }));
        EXPECT_EQ(urls, QStringList{url});
    }
}

TEST_F(KivoloApiTest, WhatIsNoAddressAndNoTextIsNotSent)
{
    const QString x = u"x"_s;
    const QString noAddress = u"The server's address "_s;
    for (const char *id : {"a b", "a\nb", "é", "a#b", "a%zz", "a%2", "a\"b", "<>", "a\\b", "{}"}) {
        const auto answer = KivoloAPI::capsule(QString::fromUtf8(id), x);
        EXPECT_TRUE(failureOf(answer).startsWith(noAddress)) << id;
    }
    EXPECT_TRUE(failureOf(KivoloAPI::capsule(QString(QChar(u'\0')), x)).startsWith(noAddress));
    const QString halfAPair(QChar(0xd83d));
    EXPECT_NE(failureOf(KivoloAPI::send(x, x, x, halfAPair, {}, {})), QString());
    for (const char *origin :
         {"http://example.org", "ftp://127.0.0.1", "nonsense", "https://", "file:///etc"}) {
        qputenv("KIVOLO_API_URL", origin);
        EXPECT_TRUE(failureOf(KivoloAPI::me(x)).startsWith(noAddress)) << origin;
    }
    EXPECT_TRUE(server.requests().isEmpty());
}
