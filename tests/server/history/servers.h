// The server's processes, which share one database, and what is done to them.
#pragma once

#include "faults.h"
#include "record.h"

#include <random>
#include <sys/types.h>

namespace kivolo::server::history {

Moment now();

/// Chooses by its seed alone.
class Dice
{
public:
    explicit Dice(std::uint64_t seed)
        : engine_(seed)
    {}
    /// From 0 to `most`. Not by std::uniform_int_distribution, which differs between libraries.
    std::uint64_t upTo(std::uint64_t most) { return engine_() % (most + 1); }
    bool oneIn(std::uint64_t n) { return upTo(n - 1) == 0; }

private:
    std::mt19937_64 engine_;
};

struct ServerOptions
{
    std::string program; ///< kivolo-server
    std::string shim;    ///< The library of faults.cpp.
    std::string folder;  ///< For the database and all else, new.
};

class Servers
{
public:
    static constexpr std::size_t count = 2;

    Servers(ServerOptions options, Record &record);
    Servers(const Servers &) = delete;
    Servers &operator=(const Servers &) = delete;
    ~Servers();

    std::string address(std::size_t server) const;
    std::uint16_t port() const { return 8787; }
    std::string database() const { return options_.folder + "/history.sqlite"; }

    void start(std::size_t server);
    void signal(std::size_t server, int signal);
    /// Starts again whichever has ended, and complains of those that nobody ended.
    void tend();
    /// Ends all and complains of those that do not end well.
    void stop();

    void setClock(std::size_t server, std::int64_t ahead);
    std::int64_t ahead(std::size_t server) const { return faults_[server]->clockAhead; }
    /// What can still be written to the disk, which all share; -1: anything.
    void setRoom(std::int64_t bytes);

private:
    struct Process
    {
        pid_t id = -1;
        bool meantToEnd = false;
        Moment started = 0;
    };

    [[noreturn]] void become(std::size_t server) const;
    void judge(std::size_t server, int status, const char *when);

    ServerOptions options_;
    Record &record_;
    Faults *faults_[count] = {};
    Process processes_[count];
    std::string network_;
};

} // namespace kivolo::server::history
