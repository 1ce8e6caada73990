// How a reply goes out.
#include "head.h"
#include "session.h"

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <spdlog/spdlog.h>

namespace kivolo::server::http {

namespace {

// Takes well below a millisecond, encryption included.
constexpr std::size_t chunkBytes = 256 << 10;
constexpr std::size_t fileChunk = 64 << 10;
// Goes out with the head, in one packet.
constexpr std::size_t smallBody = 4 << 10;

} // namespace

Awaitable<bool> Session::send(Response response, bool withBody, bool keepAlive)
{
    if (!keepReply(response)) {
        spdlog::warn("too much is being sent already for a reply of {} bytes",
                     response.body.size());
        response = errorResponse(503, busySentence);
    }
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
    const std::array<std::string_view, 2> parts{std::string_view(head).substr(count), body};
    for (const std::string_view part : parts) {
        if (part.empty())
            continue;
        const bool sent = co_await write(part);
        if (!sent)
            co_return false;
    }
    if (!response.file || !withBody)
        co_return true;
    const bool sent = co_await writeFile(response);
    co_return sent;
}

// What is small is what every connection has room for.
bool Session::keepReply(Response &response)
{
    const std::size_t bytes = response.file ? fileChunk : response.body.size();
    if (response.room.bytes() > 0 || bytes <= smallBody)
        return true;
    std::optional<Budget::Share> share = hub_->replies().take(client_, bytes);
    if (share)
        response.room = std::move(*share);
    return share.has_value();
}

Awaitable<bool> Session::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::string_view chunk = bytes.substr(0, chunkBytes);
        // What lies in the peer's own buffer looks like speed, so he has to go on as well.
        deadline_ = std::min(replySlack_ + hub_->ticksFor(replied_),
                             hub_->deadlineAfter(hub_->limits().reply));
        const bool written = co_await writeChunk(chunk);
        if (!written)
            co_return false;
        bytes.remove_prefix(chunk.size());
        replied_ += chunk.size();
        // A peer that reads as fast as this writes would never let anybody else in.
        if (!bytes.empty())
            co_await asio::post(stream_.executor(), awaited);
    }
    co_return true;
}

Awaitable<bool> Session::writeChunk(std::string_view bytes)
{
    for (;;) {
        const auto [error, count] = stream_.writeSome(bytes);
        bytes.remove_prefix(count);
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

Awaitable<bool> Session::writeFile(const Response &response)
{
    std::string chunk(fileChunk, '\0');
    for (std::uint64_t left = response.fileSize; left > 0;) {
        const std::size_t wanted = std::min<std::uint64_t>(left, chunk.size());
        const ssize_t count = ::read(response.file.descriptor(), chunk.data(), wanted);
        // A file that became shorter meanwhile: only an early end tells the client.
        if (count <= 0)
            co_return false;
        const auto size = static_cast<std::size_t>(count);
        const std::string_view bytes = std::string_view(chunk).substr(0, size);
        const bool sent = co_await write(bytes);
        if (!sent)
            co_return false;
        left -= size;
        if (left > 0)
            co_await asio::post(stream_.executor(), awaited);
    }
    co_return true;
}

} // namespace kivolo::server::http
