// A whole server without sockets, on a clock of its own; one with sockets, and a plain client.
#pragma once

#include "http/server.h"
#include "records/refusal.h"
#include "routes/routes.h"

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/json/value.hpp>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <future>
#include <mutex>

namespace kivolo::server::test {

class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();
    std::filesystem::path operator/(const char *name) const { return path_ / name; }
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Stands still until it is moved. May be read from any thread.
class ManualClock
{
public:
    Seconds now() const { return now_; }
    void advance(Seconds seconds) { now_ += seconds; }
    Clock clock() const;
    Holds::Clock steadyClock() const;

private:
    std::atomic<Seconds> now_{1'800'000'000};
};

struct Told
{
    unsigned status = 0;
    boost::json::value body;
    std::optional<Seconds> againAt;

    const boost::json::array &beams() const { return body.at("beams").as_array(); }
    std::string text(std::string_view key) const;
    std::string allow;
    std::chrono::seconds retryAfter{0};
};

/// Which engine this run of the tests is for.
extern bool onPostgres;

/// A new database of that engine, which is in the folder where it is a file.
std::string newDatabase(const TemporaryFolder &folder);

/// How many looks the engine takes at a time.
int readerCount();

/// Everything behind the sockets, on a database of its own.
struct House
{
    explicit House(Circles::Settings settings = {}, std::function<void()> beforeCommit = {},
                   std::chrono::milliseconds hold = {}, double rates = 1e6,
                   std::function<std::int64_t()> freeSpace = {});

    Told call(std::string_view method, std::string_view target, std::string_view body = {},
              std::string_view contentType = "application/json");
    Told post(std::string_view target, const boost::json::object &body);

    Told newCircle();
    /// Joins and expects it to succeed.
    Told join(const std::string &code, const std::string &device,
              const std::string &handle = "Ana");
    Told sendText(const Told &membership, const std::string &text, boost::json::object more = {});
    Told poll(const Told &membership, Seconds since);

    http::Address client; ///< From where the calls come.
    TemporaryFolder folder;
    const std::string database = newDatabase(folder);
    ManualClock time;
    ManualClock steadyTime; ///< Of the throttle, for what never goes backwards.
    std::unique_ptr<Ledger> ledger;
    Site site;
    Circles circles;
    Holds holds;
    Throttle throttle;
    Routes routes;
    boost::asio::thread_pool workers{1}; ///< Last, so that it ends before what it works for.
};

/// A house with a circle of two.
struct Pair : House
{
    using House::House;
    const std::string code = newCircle().text("code");
    const Told ana = join(code, "a"), ben = join(code, "b");
};

/// What a call tells that takes a Done for its last argument, once it has.
template<typename Result, typename Call>
Result outcomeOf(Call &&call)
{
    std::promise<Outcome<Result>> outcome;
    call(Done<Result>([&](Outcome<Result> told) { outcome.set_value(std::move(told)); }));
    return outcome.get_future().get().take();
}

/// A second process on the same database.
struct Neighbour
{
    explicit Neighbour(House &house, LedgerSettings settings = {})
        : ledger(openLedger(house.database, house.time.clock(), std::move(settings)))
        , circles(*ledger, house.time.clock(), systemRandomness, {})
    {}
    std::unique_ptr<Ledger> ledger;
    Circles circles;
};

/// What a ledger's observer hears.
class Heard
{
public:
    Ledger::Observer observer()
    {
        return {[this](const Change &change) {
                    const std::lock_guard lock(mutex_);
                    changes_.push_back(change);
                    changed_.notify_all();
                },
                [] { return true; }};
    }
    /// Waits until there is one.
    Change next()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !changes_.empty(); });
        const Change change = changes_.front();
        changes_.pop_front();
        return change;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Change> changes_;
};

BeamRequest textFrom(const Told &member, std::string text = "x");
/// Sends through whichever process and gives back the beam's id.
std::string sendThrough(Circles &circles, const Told &member);
/// Polls as the routes do it: without waiting where that is possible.
Poll pollThrough(Circles &circles, const Told &member, Tick since);

/// The `since` of the poll after the one with that reply, as clients ask for it.
Tick nextSince(const Told &poll);

/// Waits until the ledger's writer has done everything that was asked before.
void settle(Ledger &ledger);

/// Listens with sockets, on a thread of its own. Stops with this object.
class Serving
{
public:
    explicit Serving(http::Handler handler, http::Limits limits = {});
    ~Serving() { stop(); }
    /// Does that on the server's thread and waits for what comes of it.
    template<typename Action>
    auto onThread(Action action)
    {
        std::packaged_task<decltype(action())()> task(std::move(action));
        auto outcome = task.get_future();
        boost::asio::post(*context, [task = std::move(task)]() mutable { task(); });
        return outcome.get();
    }
    std::string listen(const std::string &address = "127.0.0.1:0");
    /// Without waiting for it.
    void stop();

    std::shared_ptr<boost::asio::io_context> context = std::make_shared<boost::asio::io_context>();
    http::Server server;

private:
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;

public:
    std::future<void> end; ///< Of the thread. Last, so that it ends before what it works for.
};

std::uint16_t portOf(const std::string &address);

/// A connection to a port of this machine.
class Connection
{
public:
    /// Connects from one of this machine's many addresses and sends.
    Connection(std::uint16_t port, std::string_view bytes, const char *from = "127.0.0.1");
    void send(std::string_view bytes);
    /// What comes until it ends like that, is that long, or the peer closes.
    std::string read(std::string_view end = {}, std::size_t most = SIZE_MAX);
    /// What has already come, without waiting for more.
    std::string readWhatIsThere();

private:
    boost::asio::ip::tcp::socket socket_;
};

/// Sends bytes to a port of this machine and reads until the peer closes.
std::string talk(std::uint16_t port, std::string_view bytes, const char *from = "127.0.0.1");
std::string httpGet(std::string_view target);
std::string httpPost(std::string_view target, const boost::json::object &body);

/// As in "200 404".
std::string statusesOf(std::string_view replies);

} // namespace kivolo::server::test
