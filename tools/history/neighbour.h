// Another program that uses the servers' database.
#pragma once

#include "record.h"

#include <soci/soci.h>

namespace kivolo::server::history {

/// `database`: as kivolo-server takes it.
bool isFile(const std::string &database);

/// Throws soci::soci_error, also where it is locked or away.
class Neighbour
{
public:
    explicit Neighbour(const std::string &database);

    void run(const std::string &sql) { session_ << sql; }
    /// The beams of all circles. Where it can be tried, complains of damage.
    void readRows(Record &record);

private:
    bool isFile_;
    soci::session session_;
};

} // namespace kivolo::server::history
