// How a reply goes out.
#include "head.h"
#include "session.h"

#include <algorithm>
#include <cstdint>
#include <spdlog/spdlog.h>
#include <sys/mman.h>

namespace kivolo::server::http {

namespace {

// Takes a fraction of a millisecond, encryption included.
constexpr std::size_t chunkBytes = 64 << 10;
// Goes out with the head, in one packet.
constexpr std::size_t smallBody = 4 << 10;

/// Gives the pages back that end in that part of the body, which nobody looks at again.
void dropPages(std::string &body, std::size_t from, std::size_t to)
{
    static const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const auto start = reinterpret_cast<std::uintptr_t>(body.data());
    const std::uintptr_t first = (start + page - 1) / page * page;
    const std::uintptr_t begin = std::max(first, (start + from) / page * page);
    const std::uintptr_t end = (start + to) / page * page;
    if (begin < end)
        ::madvise(body.data() + (begin - start), end - begin, MADV_DONTNEED);
}

} // namespace

Awaitable<bool> Session::send(Response response, bool withBody, bool keepAlive)
{
    if (!keepReply(response)) {
        spdlog::warn("too much is being sent already for a reply of {} bytes",
                     response.body.size());
        response = busyResponse();
    }
    hub_->watcher()(
        {path_, response.status, response.limit,
         path_.empty() ? std::chrono::nanoseconds(0) : std::chrono::steady_clock::now() - asked_});
    enter(Phase::Writing, hub_->limits().reply);
    replySlack_ = deadline_;
    replied_ = 0;
    std::string head = headOf(response, keepAlive, hub_->date());
    std::string_view body = withBody ? std::string_view(response.body) : std::string_view();
    if (body.size() <= smallBody)
        head += std::exchange(body, {});
    // Nearly every reply fits into the socket's buffer and is gone with this one call.
    const auto [error, count] = stream_.writeSome(head);
    if (error && error != asio::error::would_block)
        co_return false;
    const std::string_view rest = std::string_view(head).substr(count);
    bool sent = rest.empty();
    if (!sent)
        sent = co_await write(rest);
    if (sent && !body.empty())
        sent = co_await writeBody(response);
    if (sent && response.file && withBody)
        sent = co_await writeFile(response);
    co_return sent;
}

// What is small is what every connection has room for.
bool Session::keepReply(Response &response)
{
    const std::size_t bytes = response.file ? chunkBytes : response.body.size();
    if (response.room.bytes() > 0 || bytes <= smallBody)
        return true;
    std::optional<Budget::Share> share = hub_->replies().take(client_, bytes);
    if (share)
        response.room = std::move(*share);
    return share.has_value();
}

Awaitable<bool> Session::write(std::string_view bytes)
{
    // What lies in the peer's own buffer looks like speed, so he has to go on as well.
    deadline_ =
        std::min(replySlack_ + hub_->ticksFor(replied_), hub_->deadlineAfter(hub_->limits().reply));
    for (;;) {
        const auto [error, count] = stream_.writeSome(bytes);
        bytes.remove_prefix(count);
        replied_ += count;
        if (bytes.empty())
            co_return true;
        if (!error)
            continue;
        if (error != asio::error::would_block)
            co_return false;
        const error_code failure = co_await stream_.writable();
        if (failure)
            co_return false;
    }
}

// Keeps no more than what is still to be written. That also spreads the work of freeing it, which
// would take milliseconds at the end.
Awaitable<bool> Session::writeBody(Response &response)
{
    std::string &body = response.body;
    for (std::size_t done = 0; done < body.size();) {
        const std::string_view chunk = std::string_view(body).substr(done, chunkBytes);
        const bool written = co_await write(chunk);
        if (!written)
            co_return false;
        dropPages(body, done, done + chunk.size());
        done += chunk.size();
        response.room.shrinkTo(std::min(response.room.bytes(), body.size() - done));
        // A peer that reads as fast as this writes would never let anybody else in.
        if (done < body.size())
            co_await letOthersGoFirst();
    }
    co_return true;
}

Awaitable<bool> Session::writeFile(const Response &response)
{
    std::string chunk(chunkBytes, '\0');
    std::uint64_t at = response.fileStart;
    for (std::uint64_t left = response.fileSize; left > 0;) {
        const std::size_t wanted = std::min<std::uint64_t>(left, chunk.size());
        const ssize_t count =
            ::pread(response.file.descriptor(), chunk.data(), wanted, static_cast<off_t>(at));
        // A file that became shorter meanwhile: only an early end tells the client.
        if (count <= 0)
            co_return false;
        const auto size = static_cast<std::size_t>(count);
        const std::string_view bytes = std::string_view(chunk).substr(0, size);
        const bool sent = co_await write(bytes);
        if (!sent)
            co_return false;
        at += size;
        left -= size;
        if (left > 0)
            co_await letOthersGoFirst();
    }
    co_return true;
}

} // namespace kivolo::server::http
