#include "draft.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace kivolo::server {

namespace {

[[noreturn]] void fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

/// Whether the path still leads to what was opened.
bool leadsTo(const std::string &path, int descriptor)
{
    struct stat named = {};
    struct stat opened = {};
    return ::stat(path.c_str(), &named) == 0 && ::fstat(descriptor, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

/// Not every file system knows both ways.
bool renameToNew(const std::string &path, const std::string &name)
{
    if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    return errno == EINVAL && ::link(path.c_str(), name.c_str()) == 0 &&
           ::unlink(path.c_str()) == 0;
}

} // namespace

// Whoever has it locked may have named or removed it by the time that it is unlocked.
Draft::Draft(std::string path)
    : path_(std::move(path))
    , descriptor_(::open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666))
{
    if (descriptor_ < 0)
        fail(path_);
    const bool locked = ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
    if (locked && leadsTo(path_, descriptor_) && ::ftruncate(descriptor_, 0) == 0) {
        ::unlink(journal().c_str());
        return;
    }
    ::close(descriptor_);
    throw Taken(path_ + " is being made by another process");
}

Draft::~Draft()
{
    if (!named_) {
        ::unlink(path_.c_str());
        ::unlink(journal().c_str());
    }
    ::close(descriptor_);
}

void Draft::flush() const
{
    if (::fsync(descriptor_) != 0)
        fail(path_);
}

void Draft::nameIt(const std::string &name)
{
    flush();
    if (!renameToNew(path_, name)) {
        if (errno == EEXIST)
            throw std::runtime_error("there is a file " + name + " already");
        fail(name);
    }
    named_ = true;
    flushFolderOf(name);
}

void Draft::putInPlaceOf(const std::string &name)
{
    flush();
    std::filesystem::rename(path_, name);
    named_ = true;
    flushFolderOf(name);
}

void flushFolderOf(const std::string &file)
{
    const std::filesystem::path path(file);
    const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_CLOEXEC);
    const bool flushed = descriptor >= 0 && ::fsync(descriptor) == 0;
    const int reason = errno;
    if (descriptor >= 0)
        ::close(descriptor);
    if (!flushed)
        throw std::system_error(reason, std::generic_category(), folder);
}

} // namespace kivolo::server
