// How a rule says no.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kivolo::server {

/// A request that the rules turn down. The sentence is shown to the member as it stands.
class Refusal : public std::runtime_error
{
public:
    enum class Reason { Invalid, Forbidden, NotFound, Conflict, TooLarge, TooMany, NoRoom, Busy };

    /// `retryAfter` is for what is TooMany: when the same request would be accepted. `limit` is
    /// static text that names for the operator which limit was hit, where one was.
    Refusal(Reason reason, const std::string &sentence, std::chrono::seconds retryAfter = {},
            std::string_view limit = {})
        : std::runtime_error(sentence)
        , reason_(reason)
        , retryAfter_(retryAfter)
        , limit_(limit)
    {}
    Reason reason() const { return reason_; }
    std::chrono::seconds retryAfter() const { return retryAfter_; }
    std::string_view limit() const { return limit_; }

private:
    Reason reason_;
    std::chrono::seconds retryAfter_;
    std::string_view limit_;
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

/// The database failed while it was keeping what was asked for: that may be there or not.
class LedgerUnsure : public LedgerUnavailable
{
public:
    using LedgerUnavailable::LedgerUnavailable;
};

} // namespace kivolo::server
