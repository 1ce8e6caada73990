// Where a request comes from, as far as the network tells.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace boost::asio::ip {
class address;
}

namespace kivolo::server::http {

/// An IPv4 address, an IPv6 address or "this machine", whichever way it was written: IPv4 inside of
/// IPv6 is IPv4. Also a net of addresses, by its first one.
class Address
{
public:
    /// Somebody on this machine, over a Unix socket.
    Address() = default;
    explicit Address(const boost::asio::ip::address &address);
    /// Of 192.0.2.1, 2001:db8::1 or [2001:db8::1], with or without a port (in IPv6 only behind
    /// brackets). Nothing where it is none that somebody can have.
    static std::optional<Address> parse(std::string_view text);

    bool isLocal() const { return *this == Address(); }
    bool isIpv4() const;
    /// What counts as one guest: an IPv4 address, the /64 of an IPv6 address.
    Address network() const;
    /// What one guest can get hold of with some effort: IPv4 /24, IPv6 /48.
    Address wide() const;
    /// The first address of the net of that many leading bits, of 128 even where it is IPv4.
    Address prefix(unsigned bits) const;
    /// For an operator's eyes.
    std::string toString() const;

    bool operator==(const Address &) const = default;

private:
    friend struct std::hash<Address>;
    std::array<std::uint8_t, 16> bytes_ = {}; ///< IPv4 is mapped into IPv6.
};

} // namespace kivolo::server::http

template<>
struct std::hash<kivolo::server::http::Address>
{
    std::size_t operator()(const kivolo::server::http::Address &address) const noexcept
    {
        return std::hash<std::string_view>()(
            {reinterpret_cast<const char *>(address.bytes_.data()), address.bytes_.size()});
    }
};
