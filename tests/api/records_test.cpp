#include "api/records.h"

#include "support/make.h"

#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

template<typename Record>
bool decodes(const QByteArray &json)
{
    try {
        Record::decode(json);
        return true;
    } catch (const DecodingError &error) {
        EXPECT_FALSE(error.localizedDescription().isEmpty());
        return false;
    }
}

} // namespace

TEST(Records, ABeamIsReadToTheLetter)
{
    const std::pair<const char *, bool> cases[] = {
        {"", true},
        {R"(,"effect":null,"open_at":null,"sealed":null)", true},
        {R"(,"unknown":{"deep":[1,2,{}]})", true},
        {R"(,"created_at":"1700000000")", false},
        {R"(,"created_at":9223372036854775807)", true},
        {R"(,"created_at":9223372036854775808)", false},
        {R"(,"created_at":-9223372036854775809)", false},
        {R"(,"created_at":9007199254740993.0)", false},
        {R"(,"created_at":1e3)", false},
        {R"(,"created_at":-0)", true},
        {R"(,"created_at":null)", false},
        {R"(,"id":"\ud83d\u0041")", false},
        {R"(,"unknown":"\udc9c")", false},
        {R"(,"unknown":1e400)", false},
        {R"(,"from_emoji":["💜"])", false},
        {R"(,"effect":1)", false},
        {R"(,"sealed":true)", false},
        {R"(,"open_at":"soon")", false},
    };
    for (const auto &[change, expected] : cases)
        EXPECT_EQ(decodes<Beam>(beamJson("b1", change)), expected) << change;
}

TEST(Records, TextsAndIntegersKeepAllOfTheirs)
{
    const Beam beam =
        Beam::decode("\xef\xbb\xbf" + beamJson("b1", R"(,"body":"\ufeff\ud83d\udc9c\u0000\/é\n",)"
                                                     R"("created_at":9007199254740993,)"
                                                     R"("open_at":-9223372036854775808)"));
    EXPECT_EQ(beam.body, u"\ufeff💜\0/é\n"_s);
    EXPECT_EQ(beam.created_at, 9007199254740993);
    EXPECT_EQ(beam.open_at, std::numeric_limits<qint64>::min());
}

TEST(Records, WhatARecordNeeds)
{
    const QByteArray good = beamJson("b1");
    const QByteArray bad = beamJson("b2", R"(,"created_at":"now")");
    EXPECT_EQ(BeamsResponse::decode(pollReply({good}, 5)).beams.size(), 1);
    EXPECT_FALSE(decodes<BeamsResponse>(pollReply({good, bad}, 5))) << "one fails the whole reply";
    EXPECT_FALSE(decodes<BeamsResponse>(R"({"beams":[]})"));
    EXPECT_FALSE(decodes<HistoryResponse>(R"({"beams":{}})"));
    EXPECT_FALSE(OkResponse::decode(R"({"ok":false})").ok);
    EXPECT_FALSE(decodes<OkResponse>("{}"));
    EXPECT_FALSE(decodes<OkResponse>(R"({"ok":1})"));
    EXPECT_FALSE(MeResponse::decode(R"({"joined":false})").members.has_value());
    EXPECT_FALSE(decodes<MeResponse>(R"({"joined":true,"members":[{"id":"m","handle":"A"}]})"));
    EXPECT_TRUE(decodes<MeResponse>(
        R"({"joined":true,"members":[{"id":"m","handle":"A","emoji":"x","last_seen":null}]})"));
    EXPECT_TRUE(decodes<VersionInfo>(R"({"version":"1","url":"u"})"));
    EXPECT_FALSE(decodes<VersionInfo>(R"({"version":"1"})"));
    EXPECT_FALSE(decodes<CreateResponse>(R"({"circle_id":"c","code":"A"})"));
    EXPECT_FALSE(
        decodes<JoinResponse>(R"({"circle_id":"c","member_id":"m","code":"A","max_seats":5})"));
}

TEST(Records, BytesThatAreNoRecord)
{
    const QByteArray cases[] = {
        "",
        "null",
        R"({"ok":true)",
        "\xff\xfe{}",
        R"({"ok":)" + QByteArray(100'000, '[') + QByteArray(100'000, ']') + "}",
        QByteArray(1'000'000, '{'),
        "{\"ok\":true,\"id\":\"\xc3\x28\"}",
        "{\"ok\":true,\"unknown\":\"\xed\xa0\xbd\"}",
    };
    for (const QByteArray &bytes : cases)
        EXPECT_FALSE(decodes<OkResponse>(bytes)) << bytes.left(40).constData();
}
