// Waiting for nothing but time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace kivolo::server {

/// Ends early when a stop is requested.
inline void pause(const std::stop_token &stop, std::chrono::nanoseconds time)
{
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any never;
    never.wait_for(lock, stop, time, [] { return false; });
}

} // namespace kivolo::server
