// Whose word on where a request comes from is taken.
#pragma once

#include "address.h"

#include <vector>

namespace kivolo::server::http {

/// The proxies in front of the server. What anyone else says about himself is not looked at.
class Proxies
{
public:
    /// `net` is an address, a net as in 10.0.0.0/8, or "unix" for whoever comes over a Unix socket.
    /// Throws std::runtime_error with a sentence for the operator.
    void trust(std::string_view net);
    bool trusts(const Address &address) const;

    /// Who sent a request that came from `peer`: of what trusted proxies say, the one nearest to
    /// the server that is not itself trusted. `forwardedFor` is the value of X-Forwarded-For, to
    /// which each proxy adds at the right whom it heard; what it cannot be understood behind counts
    /// as the proxy's that passed it on.
    Address client(const Address &peer, std::string_view forwardedFor) const;

private:
    struct Net
    {
        Address first;
        unsigned bits = 0;
    };
    std::vector<Net> nets_;
};

} // namespace kivolo::server::http
