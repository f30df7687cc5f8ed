#pragma once

#include "Platform/Export.h"

namespace Quor {

/// What runs when an assertion fails; a hook that returns is followed by abort(). A simulator may
/// install one that throws past the scheduler (a type that does not derive from std::exception),
/// and then drop its machines as after a crash.
using StopHook = void (*)(char const* text, char const* unit, int line);

/// Installs `hook`, or the default one (message on stderr) for null. Returns the one before.
SRTE_EXPORT StopHook stopHookIs(StopHook hook);

/// Called by the default hook before its message; the trace facility dumps its ring here.
SRTE_EXPORT void beforeStopIs(void (*dump)());

/// Ends in the stop hook and never returns normally. `text` is the fixed text of the assertion.
[[noreturn]] SRTE_EXPORT void assertFail(char const* text, char const* unit, int line);

}  // namespace Quor

/// A programming error stops the agent with `text`.
#define QUOR_ASSERT(condition, text) \
    ((condition) ? static_cast<void>(0) : ::Quor::assertFail((text), __FILE__, __LINE__))
