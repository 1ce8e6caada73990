// The server's processes, which share one database, and what is done to them.
#pragma once

#include "faults.h"
#include "record.h"
#include "servers/server_process.h"

#include <memory>

namespace kivolo::server::history {

Moment now();

class Servers
{
public:
    static constexpr std::size_t count = 2;
    static constexpr std::uint16_t port = 8787;

    /// With all their files in that folder. `database`: as kivolo-server takes it.
    Servers(std::string folder, std::string database, Record &record);

    std::string address(std::size_t server) const;
    const std::string &database() const { return database_; }

    void start(std::size_t server);
    void signal(std::size_t server, int signal);
    /// Starts again whichever has ended, and complains of those that nobody ended.
    void tend();
    /// Ends all and complains of those that do not end well.
    void stop();

    void setClock(std::size_t server, std::int64_t ahead);
    std::int64_t ahead(std::size_t server) const { return processes_[server].faults->clockAhead; }
    /// What can still be written to the disk, which all share; -1: anything.
    void setRoom(std::int64_t bytes);

private:
    struct Process
    {
        Faults *faults = nullptr;
        std::unique_ptr<ServerProcess> program;
        bool meantToEnd = false;
        Moment started = 0;
    };

    /// What is loaded into the servers.
    std::string shim() const { return folder_ + "/shim.so"; }
    void judge(std::size_t server, int status);

    std::string folder_;
    std::string database_;
    Record &record_;
    Process processes_[count];
    bool clockWasSet_ = false;
};

} // namespace kivolo::server::history
