// The program itself: how it starts and how it ends.

#include "memory.h"
#include "servers/server_process.h"
#include "support.h"

#include <chrono>
#include <deque>
#include <gtest/gtest.h>

namespace kivolo::server::test {

// That it keeps what it has acknowledged when it is killed, the clients' history shows.
TEST(Process, KeepsWhoGuessesWaitingAndNobodyElse)
{
    TemporaryFolder folder;
    ServerProcess server(servingFrom((folder / "a b=c.sqlite").string()));
    const std::uint16_t port = server.port();
    const std::string guess =
        httpPost("/join", {{"code", "AAAAAAAA"}, {"handle", "Z"}, {"device_id", "z"}});
    std::string reply;
    for (int i = 0; i < 1'000 && statusesOf(reply) != "429"; ++i)
        reply = talk(port, guess);
    EXPECT_EQ(statusesOf(reply), "429");
    EXPECT_NE(reply.find("\r\nRetry-After: 1\r\n"), std::string::npos) << reply;
    EXPECT_EQ(statusesOf(talk(port, httpGet("/me?device_id=z"))), "200");
    EXPECT_EQ(server.end(SIGTERM), 0);
}

// The kernel takes connections that the process has no descriptor for; they must not hang there.
TEST(Process, TurnsAwayWhatItHasNoDescriptorFor)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the checks of an object's type need a descriptor themselves";
#endif
    TemporaryFolder folder;
    ServerProcess server(servingFrom((folder / "x.sqlite").string()));
    const std::uint16_t port = server.port();
    constexpr rlim_t descriptors = 60;
    server.limitDescriptors(descriptors);
    std::deque<Connection> idle;
    while (idle.size() < descriptors)
        idle.emplace_back(port, "");
    EXPECT_EQ(statusesOf(talk(port, httpGet("/me?device_id=x"))), "503");
    idle.clear();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (statusesOf(talk(port, httpGet("/me?device_id=x"))) != "200")
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "it does not serve again";
    EXPECT_EQ(server.end(SIGTERM), 0);
}

TEST(Process, SaysNoToWhatItCannotUse)
{
    TemporaryFolder folder;
    const std::string database = "sqlite:" + (folder / "x.sqlite").string();
    ServerProcess first({"--listen", "127.0.0.1:0", "--database", database});
    const std::string taken = "127.0.0.1:" + std::to_string(first.port());
    const std::vector<std::string> cases[] = {
        {"--bogus"},
        {"--max-seats", "0", "--database", database},
        {"--hold", "46", "--database", database},
        {"--idle-seat", "0", "--database", database},
        {"--disk-reserve", "-1", "--database", database},
        {"--circle-quota", "much", "--database", database},
        {"--database-quota", "9EB", "--database", database},
        {"--trusted-proxy", "0.0.0.0/0", "--database", database},
        {"--listen", "nonsense", "--database", database},
        {"--listen", taken, "--database", database},
        {"--database", "mysql:x"},
        {"--database", "sqlite:" + (folder / "no/such/folder").string()},
        {"--database", "sqlite:" KIVOLO_SERVER},
        {"--database", database, "--site", (folder / "nowhere").string()},
    };
    for (const std::vector<std::string> &arguments : cases) {
        ServerProcess refusing(arguments);
        ASSERT_EQ(refusing.port(), 0) << arguments.front() << " was accepted";
        EXPECT_GT(refusing.end(0), 0) << arguments.front();
    }
    EXPECT_EQ(first.end(SIGINT), 0);
}

TEST(Memory, IsPromisedOnce)
{
    for (const std::size_t mib : std::initializer_list<std::size_t>{96, 240, 4096}) {
        for (const bool encrypted : {false, true}) {
            const MemoryPlan plan(mib << 20, encrypted);
            const std::size_t connections = plan.connections * (encrypted ? 40 : 16) << 10;
            const std::size_t received = 2 * plan.received; // as it came and taken apart
            EXPECT_LE(plan.caches + connections + received + plan.replies, (mib - 24) << 20);
            EXPECT_GT(plan.connections, 256u) << mib;
            EXPECT_LE(2 * plan.largestReply, plan.replies) << mib;
            EXPECT_LT(plan.largestReply, std::size_t{96} << 20) << "what a client takes";
        }
    }
}

} // namespace kivolo::server::test
