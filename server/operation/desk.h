// What the server tells those who look after it.
#pragma once

#include "http/message.h"
#include "ledger/ledger.h"

#include <atomic>
#include <memory>

namespace kivolo::server {

/// Answers on the operator's own address: whether the server lives, whether it can do what it is
/// there for, and what it does in numbers. On the thread of the connections.
class Desk
{
public:
    /// What it looks at, and lets live longer.
    struct Sources
    {
        Ledger &ledger;
        Clock clock;
        std::int64_t diskReserve = 0;
        std::function<std::string(const Room &)> metrics; ///< As Prometheus reads them.
    };
    explicit Desk(Sources sources);

    std::optional<http::Answer> handle(const http::Request &request, http::Reply later);

    /// A beam of that tick has been committed.
    void saw(Tick tick);

private:
    /// What the last look at the database has found. The desk may be gone before that answers.
    struct Findings
    {
        std::atomic<std::int64_t> used = 0, free = 0;
        std::atomic<Tick> latestTick = 0;
    };
    void look(Ledger::Done done);
    static http::Response readiness(const Findings &findings, const Sources &sources,
                                    const std::exception_ptr &failure);
    http::Response metrics();

    Sources sources_;
    std::shared_ptr<Findings> findings_ = std::make_shared<Findings>();
};

} // namespace kivolo::server
