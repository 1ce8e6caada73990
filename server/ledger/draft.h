// A file that has its name only when it is whole.
#pragma once

#include <stdexcept>
#include <string>

namespace kivolo::server {

/// A file in the making: empty at first, gone with this unless it has been given its name. What a
/// process left behind that was killed is taken over. Throws std::runtime_error with a sentence.
class Draft
{
public:
    /// Somebody else is making one at the same place.
    struct Taken : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };

    explicit Draft(std::string path);
    Draft(const Draft &) = delete;
    Draft &operator=(const Draft &) = delete;
    ~Draft();

    const std::string &path() const { return path_; }

    /// On disk and under that name when it returns, whatever happens to the machine. What has the
    /// name already stays as it is, and this fails.
    void nameIt(const std::string &name);
    /// The same, in the place of what has the name.
    void putInPlaceOf(const std::string &name);

private:
    /// What SQLite leaves beside it where it fails.
    std::string journal() const { return path_ + "-journal"; }
    void flush() const;

    std::string path_;
    int descriptor_;
    bool named_ = false;
};

/// What is in the file's folder by which name is on disk, whatever happens to the machine.
void flushFolderOf(const std::string &file);

} // namespace kivolo::server
