// A PostgreSQL of one program's own, on a Unix socket in a temporary folder.
#pragma once

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/types.h>

namespace kivolo {

/// Loses everything in a power cut, and is stopped with the program that started it.
class Postgres
{
public:
    /// Throws std::runtime_error where there is none to be started.
    Postgres();
    Postgres(const Postgres &) = delete;
    Postgres &operator=(const Postgres &) = delete;
    ~Postgres();

    /// The one of this program, which is started when it is first asked for.
    static Postgres &ofThisProgram();

    /// Of the database `postgres`.
    std::string address() const;
    /// The address of a new, empty database, or rather of a name space that looks like one.
    std::string newDatabase();
    /// Has the server do that, and gives back the first thing that it tells.
    std::string ask(const std::string &sql) const;
    /// Sends a signal to it, or to its processes as well.
    void signal(int signal, bool toAll) const;
    /// Kills it and starts it again.
    void restart();

private:
    void start();

    std::filesystem::path folder_;
    pid_t process_ = -1;
    int databases_ = 0;
};

} // namespace kivolo
