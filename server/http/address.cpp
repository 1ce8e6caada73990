#include "address.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>

namespace kivolo::server::http {

namespace ip = boost::asio::ip;

namespace {

std::string_view withoutPort(std::string_view text)
{
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        const bool closed =
            end != std::string_view::npos && (end + 1 == text.size() || text[end + 1] == ':');
        return closed ? text.substr(1, end - 1) : std::string_view();
    }
    const std::size_t colon = text.find(':');
    const bool isPort = colon != std::string_view::npos && colon == text.rfind(':');
    return isPort ? text.substr(0, colon) : text;
}

} // namespace

Address::Address(const ip::address &address)
    : bytes_(
          (address.is_v4() ? ip::make_address_v6(ip::v4_mapped, address.to_v4()) : address.to_v6())
              .to_bytes())
{}

std::optional<Address> Address::parse(std::string_view text)
{
    boost::system::error_code error;
    const ip::address address = ip::make_address(withoutPort(text), error);
    if (error)
        return std::nullopt;
    const Address parsed(address);
    const bool isAny = parsed.isLocal() || parsed == Address(ip::address_v4::any());
    return isAny ? std::nullopt : std::optional(parsed);
}

bool Address::isIpv4() const
{
    return ip::address_v6(bytes_).is_v4_mapped();
}

Address Address::network() const
{
    return isIpv4() ? *this : prefix(64);
}

Address Address::wide() const
{
    return prefix(isIpv4() ? 96 + 24 : 48);
}

Address Address::prefix(unsigned bits) const
{
    Address net = *this;
    for (unsigned i = bits / 8; i < net.bytes_.size(); ++i) {
        const unsigned kept = i == bits / 8 ? bits % 8 : 0;
        net.bytes_[i] &= static_cast<std::uint8_t>(0xff00U >> kept);
    }
    return net;
}

std::string Address::toString() const
{
    if (isLocal())
        return "this machine";
    const ip::address_v6 address(bytes_);
    return isIpv4() ? ip::make_address_v4(ip::v4_mapped, address).to_string() : address.to_string();
}

} // namespace kivolo::server::http
