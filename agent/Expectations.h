#pragma once

#include <string>
#include <vector>

#include "agent/Host.h"
#include "agent/PresenceLog.h"
#include "agent/ShowRows.h"

namespace Agent {

/// One thing that an expectation names and that is not so.
struct Mismatch {
    Mark mark;         ///< of what was expected
    std::string at;    ///< the time, or the window
    std::string what;  ///< "policy 100 192.0.2.5 active"
    std::string expected;
    std::string found;
};

/// Where `found` (null when there is nothing) does not match `expected`: objects by the members
/// that are expected, scalars by their text, arrays as a whole; null says that there must be
/// nothing.
void compare(Node const& expected, Json const* found, Mismatch const& place,
             std::vector<Mismatch>& mismatches);

/// Whether an expectation whose time has come holds: what does not, or nothing.
std::vector<Mismatch> judge(Expectation const& expectation, Host const& host,
                            PresenceLog const& presence);

}  // namespace Agent
