#include "power.h"

#include <algorithm>
#include <cstring>
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

struct Machine::Disk
{
    std::mutex mutex;
    std::mt19937_64 random;
    std::uint64_t left = 0; ///< Operations until the power fails.
    bool syncs = true;
    bool dead = false;
    Names names;                                   ///< As the system shows them.
    Names syncedNames;                             ///< As they stand on the disk.
    std::vector<std::shared_ptr<Content>> deleted; ///< Perhaps while they were open.
    sqlite3_vfs vfs = {};

    /// Takes a change down. What is under way when the power fails can have reached the disk.
    template<typename Action>
    int change(Action &&action)
    {
        const std::lock_guard lock(mutex);
        if (dead)
            return SQLITE_IOERR;
        action();
        dead = --left == 0;
        return dead ? SQLITE_IOERR : SQLITE_OK;
    }

    /// Nothing is known to be on the disk before this returns, and everything is afterwards.
    int sync(Content &content, bool newName)
    {
        const std::lock_guard lock(mutex);
        dead = dead || --left == 0;
        if (dead)
            return SQLITE_IOERR;
        if (!syncs)
            return SQLITE_OK;
        for (const Change &change : content.since)
            apply(content.synced, change);
        content.since.clear();
        if (newName)
            syncedNames = names;
        return SQLITE_OK;
    }
};

/// The functions that SQLite calls. Files are kept by the usual ones as well, which is what is read
/// from as long as there is power.
struct Machine::Vfs
{
    struct File
    {
        sqlite3_file base;
        Disk *disk;
        Content *content; ///< None for what no one needs after the power has failed.
        bool newJournal;  ///< Its name is synced with its content, as the usual functions do.
        sqlite3_file *real;
    };

    static File &file(sqlite3_file *base) { return *reinterpret_cast<File *>(base); }
    static Disk &disk(sqlite3_vfs *vfs) { return *static_cast<Disk *>(vfs->pAppData); }
    static sqlite3_vfs *usual() { return sqlite3_vfs_find("unix"); }

    static int open(sqlite3_vfs *vfs, const char *name, sqlite3_file *base, int flags, int *out)
    {
        File &opened = file(base);
        std::memset(&opened, 0, sizeof opened);
        opened.disk = &disk(vfs);
        opened.real = reinterpret_cast<sqlite3_file *>(&opened + 1);
        const std::lock_guard lock(opened.disk->mutex);
        const int result = usual()->xOpen(usual(), name, opened.real, flags, out);
        if (result != SQLITE_OK)
            return result;
        base->pMethods = methods();
        constexpr int kept = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL;
        if (!(flags & kept))
            return SQLITE_OK;
        const auto [entry, isNew] = opened.disk->names.try_emplace(name);
        if (isNew) {
            entry->second = std::make_shared<Content>();
            entry->second->synced = read(name);
            if (!entry->second->synced.empty()) // of an earlier machine
                opened.disk->syncedNames.insert(*entry);
        }
        opened.newJournal = !(flags & SQLITE_OPEN_MAIN_DB);
        opened.content = entry->second.get();
        return SQLITE_OK;
    }

    static int remove(sqlite3_vfs *vfs, const char *name, int syncFolder)
    {
        Disk &disk = Vfs::disk(vfs);
        const int result = disk.change([&] {
            disk.deleted.push_back(disk.names[name]);
            disk.names.erase(name);
            if (syncFolder && disk.syncs)
                disk.syncedNames = disk.names;
        });
        return result == SQLITE_OK ? usual()->xDelete(usual(), name, syncFolder) : result;
    }

    static int close(sqlite3_file *base)
    {
        return file(base).real->pMethods ? file(base).real->pMethods->xClose(file(base).real)
                                         : SQLITE_OK;
    }

    static int write(sqlite3_file *base, const void *bytes, int count, sqlite3_int64 offset)
    {
        File &to = file(base);
        const auto take = [&] {
            if (to.content)
                to.content->since.push_back({static_cast<std::size_t>(offset),
                                             std::string(static_cast<const char *>(bytes),
                                                         static_cast<std::size_t>(count))});
        };
        const int result = to.disk->change(take);
        return result == SQLITE_OK ? to.real->pMethods->xWrite(to.real, bytes, count, offset)
                                   : result;
    }

    static int truncate(sqlite3_file *base, sqlite3_int64 size)
    {
        File &cut = file(base);
        const auto take = [&] {
            if (cut.content)
                cut.content->since.push_back({static_cast<std::size_t>(size), {}});
        };
        const int result = cut.disk->change(take);
        return result == SQLITE_OK ? cut.real->pMethods->xTruncate(cut.real, size) : result;
    }

    static int sync(sqlite3_file *base, int)
    {
        File &synced = file(base);
        return synced.content ? synced.disk->sync(*synced.content, synced.newJournal) : SQLITE_OK;
    }

    template<auto Method, typename... Arguments>
    static auto forward(sqlite3_file *base, Arguments... arguments)
    {
        return (file(base).real->pMethods->*Method)(file(base).real, arguments...);
    }

    static const sqlite3_io_methods *methods()
    {
        using M = sqlite3_io_methods;
        static const sqlite3_io_methods all = {
            2,
            close,
            forward<&M::xRead, void *, int, sqlite3_int64>,
            write,
            truncate,
            sync,
            forward<&M::xFileSize, sqlite3_int64 *>,
            forward<&M::xLock, int>,
            forward<&M::xUnlock, int>,
            forward<&M::xCheckReservedLock, int *>,
            forward<&M::xFileControl, int, void *>,
            forward<&M::xSectorSize>,
            forward<&M::xDeviceCharacteristics>,
            forward<&M::xShmMap, int, int, int, void volatile **>,
            forward<&M::xShmLock, int, int, int>,
            forward<&M::xShmBarrier>,
            forward<&M::xShmUnmap, int>,
            nullptr,
            nullptr,
        };
        return &all;
    }
};

Machine::Machine(std::uint64_t seed, std::uint64_t operations, bool syncs)
    : disk_(std::make_unique<Disk>())
{
    disk_->random.seed(seed);
    disk_->left = operations;
    disk_->syncs = syncs;
    disk_->vfs = *Vfs::usual();
    disk_->vfs.szOsFile += static_cast<int>(sizeof(Vfs::File));
    disk_->vfs.zName = "machine";
    disk_->vfs.pNext = nullptr;
    disk_->vfs.pAppData = disk_.get();
    disk_->vfs.xOpen = Vfs::open;
    disk_->vfs.xDelete = Vfs::remove;
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
