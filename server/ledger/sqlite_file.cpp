#include "sqlite_file.h"

#include <spdlog/spdlog.h>
#include <sys/stat.h>

namespace kivolo::server {

SqliteFile::SqliteFile(std::string path)
    : path_(std::move(path))
{}

SqliteFile::Identities SqliteFile::identities() const
{
    const auto identityOf = [](const std::string &path) -> Identity {
        struct stat status = {};
        if (::stat(path.c_str(), &status) != 0)
            return std::nullopt;
        return std::pair{status.st_dev, status.st_ino};
    };
    return {identityOf(path_), identityOf(path_ + "-wal"), identityOf(path_ + "-shm")};
}

void SqliteFile::keep()
{
    kept_ = identities();
}

void SqliteFile::look()
{
    const bool there = identities() == kept_;
    State before = there ? State::Gone : State::Usable;
    if (!state_.compare_exchange_strong(before, there ? State::Usable : State::Gone))
        return;
    if (there)
        spdlog::warn("the database {} is back", path_);
    else
        spdlog::critical("the database {} or its -wal or -shm was deleted or replaced; nothing is "
                         "read or written until it is put back or the server is restarted",
                         path_);
}

void SqliteFile::requireUsable() const
{
    switch (state_) {
    case State::Usable:
        return;
    case State::Gone:
        throw LedgerUnavailable("its file was deleted or replaced");
    case State::Damaged:
        throw LedgerUnavailable("its file is damaged");
    }
}

bool SqliteFile::saysDamaged(int result)
{
    const int primary = result & 0xff; // what stands above says more, and nothing that matters here
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

void SqliteFile::condemn(const std::string &why)
{
    const std::string sentence = "it is damaged (" + why +
                                 "); restore a copy, or save what can be "
                                 "read of it with sqlite3's .recover";
    const bool running = kept_[0].has_value();
    if (state_.exchange(State::Damaged) != State::Damaged && running)
        spdlog::critical("the database {} is used no more: {}", path_, sentence);
    throw LedgerUnavailable(sentence);
}

} // namespace kivolo::server
