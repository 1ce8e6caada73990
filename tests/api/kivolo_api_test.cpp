#include "api/kivolo_api.h"

#include "staging/scripted_server.h"
#include "support/eventually.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace kivolo;

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
        QCoreApplication::setApplicationVersion(QStringLiteral("1.2.3"));
        KivoloAPI::onForceUpdate = nullptr;
    }

    ScriptedServer server;
};

} // namespace

TEST_F(KivoloApiTest, RequestLinesAreExact)
{
    const auto spoken = [this](auto future) {
        failureOf(future);
        return server.requests().last().target;
    };
    const auto text = [](const char *s) { return QString::fromUtf8(s); };
    EXPECT_EQ(spoken(KivoloAPI::me(text("A"))), "/me?device_id=A");
    EXPECT_EQ(spoken(KivoloAPI::me(text("a b%c\"#<é"))), "/me?device_id=a%20b%25c%22%23%3C%C3%A9");
    EXPECT_EQ(spoken(KivoloAPI::me(text("!$&'()*+,-./0:;=?@A_z~"))),
              "/me?device_id=!$&'()*+,-./0:;=?@A_z~");
    EXPECT_EQ(spoken(KivoloAPI::beams(text("c1"), text("m1"), 0)),
              "/beams?circle_id=c1&member_id=m1&since=0");
    EXPECT_EQ(spoken(KivoloAPI::beams(text("c%2F+"), text("m"), 9007199254740993)),
              "/beams?circle_id=c%2F+&member_id=m&since=9007199254740993")
        << "an identifier that happens to be percent-encoded is not encoded again";
    EXPECT_EQ(spoken(KivoloAPI::history(text("c1"), 40)), "/history?circle_id=c1&limit=40");
    EXPECT_EQ(spoken(KivoloAPI::capsule(text("b1"), text("c1"))), "/capsule?id=b1&circle_id=c1");
    EXPECT_EQ(spoken(KivoloAPI::latestVersion()), "/version.json");
}

TEST_F(KivoloApiTest, HeadersAndBodies)
{
    server.answer("/me", R"({"joined":false})");
    EXPECT_EQ(failureOf(KivoloAPI::me(QStringLiteral("A"))), QString());
    EXPECT_EQ(server.requests().last().headers.value("x-kivolo-version"), "1.2.3");

    failureOf(KivoloAPI::createCircle(std::nullopt, QStringLiteral("dev ice")));
    const auto create = server.requests().last();
    EXPECT_EQ(create.method, "POST");
    EXPECT_EQ(create.headers.value("content-type"), "application/json");
    EXPECT_EQ(QJsonDocument::fromJson(create.body).object(),
              (QJsonObject{{QStringLiteral("owner_email"), QString()},
                           {QStringLiteral("device_id"), QStringLiteral("dev ice")}}));

    const QString x = QStringLiteral("x");
    failureOf(KivoloAPI::send(x, x, x, x, {}, 9007199254740993));
    EXPECT_TRUE(server.requests().last().body.contains(R"("open_at":9007199254740993)"));

    failureOf(KivoloAPI::latestVersion());
    EXPECT_FALSE(server.requests().last().headers.contains("x-kivolo-version"));

    QCoreApplication::setApplicationVersion(QString());
    failureOf(KivoloAPI::me(QStringLiteral("A")));
    EXPECT_EQ(server.requests().last().headers.value("x-kivolo-version"), "0");
}

TEST_F(KivoloApiTest, WhatFailsAndHowItReads)
{
    const QString generic = QStringLiteral("Something went wrong. Please try again.");
    const QString unreadable = QStringLiteral("The server's reply could not be read.");
    const struct
    {
        int status;
        QByteArray body;
        QString failure;
    } cases[] = {
        {200, R"({"joined":false})", {}},
        {201, R"({"joined":false})", {}},
        {200, "", unreadable},
        {204, "", unreadable},
        {200, "<html>busy</html>", unreadable},
        {500, R"({"error":"The kettle is on."})", QStringLiteral("The kettle is on.")},
        {500, R"({"error":7})", generic},
        {500, R"(["error"])", generic},
        {502, "<html>Bad gateway</html>", generic},
        {404, "", generic},
        {401, R"({"error":"Who?"})", QStringLiteral("Who?")},
        {302, R"({"error":"Moved."})", QStringLiteral("Moved.")},
    };
    for (const auto &c : cases)
        server.answer("/me", c.body, c.status);
    for (const auto &c : cases)
        EXPECT_EQ(failureOf(KivoloAPI::me(QStringLiteral("A"))), c.failure)
            << c.status << c.body.constData();
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

TEST_F(KivoloApiTest, ForcedUpdates)
{
    const QString fallback = QString::fromUtf8(server.origin()) + QStringLiteral("/Kivolo.dmg");
    const struct
    {
        QByteArray body;
        QString url;
    } cases[] = {
        {R"({"url":"https://example.org/new","error":"Too old."})",
         QStringLiteral("https://example.org/new")},
        {"", fallback},
        {"<html>", fallback},
        {R"({"url":7})", fallback},
    };
    QStringList urls;
    KivoloAPI::onForceUpdate = [&](const QString &url) {
        EXPECT_EQ(QThread::currentThread(), QCoreApplication::instance()->thread());
        urls.append(url);
    };
    for (const auto &c : cases)
        server.answer("/me", c.body, 426);
    for (qsizetype i = 0; const auto &c : cases) {
        EXPECT_NE(failureOf(KivoloAPI::me(QStringLiteral("A"))), QString());
        ASSERT_TRUE(eventually([&] { return urls.size() == i + 1; }));
        EXPECT_EQ(urls.at(i++), c.url);
    }
    KivoloAPI::onForceUpdate = nullptr;
    EXPECT_EQ(failureOf(KivoloAPI::me(QStringLiteral("A"))),
              QStringLiteral("Something went wrong. Please try again."));
}

TEST_F(KivoloApiTest, WhatIsNoAddressFailsWithoutARequest)
{
    const QString text = QStringLiteral("x");
    for (const char *id : {"a b", "a\nb", "é", "a#b", "a%zz", "a%2", "a\"b", "<>", "a\\b", "{}"})
        EXPECT_NE(failureOf(KivoloAPI::capsule(QString::fromUtf8(id), text)), QString()) << id;
    EXPECT_NE(failureOf(KivoloAPI::capsule(QString(QChar(u'\0')), text)), QString());
    for (const char *origin :
         {"http://example.org", "ftp://127.0.0.1", "nonsense", "https://", "file:///etc"}) {
        qputenv("KIVOLO_API_URL", origin);
        EXPECT_NE(failureOf(KivoloAPI::me(text)), QString()) << origin;
    }
    EXPECT_TRUE(server.requests().isEmpty());
}

TEST_F(KivoloApiTest, ABodyThatIsNoTextIsNotSent)
{
    const QString x = QStringLiteral("x");
    const QString halfAPair(QChar(0xd83d));
    EXPECT_NE(failureOf(KivoloAPI::send(x, x, x, halfAPair, {}, {})), QString());
    EXPECT_TRUE(server.requests().isEmpty());
}
