// Real processes: a server, a member's program on a real display, and a second member who is a
// plain HTTP client.
#include "end_to_end/cards_on_screen.h"
#include "end_to_end/counting_proxy.h"
#include "end_to_end/processes.h"
#include "support/fake_portal.h"

#include <QBuffer>
#include <QDateTime>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <QUrl>
#include <gtest/gtest.h>
#include <memory>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

class DeliveryTest : public testing::Test
{
protected:
    void SetUp() override
    {
        origin = server.start(folder.path());
        ASSERT_TRUE(origin.isValid());
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
        EXPECT_TRUE(!client || client->stop());
        EXPECT_TRUE(server.stop());
    }

    void startClient(const QString &bus = {})
    {
        client = std::make_unique<ClientProcess>(u"ana"_s, folder.path(),
                                                 QString::fromLatin1(proxy->origin()));
        if (!bus.isEmpty())
            client->setEnvironment(u"DBUS_SESSION_BUS_ADDRESS"_s, bus);
        client->start({u"--hidden"_s});
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
    ServerProcess server;
    std::unique_ptr<ClientProcess> client;
    QUrl origin;
    std::unique_ptr<CountingProxy> proxy;
    QString circle;
    QString mia;
};

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
    EXPECT_TRUE(client->isRunning());
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
