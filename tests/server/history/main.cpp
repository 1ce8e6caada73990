// Runs clients against servers that are killed, stalled and deprived, and then proves from what
// the clients saw that nothing was lost, repeated, altered, misplaced or shown too early.

#include "client.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <sqlite3.h>

namespace kivolo::server::history {

namespace {

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
    } else if (kind == "database locked" || kind == "old state read") {
        sqlite3 *neighbour = nullptr; // another program that uses the same file
        sqlite3_open_v2(servers.database().c_str(), &neighbour, SQLITE_OPEN_READWRITE, nullptr);
        const char *begin =
            kind == "database locked" ? "BEGIN IMMEDIATE" : "BEGIN; SELECT count(*) FROM circle";
        while (sqlite3_exec(neighbour, begin, nullptr, nullptr, nullptr) != SQLITE_OK)
            co_await world.sleep(1);
        co_await last(world, length);
        sqlite3_close(neighbour);
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
    ++world.troubles;
    for (bool first = true; first || !world.ending;) {
        const std::size_t which = dice.upTo(kinds.size() - 1);
        const std::string kind = kinds[which];
        kinds.erase(kinds.begin() + static_cast<std::ptrdiff_t>(which));
        const std::size_t server = dice.upTo(world.serversUsed - 1);
        const std::uint64_t length = 100 + dice.upTo(first ? 600 : 2'400);
        const std::int64_t amount = amounts[dice.upTo(std::size(amounts) - 1)];
        const bool beyondPatience = dice.oneIn(4) && !first;
        co_await world.sleep(300 + dice.upTo(first ? 900 : 4'000));
        ++world.faults[kind];
        co_await happen(world, kind, server, beyondPatience ? length + 6'000 : length, amount);
        if (kinds.empty()) {
            first = false;
            kinds = all;
        }
    }
    --world.troubles;
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
    world.start(trouble(
        world, 2, {"disk full", "database locked", "old state read", "clock ahead", "clock back"}));
    co_await world.sleep(milliseconds / 8);
    world.servers.start(1);
    world.serversUsed = Servers::count;
    world.start(
        trouble(world, 1, {"SIGKILL", "SIGKILL to both", "SIGTERM", "SIGSTOP and SIGCONT"}));
    co_await world.sleep(milliseconds * 3 / 4);
    world.ending = true;
    const Moment patience = now() + 60 * second;
    while ((world.living > 0 || world.troubles > 0) && now() < patience)
        co_await world.sleep(20);
    world.quiet = now() + second / 5;
    while (world.watching > 0 && now() < patience)
        co_await world.sleep(20);
    if (world.living > 0 || world.watching > 0)
        world.record.complaints.push_back("clients were still without an answer at the end");
    world.context.stop();
}

bool report(const World &world, Verdict verdict)
{
    const auto list = [](const char *title, const auto &counts) {
        std::cout << title << "\n";
        for (const auto &[name, count] : counts)
            std::cout << "    " << name << ": " << count << "\n";
    };
    list("operations", world.operations);
    list("faults", world.faults);
    std::map<unsigned, std::size_t> statuses;
    for (const SendLog &send : world.record.sends)
        ++statuses[send.status];
    list("sends by status (0: none came)", statuses);
    verdict.counts["circles"] = world.record.codes.size();
    verdict.counts["seats taken"] = world.record.seats.size();
    list("checked", verdict.counts);
    for (const std::string &complaint : verdict.complaints)
        std::cout << "WRONG: " << complaint << "\n";
    std::cout << (verdict.complaints.empty() ? "nothing is wrong\n" : "");
    return verdict.complaints.empty();
}

// A checker that finds nothing wrong has to find what was made wrong.
bool reportFalsified(const World &world)
{
    bool all = true;
    const std::size_t before = check(world.record).complaints.size();
    std::cout << "falsified records:";
    for (const std::string &falsehood : falsehoods) {
        Record record = world.record;
        const bool applied = falsify(record, falsehood, Dice(world.seed).upTo(1'000'000));
        const bool noticed = applied && check(record).complaints.size() > before;
        std::cout << " " << falsehood << " "
                  << (noticed   ? "noticed"
                      : applied ? "NOT NOTICED"
                                : "NOT TRIED")
                  << ";";
        all = all && noticed;
    }
    std::cout << std::endl;
    return all;
}

int run(int argc, char **argv)
{
    std::uint64_t seed = static_cast<std::uint64_t>(now()) % 1'000'000;
    std::uint64_t seconds = 10;
    std::size_t clients = 24;
    bool keep = false;
    ServerOptions options{KIVOLO_SERVER, KIVOLO_SHIM, {}};
    CLI::App app("Tries whether the server keeps its promises whatever happens to it.");
    app.add_option("--seconds", seconds, "How long the clients go on");
    app.add_option("--clients", clients, "How many")->check(CLI::Range(2, 200));
    app.add_option("--seed", seed, "Of what clients do and what happens to the server");
    app.add_option("--server", options.program, "Another kivolo-server");
    app.add_flag("--keep", keep, "Leaves the database and the server's log where they are");
    CLI11_PARSE(app, argc, argv);
    std::signal(SIGPIPE, SIG_IGN);
    std::string folder =
        (std::filesystem::temp_directory_path() / "kivolo-history-XXXXXX").string();
    if (!mkdtemp(folder.data()))
        throw std::runtime_error("no temporary folder");
    options.folder = folder;
    std::cout << "seed " << seed << ", in " << folder << std::endl;
    World world(options, seed);
    world.servers.start(0);
    for (std::size_t number = 1; number <= clients; ++number)
        startClient(world, number);
    world.start(direct(world, seconds * 1'000));
    world.context.run();
    world.servers.stop();
    readRows(world.servers.database(), world.record);
    const bool right = report(world, check(world.record));
    const bool good = reportFalsified(world) && right;
    if (good && !keep)
        std::filesystem::remove_all(folder);
    return good ? 0 : 1;
}

} // namespace

} // namespace kivolo::server::history

int main(int argc, char **argv)
{
    try {
        return kivolo::server::history::run(argc, argv);
    } catch (const std::exception &error) {
        std::cerr << "history: " << error.what() << std::endl;
        return 1;
    }
}
