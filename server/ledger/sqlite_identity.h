// How a ledger's SQLite file is known.
#pragma once

namespace kivolo::server {

/// "Kivo", in the place that SQLite keeps for telling programs' files apart.
constexpr int applicationId = 0x4b69766f;
constexpr int schemaVersion = 9;

} // namespace kivolo::server
