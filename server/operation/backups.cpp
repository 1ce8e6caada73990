#include "backups.h"

#include "ledger/pause.h"
#include "ledger/upkeep.h"

#include <algorithm>
#include <ctime>
#include <spdlog/spdlog.h>
#include <sys/stat.h>

namespace kivolo::server {

namespace {

using std::chrono::system_clock;

constexpr std::string_view prefix = "kivolo-";
constexpr std::string_view suffix = ".sqlite";

/// What a server that was killed has left is taken over by the next.
constexpr std::string_view unfinished = "kivolo.part";

/// In an order that is that of time.
std::string nameAt(system_clock::time_point time)
{
    const std::time_t second = system_clock::to_time_t(time);
    std::tm utc = {};
    gmtime_r(&second, &utc);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H%M%SZ", &utc);
    return std::string(prefix).append(text, length).append(suffix);
}

bool isOurs(const std::string &name)
{
    constexpr std::size_t length = prefix.size() + 18 + suffix.size();
    return name.size() == length && name.starts_with(prefix) && name.ends_with(suffix);
}

} // namespace

Backups::Backups(std::string database, std::filesystem::path folder, Hours every, int keep)
    : database_(std::move(database))
    , folder_(std::move(folder))
    , every_(std::chrono::duration_cast<system_clock::duration>(every))
    , keep_(keep)
    , thread_([this](const std::stop_token &stop) { run(stop); })
{}

// The clock is looked at anew now and then, as it can be set.
void Backups::run(const std::stop_token &stop)
{
    constexpr std::chrono::minutes look(1);
    while (!stop.stop_requested()) {
        system_clock::duration wait = look;
        const bool recent = due() > system_clock::now() || make(stop);
        if (recent)
            wait = std::clamp<system_clock::duration>(due() - system_clock::now(),
                                                      std::chrono::milliseconds(100), look);
        pause(stop, wait);
    }
}

// One that seems to be of the future was made by a clock that was wrong.
Backups::Time Backups::due() const
{
    const std::vector<std::filesystem::path> all = made();
    struct stat latest = {};
    if (all.empty() || ::stat(all.back().c_str(), &latest) != 0)
        return {};
    const Time changed = system_clock::from_time_t(latest.st_mtim.tv_sec) +
                         std::chrono::duration_cast<system_clock::duration>(
                             std::chrono::nanoseconds(latest.st_mtim.tv_nsec));
    return changed > system_clock::now() ? Time() : changed + every_;
}

// Several servers may have the same folder: one of them makes the copy for all.
bool Backups::make(const std::stop_token &stop)
{
    try {
        Draft draft((folder_ / unfinished).string());
        if (due() > system_clock::now())
            return true;
        const std::filesystem::path file = folder_ / nameAt(system_clock::now());
        copyDatabase(database_, draft, stop);
        draft.nameIt(file.string());
        rotate();
        spdlog::info("the database was copied to {}", file.string());
        return true;
    } catch (const Draft::Taken &) {
        return false;
    } catch (const std::exception &error) {
        if (!stop.stop_requested())
            spdlog::error("{}", error.what());
        return false;
    }
}

void Backups::rotate() const
{
    const std::vector<std::filesystem::path> all = made();
    for (std::size_t at = 0; at + static_cast<std::size_t>(keep_) < all.size(); ++at)
        std::filesystem::remove(all[at]);
}

std::vector<std::filesystem::path> Backups::made() const
{
    std::vector<std::filesystem::path> all;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(folder_, error)) {
        if (isOurs(entry.path().filename().string()))
            all.push_back(entry.path());
    }
    std::ranges::sort(all);
    return all;
}

} // namespace kivolo::server
