// A request and what may come of it, without the connection they travel on.
#pragma once

#include "address.h"
#include "budget.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <variant>

namespace kivolo::server::http {

/// But for the body, which may be taken, views into the connection's buffers: valid while the
/// handler runs.
struct Request
{
    std::string_view method;
    std::string_view target; ///< Path and query as they came.
    std::string_view contentType;
    std::string body;
    bool waited = false; ///< It was held before and is to be answered now.
    Address client = {}; ///< Who sent it, where a trusted proxy passed it on.
    bool encrypted = false;
    std::string_view host = {};
    std::string_view version = {}; ///< Of the program, as it says.
    std::string_view ifNoneMatch = {};
    std::string_view range = {};
    std::string_view ifRange = {};
    /// What a large reply's memory is to be taken from before it is made; where there is none, it
    /// need not be.
    Budget *replies = nullptr;

    /// The head of what GET would give is asked for, and no body.
    bool isHead() const { return method == "HEAD"; }
    std::string_view path() const { return target.substr(0, target.find('?')); }
};

/// An open file that closes itself.
class File
{
public:
    File() = default;
    explicit File(int descriptor)
        : descriptor_(descriptor)
    {}
    File(File &&other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1))
    {}
    File &operator=(File &&other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~File()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    int descriptor() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

/// The body is `body` or, where there is one, `fileSize` bytes of `file` from `fileStart` on.
struct Response
{
    unsigned status = 200;
    std::string_view contentType = "application/json"; ///< Static text.
    std::string_view allow = {};                       ///< Static text, with status 405.
    std::chrono::seconds retryAfter{0};                ///< When to try again; 0: not said.
    std::string body = {};
    File file = {};
    std::uint64_t fileStart = 0;
    std::uint64_t fileSize = 0;
    /// What else its head says, each line begun with CRLF; where that is nothing, that the reply is
    /// not to be stored.
    std::string fields = {};
    /// False where the head tells no length: to a HEAD whose body was not made, and where the
    /// asker has the body already.
    bool measured = true;
    Budget::Share room = {};     ///< What was taken for it, if anything was.
    std::string_view limit = {}; ///< Static text: which limit was hit, where one was.
};

constexpr std::string_view busySentence = "Kivolo is very busy just now. Please try again later.";

/// A reply that says in one sentence, for the member, what went wrong.
Response errorResponse(unsigned status, std::string_view sentence);

/// Where there is no memory for more.
Response busyResponse();

/// What became of a request. Of one that was not understood the path is empty.
struct Served
{
    std::string_view path;
    unsigned status = 0;
    std::string_view limit; ///< As in the response.
    /// Until the reply was there, without the time for which it was held.
    std::chrono::nanoseconds took{0};
};

/// Hears what becomes of each, on the thread of the connections.
using Watcher = std::function<void(const Served &)>;

/// The same request is to be handed in again at that time.
struct AgainAt
{
    std::chrono::system_clock::time_point time;
};

/// Where a request waits. Whoever made it has release() called when there is something to tell, on
/// the thread of the connections; it is destroyed when the request waits no longer.
class Place
{
public:
    virtual ~Place() = default;
    void release()
    {
        if (onRelease)
            onRelease();
    }
    std::function<void()> onRelease; ///< Of the connection; destroys nothing at once.
};

/// The same request is to be handed in again when it is released or that time has passed, and then
/// with `waited` set.
struct Held
{
    std::shared_ptr<Place> place;
    std::chrono::milliseconds atMost;
};

struct Ask;
using Answer = std::variant<Response, AgainAt, Held, Ask>;

/// Is asked for the answer on the thread of the connections.
struct Ask
{
    std::function<Answer()> answer;
};

/// Called once, on any thread.
using Reply = std::function<void(Answer)>;

/// Answers a request, on the thread of the connections; where it returns nothing, the answer comes
/// later through the Reply. Throws nothing: a failure is an answer too.
using Handler = std::function<std::optional<Answer>(Request &, Reply)>;

} // namespace kivolo::server::http
