// A database in the hands of one command.
#pragma once

#include "carry.h"

#include <memory>
#include <string>

namespace kivolo::server {

/// No server uses the database meanwhile, as far as that can be seen, and none begins to; what is
/// done is done in one transaction, which is undone unless it is committed.
class SoleUse
{
public:
    /// Of `sqlite:PATH` or `postgresql://...`; makes its tables where they are missing. Throws
    /// std::runtime_error with a sentence for the operator.
    static std::unique_ptr<SoleUse> of(const std::string &database);

    virtual ~SoleUse() = default;
    virtual Side side() = 0;
    virtual void commit() = 0;
};

/// Does what asks databases through SOCI. Its errors, which quote what members have written, become
/// LedgerUnavailable with a sentence.
void withoutQuotes(const std::function<void()> &action);

} // namespace kivolo::server
