#include "records/wire.h"
#include "support.h"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace kivolo::server::test {

namespace json = boost::json;

namespace {

std::string repeated(std::string_view text, int times)
{
    std::string out;
    for (int i = 0; i < times; ++i)
        out += text;
    return out;
}

const std::string pngUrl = "data:image/png;base64,iVBORw0KGgoAAAA=";
const std::string largePngUrl =
    "data:image/png;base64,iVBORw0KGgoA" + std::string((2 << 20) - 36, 'A');

} // namespace

// What a member is given as the circle's id is the key of its own seat.
TEST(Membership, ASeatsKeyOpensAsMuchAndAsLongAsTheSeat)
{
    House house;
    const Told founded = house.post("/circle/create", {{"device_id", "a"}});
    const std::string code = founded.text("code");
    const std::string promised = founded.text("circle_id");
    const auto opens = [&](const std::string &key, const std::string &member) {
        const std::string circle = "circle_id=" + key;
        const std::string poll = "/beams?" + circle + "&member_id=" + member + "&since=";
        const json::object beam{
            {"circle_id", key}, {"from_member", member}, {"type", "text"}, {"body", "x"}};
        const bool opened[] = {
            house.call("GET", poll + "0").status == 200,
            house.call("GET", poll + "1").status == 200,
            house.post("/beam", beam).status == 200,
            house.call("GET", "/history?limit=1&" + circle).status == 200,
            house.call("GET", "/capsule?id=x&" + circle).status == 404,
        };
        EXPECT_EQ(std::ranges::count(opened, opened[0]), 5);
        return opened[0];
    };
    EXPECT_FALSE(opens(promised, "x")) << "nobody has joined yet";
    const Told ben = house.join(code, "b");
    const Told ana = house.join(code, "a");
    const std::string anasId = ana.text("member_id");
    EXPECT_EQ(ana.text("circle_id"), promised);
    EXPECT_TRUE(opens(promised, anasId));
    EXPECT_TRUE(opens(ben.text("circle_id"), ben.text("member_id")));
    // What everyone in the circle sees opens nothing.
    for (const std::string &seen : {anasId, code, std::string("1")})
        EXPECT_FALSE(opens(seen, anasId)) << seen;
    // It dies with the seat, and coming back does not wake it, the founder's neither.
    house.join(house.newCircle().text("code"), "a");
    EXPECT_FALSE(opens(promised, anasId));
    const Told back = house.join(code, "a");
    EXPECT_FALSE(opens(promised, back.text("member_id")));
    EXPECT_TRUE(opens(back.text("circle_id"), back.text("member_id")));
}

