#include "support.h"

#include <gtest/gtest.h>
#include <thread>

namespace kivolo::server::test {

TEST(Routes, TellEveryMistakeInASentenceAndChangeNothing)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a b&c=+", "Ana");
    EXPECT_TRUE(house.call("GET", "/me?device_id=a%20b&c=+").body.at("joined").as_bool());
    const std::string deep(100'000, '[');
    const std::string ids =
        "circle_id=" + ana.text("circle_id") + "&member_id=" + ana.text("member_id");
    std::string manyKeys = R"({"code":"x","handle":"H","device_id":"z")";
    for (int i = 0; i < 100; ++i)
        manyKeys += R"(,"k":0)";
    manyKeys += '}';
    const auto name = [](const std::string &handle) {
        return R"({"code":"x","device_id":"z","handle":")" + handle + R"("})";
    };
    struct Case
    {
        std::string method, target, body;
        unsigned status;
        std::string allow = {};
        std::string contentType = "application/json";
    };
    const Case cases[] = {
        {"GET", "/nowhere", "", 404},
        {"GET", "/join", "", 405, "POST"},
        {"POST", "/beams", "{}", 405, "GET, HEAD"},
        {"BREW", "/me", "", 405, "GET, HEAD"},
        {"POST", "/join", "{}", 415, "", "text/plain"},
        {"POST", "/join", "{}", 415, "", ""},
        {"POST", "/join", "{}", 400, "", "Application/JSON ; charset=utf-8"},
        {"POST", "/join", "", 400},
        {"POST", "/join", "{} {}", 400},
        {"POST", "/join", R"({"code":"x","handle":"H","device_id":"z","more":[{"code":7}]})", 404},
        {"POST", "/join", R"({"code":7,"handle":"H","device_id":"z","code":"x"})", 404},
        {"POST", "/join", manyKeys, 400},
        {"POST", "/join", deep, 400},
        {"POST", "/join", R"({"code":"x","handle":"H","device_id":"z"})", 404},
        {"POST", "/join", R"({"code":"x","handle":" ","device_id":"z"})", 400},
        {"POST", "/join", R"({"code":"x","handle":"a\nb","device_id":"z"})", 400},
        {"POST", "/join", R"({"code":"x","handle":"H","device_id":""})", 400},
        {"POST", "/join", name("\u00a0\u3000"), 400}, // nothing but spaces
        {"POST", "/join", name("\u202eanA"), 400},    // turned around
        {"POST", "/join", name("A\u200dna"), 400},    // joins nothing
        {"POST", "/join", name("\ufe0f"), 400},       // chooses a variant of nothing
        {"POST", "/join", name("\u0639\u0644\u06cc\u200c\u0631\u0636\u0627"), 404}, // Persian
        {"POST", "/join", name("\U0001f469\u200d\U0001f52c \u2764\ufe0f\u200d\U0001f525"), 404},
        {"POST", "/join", name("\U0001f3f4\U000e0067\U000e0062\U000e007f"), 404},
        {"POST", "/join", name("\u00c5sa \u845b\U000e0100 \U0001fa77"),
         404}, // newer than the tables
        {"POST", "/circle/create", R"({"owner_email":""})", 400},
        {"GET", "/me", "", 400},
        {"GET", "/me?device_id=", "", 400},
        {"GET", "/me?device_id=%zz", "", 400},
        {"GET", "/beams?" + ids, "", 400},
        {"GET", "/beams?" + ids + "&since=-1", "", 400},
        {"GET", "/beams?" + ids + "&since=1&since=1", "", 400},
        {"GET", "/beams?" + ids + "&since=9223372036854775807", "", 200},
        {"GET", "/beams?circle_id=x&member_id=y&since=1", "", 403},
        {"GET", "/beams?circle_id=x&member_id=y&since=0", "", 403},
        {"GET", "/history?limit=1&circle_id=' OR 1=1 --", "", 403},
        {"GET", "/history?limit=0&" + ids, "", 400},
        {"GET", "/history?limit=201&" + ids, "", 400},
        {"GET", "/capsule?id=x&circle_id=" + ana.text("circle_id"), "", 404},
    };
    for (const Case &c : cases) {
        const Told told = house.call(c.method, c.target, c.body, c.contentType);
        EXPECT_EQ(told.status, c.status)
            << c.method << ' ' << c.target << ' ' << c.body.substr(0, 60);
        EXPECT_EQ(told.allow, c.allow);
        if (c.status != 200) {
            EXPECT_GT(told.text("error").size(), 10u);
        }
    }
    const Told me = house.call("GET", "/me?device_id=a%20b&c=+");
    EXPECT_EQ(me.body.at("members").as_array().size(), 1u);
}

// The thread of the connections waits for no disk and takes nothing large apart.
TEST(Routes, LeaveWhatCanTakeLongToOtherThreads)
{
    House house;
    const std::string code = house.newCircle().text("code");
    const Told ana = house.join(code, "a");
    house.sendText(house.join(code, "b"), "new");
    const std::string circle = "circle_id=" + ana.text("circle_id");
    const std::string large = "{\"body\":[" + std::string(200'000, '0') + "]}";
    struct Case
    {
        std::string method, target, body;
        unsigned status;
    };
    const Case cases[] = {
        {"GET", "/history?limit=9&" + circle, "", 200},
        {"HEAD", "/history?limit=9&" + circle, "", 200},
        {"GET", "/beams?since=1&member_id=" + ana.text("member_id") + "&" + circle, "", 200},
        {"GET", "/capsule?id=x&" + circle, "", 404},
        {"POST", "/beam", large, 400},
    };
    for (const Case &c : cases) {
        std::promise<unsigned> status;
        http::Request request{c.method, c.target, "application/json", c.body};
        const auto thread = std::this_thread::get_id();
        const std::optional<http::Answer> atOnce =
            house.routes.handle(request, [&](const http::Answer &answer) {
                EXPECT_NE(std::this_thread::get_id(), thread) << c.target;
                status.set_value(std::get<http::Response>(answer).status);
            });
        ASSERT_FALSE(atOnce) << c.target;
        EXPECT_EQ(status.get_future().get(), c.status) << c.target;
    }
}

} // namespace kivolo::server::test
