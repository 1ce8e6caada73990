// How the processes on one PostgreSQL tell each other what they have committed.
#pragma once

#include "ledger.h"
#include "postgres_queries.h"
#include "postgres_session.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace kivolo::server {

/// Notifications are sent after the commit, a few milliseconds' together, in a transaction of their
/// own: those that send any wait for each other. Whether they arrive is tried again and again. As
/// long as they do not, the circles that somebody waits for are looked at several times a second;
/// otherwise every few seconds, for what a process could not tell any more. Callable from any
/// thread.
class PostgresWakeups
{
public:
    /// The address outlives this.
    PostgresWakeups(const PostgresAddress &address, PostgresWatchdog &watchdog,
                    const LedgerSettings &settings);
    PostgresWakeups(const PostgresWakeups &) = delete;
    PostgresWakeups &operator=(const PostgresWakeups &) = delete;
    ~PostgresWakeups();

    void watch(Ledger::Observer observer);

    /// It has been committed by this process.
    void tell(std::vector<Change> changes);

private:
    using Time = std::chrono::steady_clock::time_point;

    /// A connection, and what is known of it.
    struct Line
    {
        Line(const PostgresAddress &address, std::chrono::milliseconds patience,
             PostgresWatchdog &watchdog);
        PostgresConnection connection;
        std::optional<sql::Select<PostgresConnection, sql::CirclesNow>> circlesNow;
        Time nextTest{}, heard{};
    };

    /// What is put there for the thread. Outlives this where somebody still answers.
    struct Inbox
    {
        Inbox();
        Inbox(const Inbox &) = delete;
        Inbox &operator=(const Inbox &) = delete;
        ~Inbox();
        void wake() const;

        const int wakeUp; ///< A descriptor that can be read when there is something.
        std::mutex mutex;
        std::vector<Change> untold;
        std::optional<std::vector<Ledger::Waiting>> waiting;
        Ledger::Observer observer;
    };

    void work(const std::stop_token &stop);
    Time turn();
    void listen();
    void send(Time now);
    void hear();
    void look(Time now);
    void examine(const std::vector<Ledger::Waiting> &waiting);

    const PostgresAddress &address_;
    PostgresWatchdog &watchdog_;
    std::chrono::milliseconds patience_;
    std::chrono::milliseconds lookInterval_;
    std::atomic<bool> notify_; ///< Until the database refuses it.

    std::shared_ptr<Inbox> inbox_ = std::make_shared<Inbox>();

    // Of the thread alone.
    Ledger::Observer hears_;
    std::optional<Line> line_;
    Time nextSending_{}, earliestSending_{}, nextLook_{};
    std::jthread thread_;
};

} // namespace kivolo::server
