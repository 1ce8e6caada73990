// Runs clients against servers that are killed, stalled and deprived, and then proves from what
// the clients saw that nothing was lost, repeated, altered, misplaced or shown too early.

#include "client.h"

#include <CLI/CLI.hpp>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <sqlite3.h>
#include <sys/resource.h>

namespace kivolo::server::history {

namespace {

/// What happens to the servers, one thing after another in each of two streams: one of processes,
/// one of what they stand on.
class Trouble
{
public:
    explicit Trouble(World &world)
        : world_(world)
    {}

    /// Each kind of that stream once in a random order, briefly, then all again, until the end.
    asio::awaitable<void> run(bool ofProcesses)
    {
        const std::vector<const char *> all =
            ofProcesses
                ? std::vector{"SIGKILL", "SIGKILL to both", "SIGTERM", "SIGSTOP and SIGCONT"}
                : std::vector{"disk full", "database locked", "old state read", "clock ahead",
                              "clock back"};
        Dice dice(world_.seed * 7 + (ofProcesses ? 1 : 2));
        std::vector<const char *> kinds = all;
        for (bool first = true; first || !world_.ending;) {
            const std::size_t which = dice.upTo(kinds.size() - 1);
            const std::string kind = kinds[which];
            kinds.erase(kinds.begin() + static_cast<std::ptrdiff_t>(which));
            const std::size_t server = dice.upTo(world_.serversUsed - 1);
            const std::uint64_t length = 100 + dice.upTo(first ? 600 : 2'400);
            const std::int64_t amount = clockStep(dice);
            const bool beyondPatience = dice.oneIn(4) && !first;
            co_await sleep(300 + dice.upTo(first ? 900 : 4'000));
            ++counts[kind];
            const std::uint64_t longer = beyondPatience ? length + 6'000 : length;
            co_await happen(kind, server, longer, amount);
            if (kinds.empty()) {
                first = false;
                kinds = all;
            }
        }
        ++over;
    }

    std::map<std::string, int> counts;
    int over = 0;

    asio::awaitable<void> sleep(std::uint64_t milliseconds)
    {
        asio::steady_timer timer(world_.context, std::chrono::milliseconds(milliseconds));
        co_await timer.async_wait(asio::use_awaitable);
    }

private:
    static std::int64_t clockStep(Dice &dice)
    {
        static constexpr std::int64_t steps[] = {1, 2, 7, 31, 600, 3'700, 40'000};
        return steps[dice.upTo(std::size(steps) - 1)];
    }

    asio::awaitable<void> happen(std::string kind, std::size_t server, std::uint64_t length,
                                 std::int64_t amount)
    {
        Servers &servers = world_.servers;
        if (kind == "SIGKILL to both") {
            servers.signal(0, SIGKILL);
            servers.signal(1, SIGKILL);
        } else if (kind == "SIGKILL") {
            servers.signal(server, SIGKILL);
        } else if (kind == "SIGTERM") {
            servers.signal(server, SIGTERM);
        } else if (kind == "disk full") {
            servers.setRoom(amount);
            co_await last(length);
            servers.setRoom(-1);
        } else if (kind == "database locked" || kind == "old state read") {
            sqlite3 *neighbour = nullptr; // another program that uses the same file
            sqlite3_open_v2(servers.database().c_str(), &neighbour, SQLITE_OPEN_READWRITE, nullptr);
            const char *begin = kind == "database locked" ? "BEGIN IMMEDIATE"
                                                          : "BEGIN; SELECT count(*) FROM circle";
            while (sqlite3_exec(neighbour, begin, nullptr, nullptr, nullptr) != SQLITE_OK)
                co_await sleep(1);
            co_await last(length);
            sqlite3_close(neighbour);
        } else if (kind == "clock ahead" || kind == "clock back") {
            // Within a day and a half, so that no seat grows old.
            const std::int64_t step = kind == "clock ahead" ? amount : -amount;
            if (std::abs(servers.ahead(server) + step) < 130'000)
                servers.setClock(server, servers.ahead(server) + step);
        } else {
            servers.signal(server, SIGSTOP);
            co_await last(length);
            servers.signal(server, SIGCONT);
        }
    }

    asio::awaitable<void> last(std::uint64_t milliseconds)
    {
        const Moment end = now() + static_cast<Moment>(milliseconds) * 1'000;
        while (now() < end && !world_.ending)
            co_await sleep(20);
    }

    World &world_;
};

struct Plan
{
    std::chrono::seconds duration{10};
    std::size_t clients = 24;
    std::uint64_t seed = 0;
    bool keep = false;
};

class Run
{
public:
    Run(Plan plan, ServerOptions options)
        : plan_(plan)
        , servers_(std::move(options), record_)
        , world_{context_, servers_, record_, plan.seed}
        , trouble_(world_)
    {}

    bool execute()
    {
        for (std::size_t i = 0; i < plan_.clients; ++i)
            clients_.push_back(std::make_unique<Client>(world_, i + 1));
        servers_.start(0);
        start(direct());
        context_.run();
        servers_.stop();
        readRows(servers_.database(), record_);
        const Verdict verdict = check(record_);
        report(verdict);
        return falsify() && verdict.complaints.empty();
    }

private:
    // A failure of any comes out of the context's run().
    void start(asio::awaitable<void> coroutine)
    {
        asio::co_spawn(context_, std::move(coroutine), [](std::exception_ptr failure) {
            if (failure)
                std::rethrow_exception(failure);
        });
    }

    // One server for a quarter of the time, then two on one database.
    asio::awaitable<void> direct()
    {
        start(tend());
        for (const auto &client : clients_) {
            start(live(*client));
            start(watch(*client));
        }
        const auto milliseconds = static_cast<std::uint64_t>(plan_.duration.count()) * 1'000;
        co_await trouble_.sleep(milliseconds / 8);
        start(trouble_.run(false));
        co_await trouble_.sleep(milliseconds / 8);
        servers_.start(1);
        world_.serversUsed = Servers::count;
        start(trouble_.run(true));
        co_await trouble_.sleep(milliseconds * 3 / 4);
        world_.ending = true;
        const Moment patience = now() + 60 * second;
        while ((living_ > 0 || trouble_.over < 2) && now() < patience)
            co_await trouble_.sleep(20);
        world_.quiet = now() + second / 5;
        while (watching_ > 0 && now() < patience)
            co_await trouble_.sleep(20);
        if (living_ > 0 || watching_ > 0)
            record_.complaints.push_back("clients were still without an answer at the end");
        context_.stop();
    }

    asio::awaitable<void> live(Client &client)
    {
        ++living_;
        co_await client.live();
        --living_;
    }

    asio::awaitable<void> watch(Client &client)
    {
        ++watching_;
        co_await client.watch();
        --watching_;
    }

    asio::awaitable<void> tend()
    {
        for (;;) {
            co_await trouble_.sleep(50);
            servers_.tend();
        }
    }

    void report(const Verdict &verdict)
    {
        const auto list = [](const char *title, const auto &counts) {
            std::cout << title << "\n";
            for (const auto &[name, count] : counts)
                std::cout << "    " << name << ": " << count << "\n";
        };
        list("operations", world_.operations);
        list("faults", trouble_.counts);
        std::map<unsigned, std::size_t> statuses;
        for (const SendLog &send : record_.sends)
            ++statuses[send.status];
        list("sends by status (0: none came)", statuses);
        const std::pair<const char *, std::size_t> outcomes[] = {
            {"clients", plan_.clients},
            {"circles", record_.codes.size()},
            {"seats taken", record_.seats.size()},
            {"beams acknowledged", verdict.kept},
            {"refused", verdict.refused},
            {"never arrived as a whole", verdict.cut},
            {"unsure, and kept", verdict.unsureKept},
            {"unsure, and not kept", verdict.unsureGone},
            {"polls", verdict.polls},
            {"deliveries", verdict.deliveries},
            {"looks at sealed capsules", verdict.sealed},
            {"looks at opened capsules", verdict.opened},
            {"dead or foreign keys refused", verdict.refusedKeys},
            {"microseconds from a beam's reply to a waiting poll's, median", verdict.delay(50)},
            {"the same, 99th percentile", verdict.delay(99)},
        };
        list("checked", outcomes);
        for (const std::string &complaint : verdict.complaints)
            std::cout << "WRONG: " << complaint << "\n";
        if (verdict.complaints.empty())
            std::cout << "nothing is wrong\n";
    }

    // A checker that finds nothing wrong has to find what was made wrong.
    bool falsify() const
    {
        bool all = true;
        const std::size_t before = check(record_).complaints.size();
        std::cout << "falsified records:";
        for (const Falsehood &falsehood : falsehoods) {
            Record record = record_;
            const bool applied = falsehood.apply(record, Dice(plan_.seed).upTo(1'000'000));
            const bool noticed = applied && check(record).complaints.size() > before;
            std::cout << " " << falsehood.name << " "
                      << (noticed   ? "noticed"
                          : applied ? "NOT NOTICED"
                                    : "NOT TRIED")
                      << ";";
            all = all && noticed;
        }
        std::cout << std::endl;
        return all;
    }

    Plan plan_;
    Record record_;
    Servers servers_;
    asio::io_context context_{1};
    World world_;
    Trouble trouble_;
    std::vector<std::unique_ptr<Client>> clients_;
    std::size_t living_ = 0;
    std::size_t watching_ = 0;
};

int run(int argc, char **argv)
{
    Plan plan;
    plan.seed = static_cast<std::uint64_t>(now()) % 1'000'000;
    ServerOptions options{KIVOLO_SERVER, KIVOLO_SHIM, {}, {"--hold", "1"}};
    std::int64_t seconds = plan.duration.count();
    CLI::App app("Tries whether the server keeps its promises whatever happens to it.");
    app.add_option("--seconds", seconds, "How long the clients go on");
    app.add_option("--clients", plan.clients, "How many")->check(CLI::Range(2, 200));
    app.add_option("--seed", plan.seed, "Of what clients do and what happens to the server");
    app.add_option("--server", options.program, "Another kivolo-server");
    app.add_flag("--keep", plan.keep, "Leaves the database and the server's log where they are");
    CLI11_PARSE(app, argc, argv);
    plan.duration = std::chrono::seconds(seconds);
    std::signal(SIGPIPE, SIG_IGN);
    std::string folder =
        (std::filesystem::temp_directory_path() / "kivolo-history-XXXXXX").string();
    if (!mkdtemp(folder.data()))
        throw std::runtime_error("no temporary folder");
    options.folder = folder;
    std::cout << "seed " << plan.seed << ", in " << folder << std::endl;
    const bool good = Run(plan, options).execute();
    if (good && !plan.keep)
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
