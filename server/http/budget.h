// Memory that many connections share.
#pragma once

#include "address.h"

#include <cstddef>
#include <memory>
#include <optional>

namespace kivolo::server::http {

/// Bytes of which every guest may take a share: as many as he leaves free for the others, and his
/// wider net twice as many. So one holds at most half of all, ten hold at most a little less than a
/// tenth each, and whoever comes new finds as much as the greediest has. From any thread.
class Budget
{
public:
    explicit Budget(std::size_t bytes);
    ~Budget();

    /// Goes back when it is destroyed, which may be after the budget was.
    class Share
    {
    public:
        Share() = default;
        Share(Share &&other) noexcept;
        Share &operator=(Share &&other) noexcept;
        ~Share();

        std::size_t bytes() const { return bytes_; }
        /// So many bytes more, or nothing of it (false). Only for one that take() gave.
        bool grow(std::size_t bytes);
        /// Back to that many bytes.
        void shrinkTo(std::size_t bytes);

    private:
        friend Budget;
        struct Accounts;
        std::shared_ptr<Accounts> accounts_;
        Address guest_;
        std::size_t bytes_ = 0;
    };

    /// Nothing where so much is not there for that address.
    std::optional<Share> take(const Address &guest, std::size_t bytes);
    /// For those who hold nothing.
    std::size_t left() const;

private:
    std::shared_ptr<Share::Accounts> accounts_;
};

} // namespace kivolo::server::http
