#include "core/store_fixture.h"

using namespace kivolo;
using namespace Qt::StringLiterals;

TEST(StoreVersions, AreComparedNumberByNumber)
{
    const struct
    {
        const char *a;
        const char *b;
        bool newer;
    } cases[] = {
        {"1.2.10", "1.2.9", true}, {"2", "1.9.9", true},
        {"1.2", "1.2.0", false},   {"1.2.0", "1.2", false},
        {"0.0.1", "0", true},      {"1.0.1", "1.0.1", false},
        {"1.0.0-b", "1.0", false}, {"1.0.3b", "1.0.2", false},
        {"..1..2..", "1.1", true}, {"", "0", false},
        {"+2", "1", true},         {"0", "-1", true},
        {"1. 3", "1.2", false},    {"99999999999999999999", "1", false},
        {"٣", "1", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Store::isNewer(QString::fromUtf8(c.a), QString::fromUtf8(c.b)), c.newer)
            << c.a << " against " << c.b;
}

TEST_F(StoreFixture, ANewerVersionIsOfferedAndNothingElseIs)
{
    const std::pair<const char *, bool> files[] = {
        {R"({"version":"1.2.10"})", false},
        {R"({"version":"1.2.9","url":"u"})", false},
        {"<html>", false},
        {R"({"version":"1.2.10","url":"https://example.org/","notes":"Faster."})", true},
    };
    start();
    ASSERT_TRUE(eventually([&] { return !server.requestsTo("/version.json").isEmpty(); }));
    for (const auto &[file, offered] : files) {
        server.answer("/version.json", file);
        run(store->checkUpdate());
        EXPECT_EQ(store->update->has_value(), offered) << file;
    }
    EXPECT_EQ((*store->update)->notes, u"Faster."_s);
}
