#include "Platform/Keel/TaskDump.h"

namespace Keel {
namespace {

unsigned priorityNumber(Task const& task) {
    return static_cast<unsigned>(task.priority());
}

}  // namespace

void dumpTaskStats(DumpContext& ctx, int indentCount, Task const& task) {
    ctx.print("%*ctaskName: %s, taskPriority: %u, taskStatsName: %s\n", indentCount, ' ',
              task.name().c_str(), priorityNumber(task), task.statsName().c_str());
}

void dumpTaskTimer(DumpContext& ctx, int indentCount, TimerTask const& task) {
    ctx.print("%*ctaskName: %s, taskPriority: %u, currentExpirationTime: %f\n", indentCount, ' ',
              task.name().c_str(), priorityNumber(task), task.currentExpirationTime());
}

}  // namespace Keel
