// Runs clients against servers that are killed, stalled and deprived, and then proves from what
// the clients saw that nothing was lost, repeated, altered, misplaced or shown too early.
//
//   kivolo-history [SECONDS [SEED [DATABASE]]]    DATABASE: as kivolo-server takes it, new; or
//                                                      postgresql, for one of this program's own

#include "client.h"
#include "neighbour.h"
#include "servers/postgres.h"

#include <atomic>
#include <filesystem>
#include <iostream>
#include <thread>

namespace kivolo::server::history {

namespace {

constexpr std::size_t clients = 24;

std::string ownDatabases = "none"; ///< How the addresses of a PostgreSQL begin that may be stopped.

/// What another program does to the database before it keeps still and then leaves.
const std::map<std::string, std::vector<const char *>> neighbours{
    {"database locked", {"BEGIN IMMEDIATE"}},
    {"old state read", {"BEGIN", "SELECT count(*) FROM circle"}},
    {"tables locked", {"BEGIN", "LOCK TABLE circle IN ACCESS EXCLUSIVE MODE"}},
    {"connections ended",
     {"SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
      " WHERE usename = current_user AND pid <> pg_backend_pid()"}},
    {"idle connections ended",
     {"SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
      " WHERE usename = current_user AND pid <> pg_backend_pid() AND state = 'idle'"}},
    {"statements cancelled",
     {"SELECT pg_cancel_backend(pid) FROM pg_stat_activity"
      " WHERE usename = current_user AND pid <> pg_backend_pid()"}},
};

/// Does on another thread what may block. False where the database refuses it.
asio::awaitable<bool> elsewhere(World &world, std::function<void()> action)
{
    std::atomic<int> outcome = -1;
    const std::jthread thread([&] {
        try {
            action();
            outcome = 1;
        } catch (const soci::soci_error &) {
            outcome = 0;
        }
    });
    while (outcome < 0)
        co_await world.sleep(1);
    co_return outcome == 1;
}

/// As long as that, or until the end.
asio::awaitable<void> last(World &world, std::uint64_t milliseconds)
{
    const Moment end = now() + static_cast<Moment>(milliseconds) * 1'000;
    while (now() < end && !world.ending)
        co_await world.sleep(20);
}

asio::awaitable<void> happen(World &world, std::string kind, std::size_t server,
                             std::uint64_t length, std::int64_t amount)
{
    Servers &servers = world.servers;
    if (kind == "SIGKILL to both") {
        servers.signal(0, SIGKILL);
        servers.signal(1, SIGKILL);
    } else if (kind == "SIGKILL") {
        servers.signal(server, SIGKILL);
    } else if (kind == "SIGTERM") {
        servers.signal(server, SIGTERM);
    } else if (kind == "disk full") {
        servers.setRoom(amount);
        co_await last(world, length);
        servers.setRoom(-1);
    } else if (const auto sql = neighbours.find(kind); sql != neighbours.end()) {
        std::optional<Neighbour> neighbour;
        while (!co_await elsewhere(world, [&] {
            neighbour.emplace(servers.database());
            for (const char *statement : sql->second)
                neighbour->run(statement);
        }) && !world.ending)
            co_await world.sleep(1);
        co_await last(world, length);
    } else if (kind == "database killed") {
        Postgres::ofThisProgram().restart();
    } else if (kind == "database stopped") {
        Postgres::ofThisProgram().signal(SIGSTOP, true);
        co_await last(world, length);
        Postgres::ofThisProgram().signal(SIGCONT, true);
    } else if (kind == "clock ahead" || kind == "clock back") {
        // Within a day and a half, so that no seat grows old.
        const std::int64_t ahead =
            servers.ahead(server) + (kind == "clock ahead" ? 1 : -1) * amount;
        if (std::abs(ahead) < 130'000)
            servers.setClock(server, ahead);
    } else {
        servers.signal(server, SIGSTOP);
        co_await last(world, length);
        servers.signal(server, SIGCONT);
    }
}

/// What happens to the servers, one thing after another: each kind once in a random order, briefly,
/// then all again, until the end. In two streams: of processes and of what they stand on.
asio::awaitable<void> trouble(World &world, std::uint64_t stream, std::vector<const char *> all)
{
    static constexpr std::int64_t amounts[] = {1, 2, 7, 31, 600, 3'700, 40'000};
    Dice dice(world.seed * 7 + stream);
    std::vector<const char *> kinds = all;
    ++world.living;
    for (bool first = true; first || !world.ending;) {
        const auto which = kinds.begin() + static_cast<std::ptrdiff_t>(dice.upTo(kinds.size() - 1));
        const std::string kind = *which;
        kinds.erase(which);
        const std::size_t server = dice.upTo(world.serversUsed - 1);
        const std::uint64_t length = 100 + dice.upTo(first ? 600 : 2'400);
        const std::int64_t amount = dice.oneOf(amounts);
        const bool beyondPatience = dice.oneIn(4) && !first;
        co_await world.sleep(300 + dice.upTo(first ? 900 : 4'000));
        ++world.record.counts["happened: " + kind];
        co_await happen(world, kind, server, beyondPatience ? length + 6'000 : length, amount);
        if (kinds.empty()) {
            first = false;
            kinds = all;
        }
    }
    --world.living;
}

asio::awaitable<void> tend(World &world)
{
    for (;;) {
        co_await world.sleep(50);
        world.servers.tend();
    }
}

// One server for a quarter of the time, then two on one database.
asio::awaitable<void> direct(World &world, std::uint64_t milliseconds)
{
    world.start(tend(world));
    co_await world.sleep(milliseconds / 8);
    std::vector<const char *> below{"clock ahead", "clock back"};
    if (isFile(world.servers.database()))
        below.insert(below.end(), {"disk full", "database locked", "old state read"});
    else if (world.servers.database().starts_with(ownDatabases))
        below.insert(below.end(), {"tables locked", "connections ended", "statements cancelled",
                                   "database killed", "database stopped"});
    else // What ends a commit's wait for its copy shows it to all, and then its node may be lost.
        below.insert(below.end(), {"tables locked", "idle connections ended"});
    world.start(trouble(world, 2, below));
    co_await world.sleep(milliseconds / 8);
    world.servers.start(1);
    world.serversUsed = Servers::count;
    world.start(
        trouble(world, 1, {"SIGKILL", "SIGKILL to both", "SIGTERM", "SIGSTOP and SIGCONT"}));
    co_await world.sleep(milliseconds * 3 / 4);
    world.ending = true;
    const Moment patience = now() + 60 * second;
    while (world.living > 0 && now() < patience)
        co_await world.sleep(20);
    world.quiet = now() + second / 5;
    while (world.watching > 0 && now() < patience)
        co_await world.sleep(20);
    if (world.living > 0 || world.watching > 0)
        world.complain("clients were still without an answer at the end");
    world.context.stop();
}

/// Whether nothing was wrong. Else it leaves the database where it is.
bool run(std::uint64_t seconds, std::uint64_t seed, std::string database)
{
    std::signal(SIGPIPE, SIG_IGN);
    std::string folder =
        (std::filesystem::temp_directory_path() / "kivolo-history-XXXXXX").string();
    if (!mkdtemp(folder.data()))
        throw std::runtime_error("no temporary folder");
    std::cout << "seed " << seed << ", in " << folder << std::endl;
    if (database.empty())
        database = "sqlite:" + folder + "/history.sqlite";
    if (database == "postgresql") {
        database = Postgres::ofThisProgram().newDatabase();
        ownDatabases = database;
    }
    World world(folder, database, seed);
    world.servers.start(0);
    for (std::size_t number = 1; number <= clients; ++number)
        startClient(world, number);
    world.start(direct(world, seconds * 1'000));
    world.context.run();
    world.servers.stop();
    Neighbour(database).readRows(world.record);
    check(world.record);
    for (const auto &[name, count] : world.record.counts)
        std::cout << name << ": " << count << "\n";
    for (const std::string &complaint : world.record.complaints)
        std::cout << "WRONG: " << complaint << "\n";
    const bool good = world.record.complaints.empty();
    std::cout << (good ? "nothing is wrong" : "something is wrong") << std::endl;
    if (good)
        std::filesystem::remove_all(folder);
    return good;
}

} // namespace

} // namespace kivolo::server::history

int main(int argc, char **argv)
{
    using namespace kivolo::server::history;
    try {
        const std::uint64_t seconds = argc > 1 ? std::stoull(argv[1]) : 10;
        const auto seed = argc > 2 ? std::stoull(argv[2]) : std::uint64_t(now()) % 1'000'000;
        return run(seconds, seed, argc > 3 ? argv[3] : "") ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "history: " << error.what() << std::endl;
        return 1;
    }
}
