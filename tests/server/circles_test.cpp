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

// Who gets a seat and loses it is tried against a model of it, in Seats.
TEST(Membership, IsTakenUnderAnyNameByACodeThatIsEasyToRead)
{
    House house;
    const std::string first = house.newCircle().text("code");
    const std::string second = house.newCircle().text("code");
    EXPECT_NE(first, second);
    EXPECT_EQ(first.find_first_not_of("ABCDEFGHJKLMNPQRSTUVWXYZ23456789"), std::string::npos);
    EXPECT_EQ(first.size(), 8u);

    const Told ana = house.join(first, "a", "Ana");
    house.sendText(ana, "before");
    std::string lower = first;
    for (char &c : lower)
        c = static_cast<char>(std::tolower(c));
    const Told renamed = house.join(lower, "a", "Anna");
    EXPECT_EQ(renamed.text("member_id"), ana.text("member_id"));
    EXPECT_EQ(renamed.text("code"), first);

    // Creating moves nobody; joining elsewhere does, and what was sent keeps the name of then.
    house.post("/circle/create", {{"device_id", "a"}});
    EXPECT_EQ(house.call("GET", "/me?device_id=a").text("code"), first);
    const Told ben = house.join(first, "b");
    const Told moved = house.join(second, "a", "Ana2");
    EXPECT_NE(moved.text("member_id"), ana.text("member_id"));
    EXPECT_EQ(house.poll(ben, 0).beams().at(0).at("from_handle").as_string(), "Ana");
    EXPECT_FALSE(house.call("GET", "/me?device_id=nobody").body.at("joined").as_bool());
}

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
        const unsigned statuses[] = {
            house.call("GET", poll + "0").status,
            house.call("GET", poll + "1").status,
            house.post("/beam", beam).status,
            house.call("GET", "/history?limit=1&" + circle).status,
            house.call("GET", "/capsule?id=x&" + circle).status == 404 ? 200u : 403u,
        };
        EXPECT_EQ(std::count(std::begin(statuses), std::end(statuses), statuses[0]), 5);
        return statuses[0] == 200;
    };
    EXPECT_FALSE(opens(promised, "x")) << "nobody has joined yet";
    const Told ben = house.join(code, "b");
    const Told ana = house.join(code, "a");
    EXPECT_EQ(ana.text("circle_id"), promised);
    EXPECT_NE(ben.text("circle_id"), promised);
    for (const Told &told : {ana, ben})
        EXPECT_TRUE(opens(told.text("circle_id"), told.text("member_id")));
    EXPECT_EQ(house.call("GET", "/me?device_id=b").text("circle_id"), ben.text("circle_id"));
    EXPECT_EQ(house.join(code, "b", "Benno").text("circle_id"), ben.text("circle_id"));

    // What everyone in the circle sees opens nothing.
    for (const std::string &seen : {ana.text("member_id"), code, std::string("1")})
        EXPECT_FALSE(opens(seen, ana.text("member_id"))) << seen;
    EXPECT_EQ(house.sendText(ben, "x", {{"from_member", ana.text("member_id")}}).status, 403u);

    // It dies with the seat, and coming back does not wake it, the founder's neither.
    house.join(house.newCircle().text("code"), "a");
    EXPECT_FALSE(opens(promised, ana.text("member_id")));
    const Told back = house.join(code, "a");
    EXPECT_FALSE(opens(promised, ana.text("member_id")));
    EXPECT_FALSE(opens(promised, back.text("member_id")));
    EXPECT_TRUE(opens(back.text("circle_id"), back.text("member_id")));
}

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
        {"no body", {{"body", nullptr}}, 400},
        {"a number as body", {{"body", 7}}, 400},
        {"unknown type", {{"type", "video"}}, 400},
        {"a buzz", {{"effect", "shake"}}, 200},
        {"another effect", {{"effect", "Shake"}}, 400},
        {"a null effect", {{"effect", nullptr}}, 200},
        {"a capsule for now", {{"open_at", now}}, 400},
        {"in one second", {{"open_at", now + 1}}, 200},
        {"in 400 days", {{"open_at", now + 400 * 86'400}}, 200},
        {"one second later", {{"open_at", now + 400 * 86'400 + 1}}, 400},
        {"with a fraction", {{"open_at", 1.8e9 + 0.5}}, 400},
        {"far beyond", {{"open_at", INT64_MAX}}, 400},
        {"long past", {{"open_at", INT64_MIN}}, 400},
        {"beyond 64 bits", {{"open_at", UINT64_MAX}}, 400},
        {"a capsule that shakes", {{"open_at", now + 9}, {"effect", "shake"}}, 200},
        {"a doodle", {{"type", "doodle"}, {"body", pngUrl}}, 200},
        {"the largest", {{"type", "doodle"}, {"body", largePngUrl}}, 200},
        {"larger", {{"type", "doodle"}, {"body", largePngUrl + "AAAA"}}, 413},
        {"a sealed doodle", {{"type", "doodle"}, {"body", pngUrl}, {"open_at", now + 9}}, 400},
        {"no padding", {{"type", "doodle"}, {"body", pngUrl.substr(0, pngUrl.size() - 1)}}, 400},
        {"a line break", {{"type", "doodle"}, {"body", pngUrl + "\nAAA"}}, 400},
        {"left-over bits", {{"type", "doodle"}, {"body", pngUrl.substr(0, 37) + "B="}}, 400},
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
    House house(Circles::Settings{.pollBytes = 4'000, .pollRows = 7});
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a", "Ana");
    const Told ben = house.join(code, "b", "Ben");
    const Told start = house.poll(ben, 0);
    EXPECT_TRUE(start.beams().empty());
    Tick since = nextSince(start);
    EXPECT_GT(since, 0) << "a circle without beams has a cursor too";
    std::vector<std::string> sent;
    // Nine beams of half a kilobyte are more than a reply holds, and all in one second.
    for (int i = 0; i < 30; ++i) {
        sent.push_back(
            house.sendText(ana, "\"" + repeated("\n", 40) + std::to_string(i)).text("id"));
        for (int own = 0; own < i % 10; ++own)
            house.sendText(ben, "mine");
    }
    std::vector<std::string> got;
    for (int polls = 0; got.size() < sent.size() && polls < 60; ++polls) {
        const Told reply = house.poll(ben, since);
        EXPECT_LE(json::serialize(reply.body).size(), 4'100u);
        for (const json::value &beam : reply.beams())
            got.emplace_back(beam.at("id").as_string());
        EXPECT_GT(nextSince(reply), since) << "polls stand still";
        since = nextSince(reply);
    }
    EXPECT_EQ(got, sent);
    while (nextSince(house.poll(ben, since)) > since)
        since = nextSince(house.poll(ben, since));
    EXPECT_TRUE(house.poll(ben, since).beams().empty());

    const Told first = house.poll(ben, 0);
    EXPECT_GT(first.beams().size(), 0u);
    EXPECT_LT(first.beams().size(), sent.size());
    EXPECT_EQ(first.beams().back().at("id").as_string(), sent.back());
    EXPECT_EQ(nextSince(first), since);
}

// What can be told without reading a beam, and so be held: one's own beams are nothing new, even
// where the cursor lags behind them.
TEST(Polls, KnowWithoutReadingWhetherOthersHaveSentAnything)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    std::vector<Tick> cursors{nextSince(house.poll(ana, 0))};
    for (const Told &sender : {ana, ben, ben}) {
        house.sendText(sender, "x");
        cursors.push_back(nextSince(house.poll(ana, cursors.back())));
    }
    for (const auto &[asker, expected] : {std::pair(ana, "0001"), {ben, "0111"}}) {
        std::string nothing;
        for (const Tick since : cursors) {
            const auto empty =
                house.circles.nothingNew(asker.text("circle_id"), asker.text("member_id"), since);
            nothing += empty ? '1' : '0';
            EXPECT_EQ(empty ? empty->poll.serverTime : cursors.back() + 1, cursors.back() + 1);
        }
        EXPECT_EQ(nothing, expected);
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

TEST(History, GivesTheLatestOldestFirst)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    for (int i = 0; i < 230; ++i)
        house.sendText(i % 2 ? ana : ben, std::to_string(i));
    const std::string history = "/history?circle_id=" + ana.text("circle_id") + "&limit=";
    EXPECT_EQ(house.call("GET", history + "200").beams().size(), 200u);
    const Told three = house.call("GET", history + "3");
    ASSERT_EQ(three.beams().size(), 3u);
    EXPECT_EQ(three.beams()[0].at("body").as_string(), "227");
    EXPECT_EQ(three.beams()[2].at("body").as_string(), "229");
    EXPECT_EQ(house.call("GET", history + "0").status, 400u);
    EXPECT_EQ(house.call("GET", history + "201").status, 400u);
    const Told first = house.poll(ana, 0);
    ASSERT_EQ(first.beams().size(), 100u) << "Ben's of the latest 200";
    EXPECT_EQ(first.beams().front().at("body").as_string(), "30");
    EXPECT_EQ(first.beams().back().at("body").as_string(), "228");
}

TEST(Capsules, AreSealedForEveryoneUntilTheirTime)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    const Told note = house.sendText(ana, "no capsule");
    const Tick beforeCapsule = nextSince(house.poll(ben, 0));
    const Seconds open = house.time.now() + 100;
    const std::string id = house.sendText(ana, "secret", {{"open_at", open}}).text("id");
    const std::string circle = ana.text("circle_id");
    const auto capsule = [&] {
        return house.call("GET", "/capsule?id=" + id + "&circle_id=" + circle);
    };
    const std::string history = "/history?limit=9&circle_id=" + circle;

    for (const Told &told :
         {house.poll(ben, 0), house.poll(ben, beforeCapsule), house.call("GET", history)}) {
        const json::object &beam = told.beams().back().as_object();
        EXPECT_EQ(beam.at("sealed").as_int64(), 1);
        EXPECT_EQ(beam.at("body").as_string(), "");
        EXPECT_EQ(beam.at("open_at").as_int64(), open);
    }
    EXPECT_EQ(capsule().status, 403u);
    house.time.advance(69); // 31 seconds early
    EXPECT_EQ(capsule().status, 403u);
    house.time.advance(1);
    EXPECT_EQ(capsule().againAt, open);
    house.time.advance(29);
    EXPECT_EQ(capsule().againAt, open);
    house.time.advance(1);
    EXPECT_EQ(capsule().text("body"), "secret");
    EXPECT_FALSE(capsule().body.as_object().contains("sealed"));
    EXPECT_EQ(house.call("GET", history).beams().back().at("body").as_string(), "secret");

    const std::string noteId = note.text("id");
    EXPECT_EQ(house.call("GET", "/capsule?id=" + noteId + "&circle_id=" + circle).status, 404u);
    EXPECT_EQ(house.call("GET", "/capsule?id=" + id + "&circle_id=x").status, 403u);
}

TEST(Circles, AskForTheMemoryOfWhatTheyReadBeforehand)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    const Told ben = house.join(code, "b");
    for (const std::string &text : {std::string("short"), std::string(9'000, '\x01')})
        house.sendText(ana, text);
    std::size_t taken = 0;
    const Circles::Room room = [&](std::size_t bytes) {
        taken = bytes;
        return true;
    };
    const Circles::Room none = [](std::size_t) { return false; };
    const auto poll = [&](const Circles::Room &from, Tick since) {
        return wire::poll(outcomeOf<Poll>([&](Done<Poll> done) {
            house.circles.poll(ben.text("circle_id"), ben.text("member_id"), since, from,
                               std::move(done));
        }));
    };
    const auto history = [&](const Circles::Room &from) {
        return wire::history(outcomeOf<std::vector<Beam>>([&](Done<std::vector<Beam>> done) {
            house.circles.history(ben.text("circle_id"), 9, from, std::move(done));
        }));
    };
    constexpr std::size_t frame = 64;
    for (const Tick since : {Tick(0), Tick(1)}) {
        const std::string told = poll(room, since);
        EXPECT_GT(told.size(), 50'000u) << "every character is escaped";
        EXPECT_LE(told.size(), taken + frame);
        EXPECT_THROW(poll(none, since), Refusal);
    }
    EXPECT_LE(history(room).size(), taken + frame);
    EXPECT_THROW(history(none), Refusal);
    poll(none, nextSince(house.poll(ben, 0))); // takes none
}

} // namespace kivolo::server::test
