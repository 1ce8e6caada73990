// A machine whose power can fail: what SQLite wrote and did not sync may be gone, or in pieces.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace kivolo::server::test {

/// While it lives, every database file of this process is on this machine's disk: one lives at a
/// time. Files of earlier machines are taken over as they are. It stands between SQLite and the
/// usual functions, by which files are kept as well; from those is read as long as there is power.
class Machine
{
public:
    /// The power fails with the operation of that number, counted over all writes, truncations,
    /// deletions and syncs. `syncs` false: a disk that says it has written and has not.
    Machine(std::uint64_t seed, std::uint64_t operations, bool syncs = true)
        : random_(seed)
        , left_(operations)
        , syncs_(syncs)
        , vfs_(*usual())
    {
        vfs_.zName = "machine";
        vfs_.pNext = nullptr;
        vfs_.xOpen = open;
        vfs_.xDelete = remove;
        current = this;
        if (sqlite3_vfs_register(&vfs_, 1) != SQLITE_OK)
            throw std::runtime_error("SQLite does not take the machine");
    }
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
    ~Machine() { sqlite3_vfs_unregister(&vfs_); }

    bool failed()
    {
        const std::lock_guard lock(mutex_);
        return dead_;
    }

    /// Puts what the disk has kept into that folder, which is made. Each change that was not synced
    /// is there as a whole, not at all, or in some of its sectors; and the folder is the one that
    /// was synced or the one of the end.
    void salvage(const std::filesystem::path &folder)
    {
        std::filesystem::create_directories(folder);
        const bool withNewNames = random_() % 2 == 0;
        for (const auto &[path, content] : withNewNames ? names_ : syncedNames_) {
            std::string kept = content->synced;
            const auto mood = random_() % 4; // all, none, or each by itself
            for (const Change &change : content->since) {
                if (mood == 0 || (mood > 1 && random_() % 2 == 0)) {
                    apply(kept, change);
                    continue;
                }
                for (std::size_t at = 0; mood > 1 && at < change.bytes.size();) {
                    const std::size_t end =
                        std::min(change.bytes.size(), at + sector - (change.offset + at) % sector);
                    if (random_() % 2 == 0)
                        apply(kept, {change.offset + at, change.bytes.substr(at, end - at)});
                    at = end;
                }
            }
            std::ofstream(folder / std::filesystem::path(path).filename(), std::ios::binary)
                << kept;
        }
    }

private:
    // What a disk writes as a whole or not at all. Beyond the bytes that are written nothing
    // changes, as SQLite takes for granted of any disk of today.
    static constexpr std::size_t sector = 512;

    /// A change that was not synced yet: bytes written, or, without any, the file cut to that
    /// length.
    struct Change
    {
        std::size_t offset = 0;
        std::string bytes;
    };
    struct Content
    {
        std::string synced;
        std::vector<Change> since;
    };
    struct File
    {
        const sqlite3_io_methods *usual = nullptr;
        sqlite3_io_methods methods = {};
        std::shared_ptr<Content> content; ///< Perhaps deleted since.
        bool newName = false; ///< Synced with the content, as the usual functions do for a journal.
    };
    using Names = std::map<std::string, std::shared_ptr<Content>>;

    static inline Machine *current = nullptr;

    static void apply(std::string &content, const Change &change)
    {
        if (change.bytes.empty()) {
            content.resize(std::min(content.size(), change.offset));
            return;
        }
        content.resize(std::max(content.size(), change.offset + change.bytes.size()));
        content.replace(change.offset, change.bytes.size(), change.bytes);
    }

    static sqlite3_vfs *usual() { return sqlite3_vfs_find("unix"); }

    static int open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *out)
    {
        constexpr int kept = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
        const std::lock_guard lock(current->mutex_);
        const int result = usual()->xOpen(usual(), name, file, flags, out);
        if (result != SQLITE_OK || !(flags & kept))
            return result; // no one needs others after the power has failed
        const auto [entry, isNew] = current->names_.try_emplace(name);
        if (isNew) {
            std::ifstream stream(name, std::ios::binary);
            entry->second = std::make_shared<Content>();
            entry->second->synced.assign(std::istreambuf_iterator<char>(stream), {});
            if (!entry->second->synced.empty()) // of an earlier machine
                current->syncedNames_.insert(*entry);
        }
        File &opened = current->files_[file];
        opened = {file->pMethods, *file->pMethods, entry->second, !(flags & SQLITE_OPEN_MAIN_DB)};
        opened.methods.iVersion = 2; // without mapped memory
        opened.methods.xWrite = write;
        opened.methods.xTruncate = truncate;
        opened.methods.xSync = sync;
        file->pMethods = &opened.methods;
        return SQLITE_OK;
    }

    /// Counts a change. What is under way when the power fails can have reached the disk.
    template<typename Action>
    bool fails(Action &&action)
    {
        const std::lock_guard lock(mutex_);
        if (!dead_) {
            action();
            dead_ = --left_ == 0;
        }
        return dead_;
    }

    static int remove(sqlite3_vfs *, const char *name, int syncFolder)
    {
        const bool failed = current->fails([&] {
            current->names_.erase(name);
            if (syncFolder && current->syncs_)
                current->syncedNames_ = current->names_;
        });
        return failed ? SQLITE_IOERR : usual()->xDelete(usual(), name, syncFolder);
    }

    /// The usual functions for the file that is changed, unless the power fails.
    static const sqlite3_io_methods *change(sqlite3_file *file, Change change)
    {
        File *changed = nullptr;
        const bool failed = current->fails([&] {
            changed = &current->files_.at(file);
            changed->content->since.push_back(std::move(change));
        });
        return failed ? nullptr : changed->usual;
    }

    static int write(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset)
    {
        const std::string text(static_cast<const char *>(bytes), static_cast<std::size_t>(count));
        const auto *methods = change(file, {static_cast<std::size_t>(offset), text});
        return methods ? methods->xWrite(file, bytes, count, offset) : SQLITE_IOERR;
    }

    static int truncate(sqlite3_file *file, sqlite3_int64 size)
    {
        const auto *methods = change(file, {static_cast<std::size_t>(size), {}});
        return methods ? methods->xTruncate(file, size) : SQLITE_IOERR;
    }

    // Nothing is known to be on the disk before this returns, and everything is afterwards.
    static int sync(sqlite3_file *file, int)
    {
        const bool failed = current->fails([&] {
            const File &synced = current->files_.at(file);
            if (current->left_ == 1 || !current->syncs_)
                return;
            for (const Change &change : synced.content->since)
                apply(synced.content->synced, change);
            synced.content->since.clear();
            if (synced.newName)
                current->syncedNames_ = current->names_;
        });
        return failed ? SQLITE_IOERR : SQLITE_OK;
    }

    std::mutex mutex_;
    std::mt19937_64 random_;
    std::uint64_t left_; ///< Operations until the power fails.
    bool syncs_;
    bool dead_ = false;
    Names names_;       ///< As the system shows them.
    Names syncedNames_; ///< As they stand on the disk.
    std::map<sqlite3_file *, File> files_;
    sqlite3_vfs vfs_;
};

} // namespace kivolo::server::test
