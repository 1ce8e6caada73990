// Addresses as proxies and operators write them.

#include "fuzz.h"
#include "http/proxies.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <stdexcept>
#include <string>

namespace kivolo::server::http {
namespace {

using fuzz::require;

std::optional<Address> byTheSystem(const std::string &text)
{
    in6_addr bytes = {};
    char written[INET6_ADDRSTRLEN];
    for (const int family : {AF_INET, AF_INET6}) {
        if (inet_pton(family, text.c_str(), &bytes) == 1)
            return Address::parse(inet_ntop(family, &bytes, written, sizeof written));
    }
    return std::nullopt;
}

void tryAddress(const std::string &text)
{
    const std::optional<Address> address = Address::parse(text);
    if (const auto known = byTheSystem(text))
        require(address == known, "the system reads it alike");
    if (!address)
        return;
    require(!address->isLocal(), "nobody says that he is on this machine");
    require(Address::parse(address->toString()) == address, "an address is read as it is written");
    require(Address::parse('[' + address->toString() + "]:80") == address, "with a port too");
    require(address->network().wide() == address->wide() &&
                address->network().network() == address->network() &&
                address->wide().isIpv4() == address->isIpv4() && address->prefix(128) == *address,
            "the nets of an address lie inside of each other");
    Proxies proxies;
    proxies.trust(address->toString());
    require(proxies.trusts(*address) && !proxies.trusts(Address()), "an address is its own net");
}

void tryNet(const std::string &text)
{
    Proxies proxies;
    try {
        proxies.trust(text);
    } catch (const std::runtime_error &) {
        return;
    }
    const std::size_t slash = text.find('/');
    const Address first = text == "unix" ? Address() : *Address::parse(text.substr(0, slash));
    require(proxies.trusts(first), "a net holds the address that names it");
    require(!proxies.trusts(*Address::parse(first.isIpv4() ? "::2" : "1.2.3.4")),
            "a net is of one family");
    require(proxies.trusts(Address()) == (text == "unix"), "this machine is in no net");
}

/// Whoever sends a header cannot choose who he is beyond what the trusted proxy heard.
void tryHeader(const std::string &text)
{
    Proxies proxies;
    proxies.trust("10.0.0.0/8");
    proxies.trust("unix");
    const Address proxy = *Address::parse("10.0.0.1");
    const Address guest = *Address::parse("192.0.2.7");
    require(proxies.client(guest, text) == guest, "a guest's own word counts for nothing");
    require(proxies.client(proxy, text + ", 192.0.2.7") == guest &&
                proxies.client(Address(), text + ",192.0.2.7\t,  10.1.2.3 ") == guest,
            "what the proxy heard counts");
    const Address client = proxies.client(proxy, text);
    require(!client.isLocal(), "nobody says that he is on this machine");
    require(proxies.trusts(client) || proxies.client(proxy, "192.0.2.9," + text) == client,
            "what stands to the left of a guest counts for nothing");
}

} // namespace
} // namespace kivolo::server::http

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace kivolo::server::http;
    if (size == 0)
        return 0;
    constexpr void (*tries[])(const std::string &) = {tryAddress, tryNet, tryHeader};
    tries[data[0] % std::size(tries)](std::string(kivolo::fuzz::textOf(data + 1, size - 1)));
    return 0;
}
