#include "proxies.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace kivolo::server::http {

namespace {

constexpr std::string_view blanks = " \t";

std::string_view trimmed(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

} // namespace

void Proxies::trust(std::string_view net)
{
    if (net == "unix") {
        nets_.push_back({Address(), 128});
        return;
    }
    const std::size_t slash = std::min(net.find('/'), net.size());
    const std::optional<Address> address = Address::parse(net.substr(0, slash));
    const unsigned most = address && address->isIpv4() && net.find(':') == net.npos ? 32 : 128;
    unsigned bits = most;
    bool understood = address.has_value();
    if (slash < net.size()) {
        const char *end = net.data() + net.size();
        const auto [stop, error] = std::from_chars(net.data() + slash + 1, end, bits);
        understood = understood && error == std::errc() && stop == end && bits <= most;
    }
    // IPv4 written as IPv6, in a net that holds more than IPv4.
    if (!understood || (address->isIpv4() && bits + 128 - most < 96))
        throw std::runtime_error("a trusted proxy has to be given as an address, as a net like "
                                 "10.0.0.0/8, or as unix");
    bits += 128 - most;
    nets_.push_back({address->prefix(bits), bits});
}

bool Proxies::trusts(const Address &address) const
{
    return std::ranges::any_of(nets_, [&](const Net &net) {
        // "This machine" is written as no address is, but lies at the beginning of some nets.
        const bool comparable =
            address.isLocal() ? net.bits == 128 : address.isIpv4() == net.first.isIpv4();
        return comparable && address.prefix(net.bits) == net.first;
    });
}

Address Proxies::client(const Address &peer, std::string_view forwardedFor) const
{
    Address nearest = peer;
    while (!forwardedFor.empty() && trusts(nearest)) {
        const std::size_t comma = forwardedFor.rfind(',');
        const std::size_t start = comma == forwardedFor.npos ? 0 : comma + 1;
        const std::optional<Address> before = Address::parse(trimmed(forwardedFor.substr(start)));
        if (!before)
            break;
        nearest = *before;
        forwardedFor = forwardedFor.substr(0, start == 0 ? 0 : comma);
    }
    return nearest;
}

} // namespace kivolo::server::http
