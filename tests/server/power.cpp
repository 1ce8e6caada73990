#include "power.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace kivolo::server::test {

namespace {

// What a disk writes as a whole or not at all. Beyond the bytes that are written nothing changes,
// as SQLite takes for granted of any disk of today.
constexpr std::size_t sector = 512;

/// A change that was not synced yet: bytes written, or, without any, the file cut to that length.
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

using Names = std::map<std::string, std::shared_ptr<Content>>;

void apply(std::string &content, const Change &change)
{
    if (change.bytes.empty()) {
        content.resize(std::min(content.size(), change.offset));
        return;
    }
    content.resize(std::max(content.size(), change.offset + change.bytes.size()));
    content.replace(change.offset, change.bytes.size(), change.bytes);
}

std::string read(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

/// Stands between SQLite and the usual functions, by which files are kept as well; from those is
/// read as long as there is power.
struct Machine::Disk
{
    struct File
    {
        const sqlite3_io_methods *usual = nullptr;
        sqlite3_io_methods methods = {};
        std::shared_ptr<Content> content; ///< Perhaps deleted since.
        bool newName = false; ///< Synced with the content, as the usual functions do for a journal.
    };

    static inline Disk *current = nullptr;

    std::mutex mutex;
    std::mt19937_64 random;
    std::uint64_t left = 0; ///< Operations until the power fails.
    bool syncs = true;
    bool dead = false;
    Names names;       ///< As the system shows them.
    Names syncedNames; ///< As they stand on the disk.
    std::map<sqlite3_file *, File> files;
    sqlite3_vfs vfs = {};

    static sqlite3_vfs *usual() { return sqlite3_vfs_find("unix"); }

    static int open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *out)
    {
        constexpr int kept = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
        const std::lock_guard lock(current->mutex);
        const int result = usual()->xOpen(usual(), name, file, flags, out);
        if (result != SQLITE_OK || !(flags & kept))
            return result; // no one needs others after the power has failed
        const auto [entry, isNew] = current->names.try_emplace(name);
        if (isNew) {
            entry->second = std::make_shared<Content>();
            entry->second->synced = read(name);
            if (!entry->second->synced.empty()) // of an earlier machine
                current->syncedNames.insert(*entry);
        }
        File &opened = current->files[file];
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
        const std::lock_guard lock(mutex);
        if (!dead) {
            action();
            dead = --left == 0;
        }
        return dead;
    }

    static int remove(sqlite3_vfs *, const char *name, int syncFolder)
    {
        const bool failed = current->fails([&] {
            current->names.erase(name);
            if (syncFolder && current->syncs)
                current->syncedNames = current->names;
        });
        return failed ? SQLITE_IOERR : usual()->xDelete(usual(), name, syncFolder);
    }

    /// The usual functions for the file that is changed, unless the power fails.
    static const sqlite3_io_methods *change(sqlite3_file *file, Change change)
    {
        File *changed = nullptr;
        const bool failed = current->fails([&] {
            changed = &current->files.at(file);
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
        const std::lock_guard lock(current->mutex);
        current->dead = current->dead || --current->left == 0;
        if (current->dead)
            return SQLITE_IOERR;
        if (!current->syncs)
            return SQLITE_OK;
        const File &synced = current->files.at(file);
        for (const Change &change : synced.content->since)
            apply(synced.content->synced, change);
        synced.content->since.clear();
        if (synced.newName)
            current->syncedNames = current->names;
        return SQLITE_OK;
    }
};

Machine::Machine(std::uint64_t seed, std::uint64_t operations, bool syncs)
    : disk_(std::make_unique<Disk>())
{
    disk_->random.seed(seed);
    disk_->left = operations;
    disk_->syncs = syncs;
    disk_->vfs = *Disk::usual();
    disk_->vfs.zName = "machine";
    disk_->vfs.pNext = nullptr;
    disk_->vfs.xOpen = Disk::open;
    disk_->vfs.xDelete = Disk::remove;
    Disk::current = disk_.get();
    if (sqlite3_vfs_register(&disk_->vfs, 1) != SQLITE_OK)
        throw std::runtime_error("SQLite does not take the machine");
}

Machine::~Machine()
{
    sqlite3_vfs_unregister(&disk_->vfs);
}

bool Machine::failed() const
{
    const std::lock_guard lock(disk_->mutex);
    return disk_->dead;
}

// Each change that was not synced is there as a whole, not at all, or in some of its sectors; and
// the folder is the one that was synced or the one of the end.
void Machine::salvage(const std::filesystem::path &folder) const
{
    std::filesystem::create_directories(folder);
    const bool withNewNames = disk_->random() % 2 == 0;
    for (const auto &[path, content] : withNewNames ? disk_->names : disk_->syncedNames) {
        std::string kept = content->synced;
        const auto mood = disk_->random() % 4; // all, none, or each by itself
        for (const Change &change : content->since) {
            if (mood == 0 || (mood > 1 && disk_->random() % 2 == 0)) {
                apply(kept, change);
                continue;
            }
            for (std::size_t at = 0; mood > 1 && at < change.bytes.size();) {
                const std::size_t end =
                    std::min(change.bytes.size(), at + sector - (change.offset + at) % sector);
                if (disk_->random() % 2 == 0)
                    apply(kept, {change.offset + at, change.bytes.substr(at, end - at)});
                at = end;
            }
        }
        std::ofstream(folder / std::filesystem::path(path).filename(), std::ios::binary) << kept;
    }
}

std::string integrityOf(const std::filesystem::path &database)
{
    std::string found;
    sqlite3 *opened = nullptr;
    const auto note = [](void *to, int, char **values, char **) {
        *static_cast<std::string *>(to) += values[0];
        return 0;
    };
    if (sqlite3_open(database.c_str(), &opened) != SQLITE_OK ||
        sqlite3_exec(opened, "PRAGMA integrity_check", note, &found, nullptr) != SQLITE_OK)
        found += sqlite3_errmsg(opened);
    sqlite3_close(opened);
    return found;
}

} // namespace kivolo::server::test
