// How a rule says no.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

namespace kivolo::server {

/// A request that the rules turn down. The sentence is shown to the member as it stands.
class Refusal : public std::runtime_error
{
public:
    enum class Reason { Invalid, Forbidden, NotFound, Conflict, TooLarge, TooMany, NoRoom, Busy };

    /// `retryAfter` is for what is TooMany: when the same request would be accepted.
    Refusal(Reason reason, const std::string &sentence, std::chrono::seconds retryAfter = {})
        : std::runtime_error(sentence)
        , reason_(reason)
        , retryAfter_(retryAfter)
    {}
    Reason reason() const { return reason_; }
    std::chrono::seconds retryAfter() const { return retryAfter_; }

private:
    Reason reason_;
    std::chrono::seconds retryAfter_;
};

/// A request that names a secret that does not exist, as one who guesses would.
class Miss : public Refusal
{
public:
    using Refusal::Refusal;
};

/// The database cannot serve just now: locked, full, damaged. Its text is for the operator's log
/// and holds no value of a request.
class LedgerUnavailable : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace kivolo::server
