// The server as a process, for programs with Qt and without.
#pragma once

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kivolo {

/// The arguments to listen on a free port of this machine, over this SQLite file.
inline std::vector<std::string> servingFrom(const std::string &database)
{
    return {"--listen", "127.0.0.1:0", "--database", "sqlite:" + database};
}

/// kivolo-server, built beside this program. Ends with this object.
class ServerProcess
{
public:
    explicit ServerProcess(const std::vector<std::string> &arguments)
    {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        std::vector<char *> argv;
        std::vector<std::string> all{KIVOLO_SERVER};
        all.insert(all.end(), arguments.begin(), arguments.end());
        for (std::string &argument : all)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL); // also where the test crashes
            dup2(ends[1], STDOUT_FILENO);
            close_range(STDERR_FILENO + 1, ~0U, 0); // a connection of the test's must end with it
            execv(KIVOLO_SERVER, argv.data());
            _exit(127);
        }
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~ServerProcess()
    {
        if (pid_ > 0)
            end(SIGKILL);
        std::fclose(output_);
    }
    /// Waits until it listens on this machine; 0 when it does not come to that.
    std::uint16_t port()
    {
        unsigned port = 0;
        if (std::fscanf(output_, "listening on http://127.0.0.1:%u", &port) != 1) // NOLINT
            return 0;
        return static_cast<std::uint16_t>(port);
    }
    void limitDescriptors(rlim_t most)
    {
        const rlimit limit{most, most};
        prlimit(pid_, RLIMIT_NOFILE, &limit, nullptr);
    }
    void signal(int signal) const { ::kill(pid_, signal); }
    /// Whether it has ended; then end(0) says how.
    bool hasEnded() const
    {
        siginfo_t end = {};
        return ::waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               end.si_pid == pid_;
    }
    /// Sends it a signal unless that is 0, waits for its end, and says how it was: the exit status,
    /// or 128 and the signal.
    int end(int signal)
    {
        int status = 0;
        if (signal != 0)
            ::kill(pid_, signal);
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

private:
    pid_t pid_ = -1;
    std::FILE *output_ = nullptr;
};

} // namespace kivolo
