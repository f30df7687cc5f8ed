#pragma once

#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// The S-BFD sessions, by the names of the lists that they watch: what they run with, and what
/// their peers last said.
void showSbfd(Host const& host, Rows& rows);

}  // namespace Agent
