// Real processes: a server, a member's program on a real display, and a second member who is a
// plain HTTP client.
#include "end_to_end/cards_on_screen.h"
#include "end_to_end/counting_proxy.h"
#include "support/fake_portal.h"

#include <QBuffer>
#include <QDateTime>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <gtest/gtest.h>
#include <memory>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 30'000; // milliseconds, only ever used up by a failure

template<typename Condition>
bool eventually(Condition condition)
{
    return QTest::qWaitFor(std::move(condition), patience);
}

class DeliveryTest : public testing::Test
{
protected:
    void SetUp() override
    {
        server.start(QStringLiteral(KIVOLO_SERVER_PROGRAM),
                     {u"--listen"_s, u"127.0.0.1:0"_s, u"--database"_s,
                      u"sqlite:"_s + folder.filePath(u"circle.sqlite"_s)});
        QByteArray line;
        ASSERT_TRUE(eventually([&] {
            line += server.readAllStandardOutput();
            return line.endsWith('\n');
        })) << server.readAllStandardError().constData();
        ASSERT_TRUE(line.startsWith("listening on http://127.0.0.1:"));
        origin = QUrl::fromEncoded(line.mid(sizeof "listening on " - 1).trimmed());
        proxy = std::make_unique<CountingProxy>(quint16(origin.port()));

        const QString code =
            post(u"/circle/create"_s, {{u"owner_email"_s, u""_s}, {u"device_id"_s, u"mia"_s}})
                .value(u"code"_s)
                .toString();
        const QJsonObject seat = join(u"mia"_s, u"Mia"_s, code);
        circle = seat.value(u"circle_id"_s).toString();
        mia = seat.value(u"member_id"_s).toString();
        join(u"ana"_s, u"Ana"_s, code);
    }

    void TearDown() override
    {
        for (QProcess *process : {&client, &server}) {
            process->terminate();
            EXPECT_TRUE(process->waitForFinished(10'000)) << "it ignores its termination";
        }
        EXPECT_EQ(server.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(server.exitCode(), 0);
    }

    void startClient(const QString &bus = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"KIVOLO_API_URL"_s, QString::fromLatin1(proxy->origin()));
        environment.insert(u"KIVOLO_SITE_URL"_s, QString::fromLatin1(proxy->origin()));
        environment.insert(u"KIVOLO_DEVICE_ID"_s, u"ana"_s);
        environment.insert(u"XDG_CONFIG_HOME"_s, folder.path());
        environment.insert(u"XDG_RUNTIME_DIR"_s, folder.path()); // no other Ana is in its way
        if (!bus.isEmpty())
            environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus);
        client.setProcessEnvironment(environment);
        client.setProcessChannelMode(QProcess::ForwardedChannels);
        client.start(QStringLiteral(KIVOLO_PROGRAM), {u"--hidden"_s});
        // The second poll shows that the first has been taken in: from now on beams are news.
        ASSERT_TRUE(eventually([&] { return proxy->requests("GET /beams") >= 2; }));
    }

    QJsonObject post(const QString &path, const QJsonObject &body)
    {
        QNetworkRequest request(origin.resolved(QUrl(path)));
        request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
        const std::unique_ptr<QNetworkReply> reply(
            network.post(request, QJsonDocument(body).toJson()));
        EXPECT_TRUE(eventually([&] { return reply->isFinished(); }));
        EXPECT_EQ(reply->error(), QNetworkReply::NoError) << qPrintable(reply->errorString());
        return QJsonDocument::fromJson(reply->readAll()).object();
    }

    QJsonObject join(const QString &device, const QString &name, const QString &code)
    {
        return post(u"/join"_s, {{u"code"_s, code},
                                 {u"handle"_s, name},
                                 {u"device_id"_s, device},
                                 {u"emoji"_s, u"💜"_s}});
    }

    void send(QJsonObject beam)
    {
        beam.insert(u"circle_id"_s, circle);
        beam.insert(u"from_member"_s, mia);
        EXPECT_TRUE(post(u"/beam"_s, beam).value(u"ok"_s).toBool());
    }

    QTemporaryDir folder;
    QNetworkAccessManager network;
    QProcess server;
    QProcess client;
    QUrl origin;
    std::unique_ptr<CountingProxy> proxy;
    QString circle;
    QString mia;
};

QRect popupSlot(int i)
{
    const QRect area = workArea();
    return {area.x() + area.width() - 316, area.y() + 16 + 162 * i, 300, 150};
}

QRect capsuleSlot(int i)
{
    const QRect area = workArea();
    return {area.x() + area.width() - 306, area.y() + area.height() - 108 - 102 * i, 290, 92};
}

QRect buzzPlace()
{
    const QRect area = workArea();
    return {area.x() + area.width() / 2 - 210, area.y() + area.height() / 2 - 100, 420, 200};
}

QString doodle()
{
    QImage image(60, 40, QImage::Format_RGB32);
    image.fill(Qt::white);
    QBuffer png;
    image.save(&png, "PNG");
    return u"data:image/png;base64,"_s + QString::fromLatin1(png.data().toBase64());
}

} // namespace

