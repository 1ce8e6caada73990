// The program itself: how it starts and how it ends.

#include "memory.h"
#include "servers/server_process.h"
#include "support.h"

#include <chrono>
#include <deque>
#include <gtest/gtest.h>

namespace kivolo::server::test {

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
