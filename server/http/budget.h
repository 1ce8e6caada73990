// Memory that many connections share.
#pragma once

#include <cstddef>
#include <optional>
#include <utility>

namespace kivolo::server::http {

/// Bytes of which everybody may take a share while there are some left. One thread.
class Budget
{
public:
    explicit Budget(std::size_t bytes)
        : left_(bytes)
    {}

    /// Goes back when it is destroyed, which has to be before the budget is.
    class Share
    {
    public:
        Share() = default;
        Share(Share &&other) noexcept
            : budget_(std::exchange(other.budget_, nullptr))
            , bytes_(other.bytes_)
        {}
        Share &operator=(Share &&other) noexcept
        {
            std::swap(budget_, other.budget_);
            std::swap(bytes_, other.bytes_);
            return *this;
        }
        ~Share()
        {
            if (budget_)
                budget_->left_ += bytes_;
        }

    private:
        friend Budget;
        Share(Budget &budget, std::size_t bytes)
            : budget_(&budget)
            , bytes_(bytes)
        {
            budget.left_ -= bytes;
        }

        Budget *budget_ = nullptr;
        std::size_t bytes_ = 0;
    };

    /// Nothing where the budget is used up. What is small is never refused and not counted: the
    /// number of connections bounds it, and notes get through where doodles do not.
    std::optional<Share> take(std::size_t bytes)
    {
        if (bytes <= small)
            return Share();
        return bytes <= left_ ? std::optional(Share(*this, bytes)) : std::nullopt;
    }

private:
    /// With 4,096 connections 256 MiB at most.
    static constexpr std::size_t small = 64 << 10;

    std::size_t left_;
};

} // namespace kivolo::server::http