TEST_F(DeliveryTest, EachKindOfBeamArrivesStandsInItsPlaceAndGoes)
{
    send({{u"type"_s, u"text"_s}, {u"body"_s, u"from before the start"_s}});
    startClient();
    EXPECT_EQ(cardsOnScreen(), QList<QRect>()) << "what was there before is not shown";

    send({{u"type"_s, u"text"_s}, {u"body"_s, u"a note"_s}});
    send({{u"type"_s, u"doodle"_s}, {u"body"_s, doodle()}});
    send({{u"type"_s, u"text"_s}, {u"body"_s, u"a buzz"_s}, {u"effect"_s, u"shake"_s}});
    send({{u"type"_s, u"text"_s},
          {u"body"_s, u"a capsule"_s},
          {u"open_at"_s, QDateTime::currentSecsSinceEpoch() + 12}});

    EXPECT_TRUE(eventually([] {
        const auto cards = cardsOnScreen();
        return cards.size() == 4 && cards.contains(popupSlot(0)) && cards.contains(popupSlot(1)) &&
               cards.contains(buzzPlace()) && cards.contains(capsuleSlot(0));
    })) << "note, doodle, buzz and capsule stand in their places";
    EXPECT_TRUE(eventually([] {
        const auto cards = cardsOnScreen();
        return cards.contains(capsuleSlot(0)) && !cards.contains(popupSlot(0)) &&
               !cards.contains(popupSlot(1));
    })) << "note and doodle have gone, the capsule is still sealed";
    EXPECT_TRUE(eventually([] {
        const auto cards = cardsOnScreen();
        return !cards.contains(capsuleSlot(0)) && cards.contains(popupSlot(0));
    })) << "the capsule has opened by itself";
    EXPECT_TRUE(eventually([] { return cardsOnScreen().isEmpty(); })) << "all have gone";
    EXPECT_EQ(client.state(), QProcess::Running);
}

TEST_F(DeliveryTest, CardsFollowTheDesktopIntoTheDarkAndBack)
{
    constexpr uint dark = 1;
    constexpr uint light = 2;
    const PrivateBus bus;
    FakePortal portal(bus.connect(), dark);
    startClient(bus.address());
    send({{u"type"_s, u"text"_s},
          {u"body"_s, u"a capsule that stays"_s},
          {u"open_at"_s, QDateTime::currentSecsSinceEpoch() + 3600}});
    // To the right of all words.
    const QPoint onCard = capsuleSlot(0).topRight() + QPoint(-20, 20);
    const auto lightness = [&] { return colorOnScreen(onCard).lightnessF(); };

    ASSERT_TRUE(eventually([] { return cardsOnScreen().contains(capsuleSlot(0)); }));
    EXPECT_TRUE(eventually([&] { return lightness() < 0.25F; })) << "the program has begun dark";
    portal.change(light);
    EXPECT_TRUE(eventually([&] { return lightness() > 0.9F; })) << "a card on screen brightens";
    portal.change(dark);
    EXPECT_TRUE(eventually([&] { return lightness() < 0.25F; })) << "and darkens";
}
