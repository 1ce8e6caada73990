// Copies of the database that are made by themselves.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace kivolo::server {

/// Puts a copy into a folder now and then, and takes the oldest ones of its own away. What goes
/// wrong is in the log, and tried again soon. On a thread of its own.
class Backups
{
public:
    using Hours = std::chrono::duration<double, std::ratio<3'600>>;

    Backups(std::string database, std::filesystem::path folder, Hours every, int keep);

private:
    using Time = std::chrono::system_clock::time_point;

    void run(const std::stop_token &stop);
    Time due() const;
    bool make(const std::stop_token &stop);
    void rotate() const;
    std::vector<std::filesystem::path> made() const;

    std::string database_;
    std::filesystem::path folder_;
    std::chrono::system_clock::duration every_;
    int keep_;
    std::jthread thread_;
};

} // namespace kivolo::server
