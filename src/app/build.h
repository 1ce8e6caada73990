// What this program was built from.
#pragma once

namespace kivolo {

/// The version and, where it is known, the commit, as in "1.2.3 (275736e)"; "275736e+" with changes
/// that are in no commit.
extern const char *const build;

} // namespace kivolo
