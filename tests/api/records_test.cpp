#include "api/records.h"

#include <QSet>
#include <gtest/gtest.h>

using namespace kivolo;

namespace {

QByteArray beamWith(const QByteArray &change)
{
    // A later key of the same name wins.
    return R"({"id":"b1","from_member":"m1","type":"text","body":"hi","created_at":1700000000,)"
           R"("from_handle":"Mia","from_emoji":"💜")" +
           change + "}";
}

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

TEST(Records, BeamFields)
{
    const struct
    {
        const char *change;
        bool decodes;
    } cases[] = {
        {"", true},
        {R"(,"effect":null,"open_at":null,"sealed":null)", true},
        {R"(,"unknown":{"deep":[1,2,{}]})", true},
        {R"(,"effect":"shake","open_at":1700000100,"sealed":1)", true},
        {R"(,"created_at":"1700000000")", false},
        {R"(,"created_at":1700000000.5)", false},
        {R"(,"created_at":9223372036854775807)", true},
        {R"(,"created_at":9223372036854775808)", false},
        {R"(,"created_at":18446744073709551616)", false},
        {R"(,"created_at":-9223372036854775809)", false},
        {R"(,"created_at":0.99999999999999999999)", false},
        {R"(,"created_at":9007199254740993.0)", false},
        {R"(,"created_at":1e3)", false},
        {R"(,"created_at":1e400)", false},
        {R"(,"created_at":01)", false},
        {R"(,"created_at":-0)", true},
        {R"(,"created_at":true)", false},
        {R"(,"created_at":null)", false},
        {R"(,"id":7)", false},
        {R"(,"id":"\ud83d")", false},
        {R"(,"id":"\udc9c\ud83d")", false},
        {R"(,"id":"\ud83d\u0041")", false},
        {R"(,"unknown":"\udc9c")", false},
        {R"(,"unknown":1e400)", false},
        {R"(,"body":null)", false},
        {R"(,"from_emoji":["💜"])", false},
        {R"(,"effect":1)", false},
        {R"(,"sealed":true)", false},
        {R"(,"open_at":"soon")", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(decodes<Beam>(beamWith(c.change)), c.decodes) << c.change;
}

TEST(Records, TextsAndIntegersKeepAllOfTheirs)
{
    EXPECT_EQ(Beam::decode(beamWith(R"(,"body":"\ud83d\udc9c\u0000\/é\n")")).body,
              QStringLiteral("💜") + QChar(u'\0') + QStringLiteral("/é\n"));
    EXPECT_EQ(Beam::decode("\xef\xbb\xbf" + beamWith("")).body, QStringLiteral("hi"));
    EXPECT_EQ(Beam::decode(beamWith(R"(,"open_at":9007199254740993)")).open_at, 9007199254740993);
    EXPECT_EQ(Beam::decode(beamWith(R"(,"open_at":-9223372036854775808)")).open_at,
              std::numeric_limits<qint64>::min());
}

TEST(Records, OneBadElementFailsTheWholeReply)
{
    const QByteArray good = beamWith("");
    const QByteArray bad = beamWith(R"(,"created_at":"now")");
    EXPECT_EQ(BeamsResponse::decode(R"({"server_time":5,"beams":[)" + good + "]}").beams.size(), 1);
    EXPECT_FALSE(decodes<BeamsResponse>(R"({"server_time":5,"beams":[)" + good + "," + bad + "]}"));
    EXPECT_FALSE(decodes<BeamsResponse>(R"({"beams":[]})"));
    EXPECT_FALSE(decodes<HistoryResponse>(R"({"beams":{}})"));
}

TEST(Records, RepliesWithAndWithoutTheirFields)
{
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
        "[]",
        "\"text\"",
        "<!DOCTYPE html><html></html>",
        R"({"ok":true)",
        R"({"ok":true} trailing)",
        "\xff\xfe{}",
        R"({"ok":)" + QByteArray(100'000, '[') + QByteArray(100'000, ']') + "}",
        QByteArray(1'000'000, '{'),
        "{\"ok\":true,\"id\":\"\xc3\x28\"}",
        "{\"ok\":true,\"unknown\":\"\xed\xa0\xbd\"}",
        "{\"ok\":true,}",
    };
    for (const QByteArray &bytes : cases)
        EXPECT_FALSE(decodes<OkResponse>(bytes)) << bytes.left(40).constData();
}

TEST(Records, MembersAreEqualInAllFourFields)
{
    const Member member{QStringLiteral("m"), QStringLiteral("Mia"), QStringLiteral("x"), 5};
    QSet<Member> distinct{member, member};
    for (auto change :
         {+[](Member &m) { m.id += u'!'; }, +[](Member &m) { m.handle += u'!'; },
          +[](Member &m) { m.emoji += u'!'; }, +[](Member &m) { m.last_seen = {}; }}) {
        Member other = member;
        change(other);
        EXPECT_FALSE(other == member);
        distinct.insert(other);
    }
    EXPECT_EQ(distinct.size(), 5);
}
