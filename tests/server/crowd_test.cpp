// From where there are most.

#include "http/crowd.h"

#include <gtest/gtest.h>

namespace kivolo::server::test {

using http::Address;
using http::Crowd;

TEST(Crowd, KnowsWhereItIsFullest)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"192.0.2.1"}, "192.0.2.1"},
        {{"192.0.2.1", "198.51.100.1", "198.51.100.1"}, "198.51.100.1"},
        // A net of many addresses comes before one address with fewer.
        {{"198.51.100.1", "198.51.100.1", "192.0.2.1", "192.0.2.2", "192.0.2.2"}, "192.0.2.2"},
        {{"198.51.100.1", "198.51.100.1", "2001:db8::1", "2001:db8::2", "2001:db8:0:1::1"},
         "2001:db8::"},
    };
    for (const auto &[addresses, fullest] : cases) {
        Crowd crowd;
        int sessions[5] = {};
        const auto session = [&](std::size_t i) {
            return reinterpret_cast<http::Session *>(&sessions[i]); // is never looked into
        };
        for (std::size_t i = 0; i < addresses.size(); ++i)
            crowd.add(Address::parse(addresses[i]).value(), session(i));
        EXPECT_EQ(crowd.fullest().toString(), fullest);
        for (std::size_t i = 0; i < addresses.size(); ++i) {
            for (int twice = 0; twice < 2; ++twice)
                crowd.remove(Address::parse(addresses[i]).value(), session(i));
        }
        EXPECT_TRUE(crowd.empty());
    }
}

} // namespace kivolo::server::test
