#include "crowd.h"

#include <algorithm>

namespace kivolo::server::http {

void Crowd::add(const Address &address, Session *session)
{
    Net &net = nets_[address.wide()];
    net.guests[address.network()].push_back(session);
    ++net.sessions;
}

void Crowd::remove(const Address &address, Session *session)
{
    const auto net = nets_.find(address.wide());
    if (net == nets_.end())
        return;
    const auto guest = net->second.guests.find(address.network());
    if (guest == net->second.guests.end())
        return;
    net->second.sessions -= std::erase(guest->second, session);
    if (guest->second.empty())
        net->second.guests.erase(guest);
    if (net->second.guests.empty())
        nets_.erase(net);
}

const Crowd::Sessions &Crowd::of(const Address &address) const
{
    static const Sessions none;
    const auto net = nets_.find(address.wide());
    if (net == nets_.end())
        return none;
    const auto guest = net->second.guests.find(address.network());
    return guest == net->second.guests.end() ? none : guest->second;
}

std::size_t Crowd::fromNet(const Address &address) const
{
    const auto net = nets_.find(address.wide());
    return net == nets_.end() ? 0 : net->second.sessions;
}

Address Crowd::fullest() const
{
    const auto net = std::ranges::max_element(
        nets_, {}, [](const auto &entry) { return entry.second.sessions; });
    return fullestIn(net->first);
}

Address Crowd::fullestIn(const Address &net) const
{
    const auto guest = std::ranges::max_element(
        nets_.at(net.wide()).guests, {}, [](const auto &entry) { return entry.second.size(); });
    return guest->first;
}

} // namespace kivolo::server::http
