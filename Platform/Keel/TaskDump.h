#pragma once

#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/Task.h"

namespace Keel {

/// One line: "taskName: N, taskPriority: N, taskStatsName: N".
SRTE_EXPORT void dumpTaskStats(DumpContext& ctx, int indentCount, Task const& task);
/// One line: "taskName: N, taskPriority: N, currentExpirationTime: T", T in seconds of the clock, 0
/// when the task is not scheduled.
SRTE_EXPORT void dumpTaskTimer(DumpContext& ctx, int indentCount, TimerTask const& task);

}  // namespace Keel
