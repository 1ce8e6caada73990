#include "app/kivolo_app.h"

#include "staging/scripted_server.h"
#include "style/theme.h"
#include "support/eventually.h"
#include "support/scripted_network.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kivolo;

TEST(KivoloApp, AHiddenStartAsksOnceThereIsANetwork)
{
    QTemporaryDir folder;
    qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
    qputenv("KIVOLO_DEVICE_ID", "device");
    ScriptedServer server;
    server.serveThisProcess();
    auto network = std::make_unique<ScriptedNetwork>();
    ScriptedNetwork &there = *network;
    {
        KivoloApp app(std::move(network));
        ASSERT_EQ(app.start(KivoloApp::Launch::Hidden), SingleInstance::Outcome::First);
        ASSERT_TRUE(eventually([&] { return !there.asked.isEmpty(); }));
        EXPECT_EQ(there.asked.first(), QUrl::fromEncoded(server.origin()));
        QTest::qWait(0);
        EXPECT_TRUE(server.requests().isEmpty());

        there.answer(true);
        ASSERT_TRUE(eventually([&] { return server.requests().size() == 2; }));
        EXPECT_EQ(server.requestsTo("/me").size(), 1);
        EXPECT_EQ(server.requestsTo("/version.json").size(), 1);
        EXPECT_EQ(there.asked.size(), 1);
    }
    qunsetenv("KIVOLO_DEVICE_ID");
    Theme::shared().follow({});
}
