#include "postgres.h"

#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <libpq-fe.h>
#include <memory>
#include <pwd.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace kivolo {

namespace {

/// Whom PostgreSQL puts up with where these tests are root's.
const passwd *owner()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): of one thread
    const passwd *const user = geteuid() == 0 ? getpwnam("postgres") : getpwuid(geteuid());
    if (!user)
        throw std::runtime_error("there is no user to run PostgreSQL as");
    return user;
}

pid_t run(std::vector<std::string> command, const std::string &log)
{
    const passwd *const user = owner();
    const pid_t child = fork();
    if (child != 0)
        return child;
    const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    if (setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0)
        _exit(126);
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
    command[0] = KIVOLO_POSTGRES_BIN "/" + command[0];
    std::vector<char *> arguments;
    for (std::string &argument : command)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

} // namespace

Postgres::Postgres()
{
    std::string name = (std::filesystem::temp_directory_path() / "kivolo-pg-XXXXXX").string();
    if (!mkdtemp(name.data()) || chown(name.c_str(), owner()->pw_uid, owner()->pw_gid) != 0)
        throw std::runtime_error("no temporary folder");
    folder_ = name;
    int status = 1;
    waitpid(run({"initdb", "--auth=trust", "--username=kivolo", "--encoding=UTF8",
                 "--locale=C.UTF-8", "--no-sync", "--pgdata=" + (folder_ / "data").string()},
                folder_ / "log"),
            &status, 0);
    if (status != 0)
        throw std::runtime_error("initdb has failed; its reason is in " + name + "/log");
    start();
}

Postgres::~Postgres()
{
    signal(SIGCONT, true);
    signal(SIGQUIT, false);
    waitpid(process_, nullptr, 0);
    std::error_code ignored; // what stays behind is in the temporary directory
    std::filesystem::remove_all(folder_, ignored);
}

Postgres &Postgres::ofThisProgram()
{
    static Postgres postgres;
    return postgres;
}

void Postgres::start()
{
    process_ = run({"postgres", "-D", folder_ / "data", "-k", folder_, "-c",
                    "listen_addresses=", "-c", "fsync=off", "-c", "max_connections=300"},
                   folder_ / "log");
    for (int i = 0; PQping(address().c_str()) != PQPING_OK; ++i) {
        if (i == 1'000)
            throw std::runtime_error("PostgreSQL does not start");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void Postgres::restart()
{
    signal(SIGQUIT, false);
    waitpid(process_, nullptr, 0);
    start();
}

void Postgres::signal(int signal, bool toAll) const
{
    const std::string own = std::to_string(process_);
    std::ifstream children("/proc/" + own + "/task/" + own + "/children");
    kill(process_, signal);
    for (pid_t child = 0; toAll && children >> child;)
        kill(child, signal);
}

std::string Postgres::address() const
{
    return "postgresql://kivolo@/postgres?host=" + folder_.string();
}

std::string Postgres::newDatabase()
{
    const std::string name = "n" + std::to_string(++databases_);
    ask("CREATE SCHEMA " + name);
    return address() + "&options=-csearch_path%3D" + name;
}

std::string Postgres::ask(const std::string &sql) const
{
    const std::unique_ptr<PGconn, decltype(&PQfinish)> connection(PQconnectdb(address().c_str()),
                                                                  PQfinish);
    const std::unique_ptr<PGresult, decltype(&PQclear)> result(
        PQexec(connection.get(), sql.c_str()), PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        throw std::runtime_error(PQerrorMessage(connection.get()));
    return PQntuples(result.get()) > 0 ? PQgetvalue(result.get(), 0, 0) : "";
}

} // namespace kivolo
