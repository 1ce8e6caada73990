#include "servers.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace kivolo::server::history {

Moment now()
{
    using namespace std::chrono;
    static const auto difference =
        system_clock::now().time_since_epoch() - steady_clock::now().time_since_epoch();
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch() + difference).count();
}

// An address of this run's own, so that no other program takes the port while a server is down.
Servers::Servers(ServerOptions options, Record &record)
    : options_(std::move(options))
    , record_(record)
    , network_("127." + std::to_string(64 + getpid() / 250 % 64) + "." +
               std::to_string(getpid() % 250) + ".")
{
    for (std::size_t i = 0; i < count; ++i) {
        const std::string path = options_.folder + "/faults" + std::to_string(i);
        void *at = mapFaults(path.c_str());
        if (!at)
            throw std::runtime_error("cannot write to " + path);
        faults_[i] = new (at) Faults;
    }
}

Servers::~Servers()
{
    for (std::size_t i = 0; i < count; ++i) {
        signal(i, SIGKILL);
        ::munmap(faults_[i], sizeof(Faults));
    }
}

std::string Servers::address(std::size_t server) const
{
    return network_ + std::to_string(server + 1);
}

void Servers::start(std::size_t server)
{
    const pid_t id = fork();
    if (id == 0)
        become(server);
    processes_[server] = {id, false, now()};
}

void Servers::become(std::size_t server) const
{
    const std::string faults = options_.folder + "/faults" + std::to_string(server);
    const std::string log = options_.folder + "/log" + std::to_string(server);
    // NOLINTBEGIN(concurrency-mt-unsafe): of one thread
    setenv(Faults::variable, faults.c_str(), 1);
    setenv("LD_PRELOAD", options_.shim.c_str(), 1);
    // The sanitizers' runtime wants to be loaded first, which it need not be for what we replace.
    setenv("ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0", 0);
    // NOLINTEND(concurrency-mt-unsafe)
    const std::string listen = address(server) + ":" + std::to_string(port());
    const std::string sqlite = "sqlite:" + database();
    const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    // A connection that a client closes must not live on here.
    close_range(STDERR_FILENO + 1, ~0U, 0);
    const char *program = options_.program.c_str();
    execl(program, program, "--listen", listen.c_str(), "--database", sqlite.c_str(), "--rates",
          "1000000", "--hold", "1", static_cast<char *>(nullptr));
    _exit(127);
}

void Servers::signal(std::size_t server, int signal)
{
    Process &process = processes_[server];
    if (process.id <= 0)
        return;
    kill(process.id, signal);
    if (signal == SIGKILL) {
        waitpid(process.id, nullptr, 0);
        process.id = -1;
    }
    process.meantToEnd = process.meantToEnd || signal == SIGTERM;
}

void Servers::tend()
{
    for (std::size_t i = 0; i < count; ++i) {
        int status = 0;
        if (processes_[i].id > 0 && waitpid(processes_[i].id, &status, WNOHANG) == 0)
            continue;
        if (processes_[i].id > 0)
            judge(i, status, "in the middle");
        if (processes_[i].started > 0)
            start(i);
    }
}

// One that finds the database locked, or no room for it, says so and ends at its start; and one
// that has just been started knows nothing of signals yet.
void Servers::judge(std::size_t server, int status, const char *when)
{
    constexpr Moment starting = 10 * second;
    const bool young = now() - processes_[server].started < starting;
    const bool meant = processes_[server].meantToEnd;
    processes_[server].id = -1;
    if (WIFEXITED(status) &&
        ((WEXITSTATUS(status) == 0 && meant) || (WEXITSTATUS(status) == 1 && young)))
        return;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM && meant && young)
        return;
    record_.complaints.push_back("server " + std::to_string(server) + " ended " + when +
                                 " with status " + std::to_string(status));
}

void Servers::stop()
{
    for (std::size_t i = 0; i < count; ++i) {
        if (processes_[i].id <= 0)
            continue;
        signal(i, SIGCONT);
        signal(i, SIGTERM);
        int status = 0;
        waitpid(processes_[i].id, &status, 0);
        judge(i, status, "when asked to");
    }
}

void Servers::setClock(std::size_t server, std::int64_t ahead)
{
    faults_[server]->clockAhead = ahead;
    record_.steps.push_back({server, now(), ahead});
}

void Servers::setRoom(std::int64_t bytes)
{
    for (Faults *faults : faults_)
        faults->room = bytes;
}

} // namespace kivolo::server::history
