#include "core/store_fixture.h"

using namespace kivolo;

TEST(StoreVersions, AreComparedNumberByNumber)
{
    const struct
    {
        const char *a;
        const char *b;
        bool newer;
    } cases[] = {
        {"1.2.10", "1.2.9", true},
        {"2", "1.9.9", true},
        {"1.2", "1.2.0", false},
        {"1.2.0", "1.2", false},
        {"1.10", "1.9", true},
        {"1.0.1", "1.0.1", false},
        {"1.0.0-beta", "1.0", false},
        {"1.0.3b", "1.0.2", false},
        {"beta", "0", false},
        {"0.0.1", "0", true},
        {"..1..2..", "1.1", true},
        {"", "0", false},
        {"+2", "1", true},
        {"-1", "0", false},
        {"0", "-1", true},
        {"1. 3", "1.2", false},
        {"99999999999999999999", "1", false},
        {"9223372036854775807", "1", true},
        {"٣", "1", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Store::isNewer(QString::fromUtf8(c.a), QString::fromUtf8(c.b)), c.newer)
            << c.a << " against " << c.b;
}

TEST_F(StoreFixture, ANewerVersionIsOfferedAndNothingElseIs)
{
    const struct
    {
        QByteArray file;
        bool offered;
    } cases[] = {
        {R"({"version":"1.2.10","url":"https://example.org/","notes":"Faster."})", true},
        {R"({"version":"1.2.9","url":"u"})", false},
        {R"({"version":"1.2.10"})", false},
        {"<html>", false},
    };
    for (const auto &c : cases) {
        ScriptedServer site;
        site.serveThisProcess();
        site.answer("/version.json", c.file);
        start();
        bool checked = false;
        store->checkUpdate().then([&] { checked = true; });
        ASSERT_TRUE(eventually([&] { return checked; }));
        const bool offered = store->update->has_value();
        EXPECT_EQ(offered, c.offered) << c.file.constData();
        if (c.offered) {
            EXPECT_EQ((*store->update)->notes, QStringLiteral("Faster."));
        }
    }
}
