#pragma once

#include <optional>

#include "agent/Host.h"

namespace Agent {

/// Who watches a scenario happen.
class Spectator {
public:
    virtual ~Spectator() = default;
    /// Before an event is applied.
    virtual void eventComes(Step const& event) = 0;
    /// A time that the scenario names has come, everything has come to rest, and the events of the
    /// time are still to come.
    virtual void momentCame() = 0;
};

/// Lets the scenario of `host` happen: up to the moment before the events of `until`, or to its
/// end, the events of that time included. `spectator` may be null.
void play(Host& host, std::optional<Time> until, Spectator* spectator = nullptr);

}  // namespace Agent
