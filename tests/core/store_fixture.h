// A store over a scripted server, with time and the desktop in the hands of the test.
#pragma once

#include "core/store.h"
#include "platform/foundation/task.h"
#include "staging/manual_main_queue.h"
#include "staging/scripted_server.h"
#include "support/eventually.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace kivolo {

class StoreFixture : public testing::Test
{
protected:
    struct Shown
    {
        QString id;
        bool shake;
        bool operator==(const Shown &) const = default;
    };

    void SetUp() override
    {
        server.serveThisProcess();
        QCoreApplication::setApplicationVersion(QStringLiteral("1.2.9"));
    }

    void TearDown() override
    {
        // What is still under way holds its store, and must end while the rest of it exists.
        server.releaseAll();
        for (const std::weak_ptr<Store> &made : stores) {
            if (const auto alive = made.lock())
                alive->leave();
        }
        store.reset();
        for (const std::weak_ptr<Store> &made : stores)
            EXPECT_TRUE(eventually([&] { return made.expired(); }));
        queue.advance(std::chrono::milliseconds(0));
    }

    void start()
    {
        store = Store::create(queue, QStringLiteral("device"),
                              {[this](const Beam &beam, bool shake) {
                                   shown.append({beam.id, shake});
                               },
                               [this](const Beam &beam, std::function<void(const Beam &)> onOpen) {
                                   capsules.append({beam, std::move(onOpen)});
                               }});
        stores.append(store);
    }

    /// Starts as a member "me" of the circle "c1"; its polls answer with `firstPoll`.
    void startJoined(const QByteArray &firstPoll = beamsReply({}, 1000))
    {
        server.answer("/me", joinedStatus());
        server.answer("/beams", firstPoll);
        start();
        ASSERT_TRUE(eventually([&] { return server.requestsTo("/me").size() == 2; }));
        ASSERT_TRUE(settled());
    }

    /// Turns the event loop until the polling sleeps, that is, until no cycle is under way.
    bool settled()
    {
        return eventually([&] { return queue.pending() > 0; });
    }

    /// Sleeps through one pause and waits for the cycle after it.
    void nextCycle()
    {
        queue.advance(std::chrono::seconds(2));
        ASSERT_TRUE(settled());
    }

    static QByteArray joinedStatus()
    {
        return R"({"joined":true,"circle_id":"c1","member_id":"me","code":"AB12CD34","handle":"Ana",)"
               R"("max_seats":3,"members":[{"id":"me","handle":"Ana","emoji":"🦊"},)"
               R"({"id":"m2","handle":"Mia","emoji":"💜"}]})";
    }

    static QByteArray beam(const QByteArray &id, const QByteArray &more = {})
    {
        return R"({"id":")" + id +
               R"(","from_member":"m2","type":"text","body":"hi","created_at":1000,)"
               R"("from_handle":"Mia","from_emoji":"💜")" +
               more + "}";
    }

    static QByteArray beamsReply(const QByteArrayList &beams, qint64 serverTime)
    {
        return R"({"beams":[)" + beams.join(',') + R"(],"server_time":)" +
               QByteArray::number(serverTime) + "}";
    }

    QStringList feedIds() const
    {
        QStringList ids;
        for (const Beam &beam : store->feed.get())
            ids.append(beam.id);
        return ids;
    }

    ScriptedServer server;
    ManualMainQueue queue;
    QList<Shown> shown;
    QList<std::pair<Beam, std::function<void(const Beam &)>>> capsules;
    std::shared_ptr<Store> store;
    QList<std::weak_ptr<Store>> stores;
};

} // namespace kivolo
