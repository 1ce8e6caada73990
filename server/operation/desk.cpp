#include "desk.h"

namespace kivolo::server {

namespace {

using http::Response;

Response text(unsigned status, std::string body)
{
    Response response;
    response.status = status;
    response.contentType = "text/plain; charset=utf-8";
    response.body = std::move(body);
    return response;
}

void raise(std::atomic<Tick> &latest, Tick tick)
{
    for (Tick before = latest; before < tick && !latest.compare_exchange_weak(before, tick);)
        ;
}

} // namespace

// Looking at every circle is for once; from then on the latest tick is known from what is told.
Desk::Desk(Sources sources)
    : sources_(std::move(sources))
{
    sources_.ledger.read(
        [findings = findings_](LedgerView &ledger) {
            raise(findings->latestTick, ledger.latestTick());
        },
        [](const std::exception_ptr &) {});
    look([](const std::exception_ptr &) {});
}

void Desk::saw(Tick tick)
{
    raise(findings_->latestTick, tick);
}

// A transaction that changes nothing: it waits for its turn and for the lock as every other does.
void Desk::look(Ledger::Done done)
{
    sources_.ledger.write(
        [findings = findings_](LedgerTransaction &ledger, Seconds) {
            const Room room = ledger.room();
            findings->used = room.used;
            findings->free = room.free;
        },
        {}, std::move(done));
}

std::optional<http::Answer> Desk::handle(const http::Request &request, http::Reply later)
{
    if (request.method != "GET" && !request.isHead()) {
        Response response = text(405, "only GET\n");
        response.allow = "GET, HEAD";
        return response;
    }
    if (request.path() == "/healthz")
        return text(200, "live\n");
    if (request.path() == "/metrics")
        return metrics();
    if (request.path() != "/readyz")
        return text(404, "/healthz, /readyz and /metrics are here\n");
    look([findings = findings_, sources = sources_, later = std::move(later)](
             const std::exception_ptr &failure) { later(readiness(*findings, sources, failure)); });
    return std::nullopt;
}

Response Desk::readiness(const Findings &findings, const Sources &sources,
                         const std::exception_ptr &failure)
{
    std::string trouble;
    try {
        if (failure)
            std::rethrow_exception(failure);
        if (findings.free < sources.diskReserve)
            trouble += "disk: " + std::to_string(findings.free >> 20) + " MiB are free, and " +
                       std::to_string(sources.diskReserve >> 20) + " MiB have to stay free\n";
    } catch (const std::exception &error) {
        trouble += std::string("database: ") + error.what() + "\n";
    }
    const Seconds behind = findings.latestTick - wholeSeconds(sources.clock());
    if (behind > 2 * ticksAhead)
        trouble += "clock: it is " + std::to_string(behind) + " seconds behind the latest beam\n";
    return trouble.empty() ? text(200, "ready\n") : text(503, trouble);
}

// Waits for nothing: what is told of the database is what the look before this one has found.
Response Desk::metrics()
{
    look([](const std::exception_ptr &) {});
    Response response = text(200, sources_.metrics({findings_->used, findings_->free}));
    response.contentType = "text/plain; version=0.0.4; charset=utf-8";
    return response;
}

} // namespace kivolo::server
