// A store over a scripted server, with time and the desktop in the hands of the test.
#pragma once

#include "core/store.h"
#include "platform/foundation/task.h"
#include "staging/manual_main_queue.h"
#include "staging/scripted_server.h"
#include "support/eventually.h"
#include "support/make.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

namespace kivolo {

class StoreFixture : public testing::Test
{
protected:
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
                                   shown += beam.id + QLatin1String(shake ? "! " : " ");
                               },
                               [this](const Beam &beam, std::function<void(const Beam &)> onOpen) {
                                   capsules.append({beam, std::move(onOpen)});
                               }});
        stores.append(store);
        store->begin();
    }

    /// Starts as a member "me" of the circle "c1"; its polls answer with `firstPoll`.
    void startJoined(const QByteArray &firstPoll = pollReply({}, 1000))
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

    /// Turns the event loop until `operation` has ended.
    static void run(QCoro::Task<> operation)
    {
        bool done = false;
        operation.then([&] { done = true; });
        EXPECT_TRUE(eventually([&] { return done; }));
    }

    /// The ids of the feed, one after the other.
    QString feedIds() const
    {
        QStringList ids;
        for (const Beam &beam : store->feed.get())
            ids.append(beam.id);
        return ids.join(u' ');
    }

    ScriptedServer server;
    ManualMainQueue queue;
    QString shown; // the ids, those that shake with an exclamation mark, each with a space
    QList<std::pair<Beam, std::function<void(const Beam &)>>> capsules;
    std::shared_ptr<Store> store;
    QList<std::weak_ptr<Store>> stores;
};

} // namespace kivolo
