// How long something took, many times over.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace kivolo::server {

/// Counts durations by their size. Callable from any thread, for a few nanoseconds.
class Durations
{
public:
    /// Up to which, that included, each is counted where; what is longer is counted last.
    static constexpr std::array<double, 13> bounds = {0.0001, 0.00025, 0.001, 0.0025, 0.005,
                                                      0.01,   0.025,   0.1,   0.25,   0.5,
                                                      1,      2.5,     10}; ///< In seconds.

    void add(std::chrono::nanoseconds duration)
    {
        const double seconds = std::chrono::duration<double>(duration).count();
        std::size_t at = 0;
        while (at < bounds.size() && seconds > bounds[at])
            ++at;
        counts_[at].fetch_add(1, std::memory_order_relaxed);
        sum_.fetch_add(duration.count(), std::memory_order_relaxed);
    }

    std::uint64_t count(std::size_t at) const { return counts_[at]; }
    std::chrono::nanoseconds sum() const { return std::chrono::nanoseconds(sum_); }

private:
    std::array<std::atomic<std::uint64_t>, bounds.size() + 1> counts_ = {};
    std::atomic<std::int64_t> sum_ = 0;
};

} // namespace kivolo::server