// What is JSON and what is Base64, the fuzz target "requests" compares with other parsers.
TEST(Beams, AreAcceptedWithinBoundsOnly)
{
    House house;
    const Told ana = house.join(house.newCircle().text("code"), "a");
    const Seconds now = house.time.now();
    struct Case
    {
        const char *name;
        json::object change;
        unsigned status;
    };
    const Case cases[] = {
        {"a note", {}, 200},
        {"10,000 characters of four bytes", {{"body", repeated("\U0001F49C", 10'000)}}, 200},
        {"one more", {{"body", repeated("\U0001F49C", 10'001)}}, 413},
        {"nothing", {{"body", ""}}, 400},
        {"a NUL", {{"body", json::string("a\0b", 3)}}, 400},
        {"unknown type", {{"type", "video"}}, 400},
        {"a buzz", {{"effect", "shake"}}, 200},
        {"another effect", {{"effect", "Shake"}}, 400},
        {"a capsule for now", {{"open_at", now}}, 400},
        {"in one second", {{"open_at", now + 1}}, 200},
        {"in 400 days", {{"open_at", now + 400 * 86'400}}, 200},
        {"one second later", {{"open_at", now + 400 * 86'400 + 1}}, 400},
        {"far beyond", {{"open_at", INT64_MAX}}, 400},
        {"long past", {{"open_at", INT64_MIN}}, 400},
        {"a capsule that shakes", {{"open_at", now + 9}, {"effect", "shake"}}, 200},
        {"a doodle", {{"type", "doodle"}, {"body", pngUrl}}, 200},
        {"the largest", {{"type", "doodle"}, {"body", largePngUrl}}, 200},
        {"larger", {{"type", "doodle"}, {"body", largePngUrl + "AAAA"}}, 413},
        {"a sealed doodle", {{"type", "doodle"}, {"body", pngUrl}, {"open_at", now + 9}}, 400},
        {"a JPEG", {{"type", "doodle"}, {"body", "data:image/png;base64,/9j/4AAQSkZJRgAB"}}, 400},
        {"an SVG", {{"type", "doodle"}, {"body", "data:image/svg+xml;base64,PHN2Zy8+"}}, 400},
        {"a stranger", {{"from_member", "x"}}, 403},
        {"nowhere", {{"circle_id", "x"}}, 403},
    };
    std::size_t accepted = 0;
    for (const Case &c : cases) {
        const Told told = house.sendText(ana, "hello", c.change);
        EXPECT_EQ(told.status, c.status) << c.name;
        accepted += told.status == 200;
        EXPECT_EQ(told.status != 200, told.body.as_object().contains("error")) << c.name;
    }
    const Told history = house.call("GET", "/history?limit=200&circle_id=" + ana.text("circle_id"));
    EXPECT_EQ(history.beams().size(), accepted) << "what was refused has left something behind";
}

TEST(Polls, GiveTheOthersBeamsInOrderEachOnceWithinBounds)
{
    Pair house(Circles::Settings{.pollBytes = 4'000, .pollRows = 7});
    const Told start = house.poll(house.ben, 0);
    EXPECT_TRUE(start.beams().empty());
    Tick since = nextSince(start);
    EXPECT_GT(since, 0) << "a circle without beams has a cursor too";
    std::vector<std::string> sent;
    // Nine beams of half a kilobyte are more than a reply holds, and all in one second.
    for (int i = 0; i < 30; ++i) {
        sent.push_back(
            house.sendText(house.ana, "\"" + repeated("\n", 40) + std::to_string(i)).text("id"));
        for (int own = 0; own < i % 10; ++own)
            house.sendText(house.ben, "mine");
    }
    std::vector<std::string> got;
    for (int polls = 0; got.size() < sent.size() && polls < 60; ++polls) {
        const Told reply = house.poll(house.ben, since);
        EXPECT_LE(json::serialize(reply.body).size(), 4'100u);
        for (const json::value &beam : reply.beams())
            got.emplace_back(beam.at("id").as_string());
        EXPECT_GT(nextSince(reply), since) << "polls stand still";
        since = nextSince(reply);
    }
    EXPECT_EQ(got, sent);
    while (nextSince(house.poll(house.ben, since)) > since)
        since = nextSince(house.poll(house.ben, since));
    EXPECT_TRUE(house.poll(house.ben, since).beams().empty());

    // The second was told of beams that a restored backup has not.
    for (const Tick from : {Tick{0}, since + 500}) {
        const Told first = house.poll(house.ben, from);
        ASSERT_GT(first.beams().size(), 0u);
        EXPECT_LT(first.beams().size(), 8u);
        EXPECT_EQ(first.beams().back().at("id").as_string(), sent.back());
        EXPECT_EQ(nextSince(first), since);
    }
}

TEST(Beams, OfACircleMayComeInABurstButNotForEver)
{
    House house;
    const Told ana = house.join(house.newCircle().text("code"), "a");
    const Told others = house.join(house.newCircle().text("code"), "b");
    const json::object doodle{{"type", "doodle"}, {"body", largePngUrl}};
    const auto sendAll = [&](const json::object &more) {
        int accepted = 0;
        while (house.sendText(ana, "x", more).status == 200)
            ++accepted;
        return accepted;
    };
    EXPECT_EQ(sendAll(doodle), 109) << "33 of the hour's seconds each";
    EXPECT_EQ(sendAll({}), 3);
    EXPECT_EQ(house.sendText(ana, "x").status, 429u);
    EXPECT_EQ(house.sendText(others, "x").status, 200u);
    const std::chrono::seconds wait = house.sendText(ana, "x", doodle).retryAfter;
    EXPECT_EQ(wait, std::chrono::seconds(33));
    house.time.advance(wait.count() - 1);
    EXPECT_EQ(house.sendText(ana, "x", doodle).status, 429u);
    house.time.advance(1);
    EXPECT_EQ(sendAll(doodle), 1);
    house.time.advance(2);
    EXPECT_EQ(sendAll({}), 2);
    house.time.advance(-100'000);
    EXPECT_EQ(house.sendText(ana, "x").status, 200u) << "a clock that was ahead is nobody's fault";
}

TEST(History, AndAFirstPollHaveTheLatestTwoHundred)
{
    Pair house;
    for (int i = 0; i < 230; ++i)
        house.sendText(i % 2 ? house.ana : house.ben, std::to_string(i));
    const std::string history = "/history?limit=200&circle_id=" + house.ana.text("circle_id");
    const Told first = house.poll(house.ana, 0);
    EXPECT_EQ(house.call("GET", history).beams().size(), 200u);
    ASSERT_EQ(first.beams().size(), 100u) << "Ben's of the latest 200";
    EXPECT_EQ(first.beams().front().at("body").as_string(), "30");
}

// When it is sealed and readable, and for whom, the clients' history tells.
TEST(Capsules, AreWorthWaitingForInTheirLastHalfMinute)
{
    House house;
    const Told ana = house.join(house.newCircle().text("code"), "a");
    const Seconds open = house.time.now() + 100;
    const auto ask = [&](const Told &sent) {
        return house.call("GET",
                          "/capsule?id=" + sent.text("id") + "&circle_id=" + ana.text("circle_id"));
    };
    const Told capsule = house.sendText(ana, "secret", {{"open_at", open}});
    EXPECT_EQ(ask(house.sendText(ana, "no capsule")).status, 404u);
    house.time.advance(69);
    EXPECT_EQ(ask(capsule).status, 403u);
    for (const Seconds more : {1, 29}) {
        house.time.advance(more);
        EXPECT_EQ(ask(capsule).againAt, open);
    }
    house.time.advance(1);
    EXPECT_EQ(ask(capsule).text("body"), "secret");
    EXPECT_FALSE(ask(capsule).body.as_object().contains("sealed"));
}

TEST(Circles, AskForTheMemoryOfWhatTheyReadBeforehand)
{
    Pair house;
    for (const std::string &text : {std::string("short"), std::string(9'000, '\x01')})
        house.sendText(house.ana, text);
    std::size_t taken = 0;
    const Circles::Room room = [&](std::size_t bytes) {
        taken = bytes;
        return true;
    };
    const Circles::Room none = [](std::size_t) { return false; };
    const auto poll = [&](const Circles::Room &from, Tick since) {
        return wire::poll(outcomeOf<Circles::Polled>([&](Done<Circles::Polled> done) {
                              house.circles.poll(house.ben.text("circle_id"),
                                                 house.ben.text("member_id"), since, from,
                                                 std::move(done));
                          }).poll);
    };
    const auto history = [&](const Circles::Room &from, Tick) {
        return wire::history(outcomeOf<std::vector<Beam>>([&](Done<std::vector<Beam>> done) {
            house.circles.history(house.ben.text("circle_id"), 9, from, std::move(done));
        }));
    };
    using Look = std::function<std::string(const Circles::Room &, Tick)>;
    for (const auto &[look, since] : {std::pair<Look, Tick>(poll, 0), {poll, 1}, {history, 0}}) {
        const std::string told = look(room, since);
        EXPECT_GT(told.size(), 50'000u) << "every character is escaped";
        EXPECT_LE(told.size(), taken + 64) << "but for what stands around it";
        EXPECT_THROW(look(none, since), Refusal);
    }
    poll(none, nextSince(house.poll(house.ben, 0))); // takes none
}

} // namespace kivolo::server::test
