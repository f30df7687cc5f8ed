#include "Platform/Quor/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Quor {
namespace {

StopHook stopHook = nullptr;
void (*beforeStop)() = nullptr;

}  // namespace

StopHook stopHookIs(StopHook hook) {
    auto const before = stopHook;
    stopHook = hook;
    return before;
}

void beforeStopIs(void (*dump)()) {
    beforeStop = dump;
}

void assertFail(char const* text, char const* unit, int line) {
    if (stopHook) {
        stopHook(text, unit, line);
    } else {
        if (beforeStop) beforeStop();
        std::fprintf(stderr, "%s:%d: %s\n", unit, line, text);
    }
    std::abort();
}

}  // namespace Quor
