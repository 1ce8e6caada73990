// Who a request is said to come from.

#include "http/proxies.h"

#include <gtest/gtest.h>

namespace kivolo::server::test {

using http::Address;
using http::Proxies;

namespace {

std::string written(const std::optional<Address> &address)
{
    return address ? address->toString() : "none";
}

} // namespace

TEST(Address, IsTheSameHoweverItIsWritten)
{
    const std::string v6 = "2001:db8:1:2:3:4:5:6";
    const struct
    {
        std::string text, address, network, wide;
    } cases[] = {
        {"192.0.2.77", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"192.0.2.77:443", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"::ffff:192.0.2.77", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"::ffff:c000:24d", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {"[::ffff:192.0.2.77]:443", "192.0.2.77", "192.0.2.77", "192.0.2.0"},
        {v6, v6, "2001:db8:1:2::", "2001:db8:1::"},
        {"[" + v6 + "]:443", v6, "2001:db8:1:2::", "2001:db8:1::"},
        {"2001:DB8:1:2:0003:4:5:6", v6, "2001:db8:1:2::", "2001:db8:1::"},
    };
    for (const auto &[text, address, network, wide] : cases) {
        const std::optional<Address> parsed = Address::parse(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(parsed->toString(), address) << text;
        EXPECT_EQ(parsed->network().toString(), network) << text;
        EXPECT_EQ(parsed->wide().toString(), wide) << text;
        EXPECT_EQ(parsed, Address::parse(address)) << text;
    }
    for (const char *text : {"", "unknown", "192.0.2", "192.0.2.256", "::", "0.0.0.0", "[::1",
                             "[::1]x", "192.0.2.1/32", "2001:db8::1::2", " 192.0.2.1"})
        EXPECT_EQ(written(Address::parse(text)), "none") << text;
}

TEST(Proxies, AreBelievedAsFarAsTheyAreTrusted)
{
    Proxies proxies;
    for (const char *net : {"10.0.0.0/8", "172.16.0.1", "2001:db8::/47", "unix"})
        proxies.trust(net);
    const Address local;
    const std::string unix = local.toString();
    const struct
    {
        std::string peer, forwardedFor, client;
    } cases[] = {
        {"198.51.100.1", "192.0.2.1", "198.51.100.1"}, // anybody can say that
        {"10.9.9.9", "", "10.9.9.9"},
        {"10.9.9.9", "192.0.2.1", "192.0.2.1"},
        {"::ffff:10.9.9.9", "::ffff:192.0.2.1", "192.0.2.1"},
        {"11.0.0.1", "192.0.2.1", "11.0.0.1"},
        {"172.16.0.2", "192.0.2.1", "172.16.0.2"},
        {"2001:db8:1::5", "192.0.2.1", "192.0.2.1"},
        {"2001:db8:2::5", "192.0.2.1", "2001:db8:2::5"},
        {unix, "192.0.2.1", "192.0.2.1"},
        {"10.9.9.9", "192.0.2.1, 192.0.2.2", "192.0.2.2"}, // the left one is only claimed
        {"10.9.9.9", "192.0.2.1,\t192.0.2.2 , 10.1.1.1,172.16.0.1", "192.0.2.2"},
        {"10.9.9.9", "10.1.1.1", "10.1.1.1"},
        {"10.9.9.9", "192.0.2.1, nonsense", "10.9.9.9"},
        {"10.9.9.9", "nonsense, 192.0.2.1", "192.0.2.1"},
        {"10.9.9.9", "192.0.2.1, nonsense, 10.1.1.1", "10.1.1.1"},
        {"10.9.9.9", "192.0.2.1,", "10.9.9.9"},
        {"10.9.9.9", ",192.0.2.1", "192.0.2.1"},
        {"10.9.9.9", "192.0.2.1, ::", "10.9.9.9"},
        {unix, "::", unix},
    };
    for (const auto &[peer, forwardedFor, client] : cases) {
        const Address from = peer == unix ? local : Address::parse(peer).value();
        EXPECT_EQ(proxies.client(from, forwardedFor).toString(), client)
            << peer << " says " << forwardedFor;
    }
    for (const char *net : {"", "10.0.0.0/33", "10.0.0.0/", "10.0.0.0/8x", "10.0.0.0/-1", "host",
                            "2001:db8::/129", "0.0.0.0/0", "::/0"})
        EXPECT_THROW(Proxies().trust(net), std::runtime_error) << net;
}

} // namespace kivolo::server::test
