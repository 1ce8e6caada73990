#include "servers.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <new>

namespace kivolo::server::history {

namespace {

Moment machinesClock()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

} // namespace

Moment now()
{
    using namespace std::chrono;
    static const auto difference =
        system_clock::now().time_since_epoch() - steady_clock::now().time_since_epoch();
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch() + difference).count();
}

Servers::Servers(std::string folder, std::string database, Record &record)
    : folder_(std::move(folder))
    , database_(std::move(database))
    , record_(record)
{
    // A copy, because a build meanwhile would take it away from servers that are started then.
    std::filesystem::copy_file(KIVOLO_SHIM, shim());
    for (std::size_t i = 0; i < count; ++i) {
        void *at = mapFaults((folder_ + "/faults" + std::to_string(i)).c_str());
        if (!at)
            throw std::runtime_error("cannot write into " + folder_);
        processes_[i].faults = new (at) Faults;
    }
}

// One of this run's own, so that no other program takes the port while a server is down.
std::string Servers::address(std::size_t server) const
{
    return "127." + std::to_string(64 + getpid() / 250 % 64) + "." +
           std::to_string(getpid() % 250) + "." + std::to_string(server + 1);
}

void Servers::start(std::size_t server)
{
    const std::string faults = folder_ + "/faults" + std::to_string(server);
    // NOLINTBEGIN(concurrency-mt-unsafe): of one thread
    setenv(Faults::variable, faults.c_str(), 1);
    setenv("LD_PRELOAD", shim().c_str(), 1);
    // The sanitizers' runtime wants to be loaded first, which it need not be for what we replace.
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 0);
    // NOLINTEND(concurrency-mt-unsafe)
    Process &process = processes_[server];
    process.program = std::make_unique<ServerProcess>(
        std::vector<std::string>{"--listen", address(server) + ":" + std::to_string(port),
                                 "--database", database_, "--rates", "1000000", "--hold", "1"});
    process.meantToEnd = false;
    process.started = now();
}

void Servers::signal(std::size_t server, int signal)
{
    Process &process = processes_[server];
    if (process.program)
        process.program->signal(signal);
    process.meantToEnd = process.meantToEnd || signal == SIGKILL || signal == SIGTERM;
}

void Servers::tend()
{
    if (!clockWasSet_ && std::abs(machinesClock() - now()) > second / 20) {
        clockWasSet_ = true;
        record_.complaints.push_back("somebody set this machine's clock, so times prove nothing");
    }
    for (std::size_t i = 0; i < count; ++i) {
        Process &process = processes_[i];
        if (!process.program || !process.program->hasEnded())
            continue;
        judge(i, process.program->end(0));
        start(i);
    }
}

// One that finds the database locked, or no room for it, says so and ends at its start; and one
// that has just been started knows nothing of signals yet.
void Servers::judge(std::size_t server, int status)
{
    const Process &process = processes_[server];
    const bool young = now() - process.started < 10 * second;
    const bool meant = process.meantToEnd && (status == 0 || status == 128 + SIGKILL ||
                                              (status == 128 + SIGTERM && young));
    if (!meant && !(status == 1 && young))
        record_.complaints.push_back("server " + std::to_string(server) + " ended with status " +
                                     std::to_string(status));
}

void Servers::stop()
{
    for (std::size_t i = 0; i < count; ++i) {
        signal(i, SIGCONT);
        signal(i, SIGTERM);
        if (processes_[i].program)
            judge(i, processes_[i].program->end(0));
    }
}

void Servers::setClock(std::size_t server, std::int64_t ahead)
{
    processes_[server].faults->clockAhead = ahead;
    record_.steps.push_back({server, now(), ahead});
}

void Servers::setRoom(std::int64_t bytes)
{
    for (const Process &process : processes_)
        process.faults->room = bytes;
}

} // namespace kivolo::server::history
