// Who is connected from where.
#pragma once

#include "address.h"

#include <unordered_map>
#include <vector>

namespace kivolo::server::http {

class Session;

/// Tells whose connection has to go where there are too many. Never looks into one.
class Crowd
{
public:
    using Sessions = std::vector<Session *>;

    /// Either has happened or throws std::bad_alloc.
    void add(const Address &address, Session *session);
    /// Nothing where it was not added, or removed already.
    void remove(const Address &address, Session *session);

    bool empty() const { return nets_.empty(); }
    /// Those of that address (IPv6: of that /64).
    const Sessions &of(const Address &address) const;
    /// How many there are from that address's wider net.
    std::size_t fromNet(const Address &address) const;
    /// From where there are most: of all nets the fullest, and there the fullest address. Looks
    /// through all of them. It must not be empty.
    Address fullest() const;
    Address fullestIn(const Address &net) const;

private:
    struct Net
    {
        std::size_t sessions = 0;
        std::unordered_map<Address, Sessions> guests;
    };
    std::unordered_map<Address, Net> nets_;
};

} // namespace kivolo::server::http
