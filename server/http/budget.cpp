#include "budget.h"

#include <mutex>
#include <unordered_map>
#include <utility>

namespace kivolo::server::http {

struct Budget::Share::Accounts
{
    using Held = std::unordered_map<Address, std::size_t>;

    bool take(const Address &guest, std::size_t bytes)
    {
        const std::lock_guard lock(mutex);
        if (bytes > left)
            return false;
        std::size_t &ofGuest = networks[guest.network()];
        std::size_t &ofNet = nets[guest.wide()];
        const std::size_t rest = left - bytes;
        const bool fair = ofGuest + bytes <= rest && ofNet + bytes <= 2 * rest;
        if (fair) {
            left = rest;
            ofGuest += bytes;
            ofNet += bytes;
        }
        forgetEmpty(guest);
        return fair;
    }

    void giveBack(const Address &guest, std::size_t bytes)
    {
        const std::lock_guard lock(mutex);
        left += bytes;
        networks[guest.network()] -= bytes;
        nets[guest.wide()] -= bytes;
        forgetEmpty(guest);
    }

    void forgetEmpty(const Address &guest)
    {
        if (const auto found = networks.find(guest.network()); found->second == 0)
            networks.erase(found);
        if (const auto found = nets.find(guest.wide()); found->second == 0)
            nets.erase(found);
    }

    mutable std::mutex mutex;
    std::size_t left = 0;
    Held networks;
    Held nets; ///< The wider ones.
};

Budget::Budget(std::size_t bytes)
    : accounts_(std::make_shared<Share::Accounts>())
{
    accounts_->left = bytes;
}

Budget::~Budget() = default;

Budget::Share::Share(Share &&other) noexcept
    : accounts_(std::move(other.accounts_))
    , guest_(other.guest_)
    , bytes_(std::exchange(other.bytes_, 0))
{}

Budget::Share &Budget::Share::operator=(Share &&other) noexcept
{
    std::swap(accounts_, other.accounts_);
    std::swap(guest_, other.guest_);
    std::swap(bytes_, other.bytes_);
    return *this;
}

Budget::Share::~Share()
{
    shrinkTo(0);
}

bool Budget::Share::grow(std::size_t bytes)
{
    if (bytes > 0 && !accounts_->take(guest_, bytes))
        return false;
    bytes_ += bytes;
    return true;
}

void Budget::Share::shrinkTo(std::size_t bytes)
{
    if (bytes < bytes_)
        accounts_->giveBack(guest_, bytes_ - bytes);
    bytes_ = bytes;
}

std::optional<Budget::Share> Budget::take(const Address &guest, std::size_t bytes)
{
    Share share;
    share.accounts_ = accounts_;
    share.guest_ = guest;
    if (!share.grow(bytes))
        return std::nullopt;
    return share;
}

std::size_t Budget::left() const
{
    const std::lock_guard lock(accounts_->mutex);
    return accounts_->left;
}

} // namespace kivolo::server::http
