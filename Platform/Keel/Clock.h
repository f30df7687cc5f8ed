#pragma once

#include "Platform/Export.h"

namespace Keel {

/// Where the agent reads the time. Both values are seconds.
class SRTE_EXPORT Clock {
public:
    Clock() = default;
    Clock(Clock const&) = delete;
    Clock& operator=(Clock const&) = delete;
    /// A clock that goes away is no longer the activity clock.
    virtual ~Clock();

    /// Never goes back; its zero has no meaning.
    virtual double now() const = 0;
    /// The time of day, counted from 1970-01-01 00:00:00 UTC.
    virtual double systemTime() const = 0;
};

/// The clocks of the operating system.
class SRTE_EXPORT RealClock final : public Clock {
public:
    double now() const override;
    double systemTime() const override;
};

/// A clock that stands still until it is told to move; it starts at 0.
class SRTE_EXPORT VirtualClock final : public Clock {
public:
    double now() const override { return now_; }
    double systemTime() const override { return now_ + systemTimeOffset_; }

    /// Going back is a programming error.
    void nowIs(double now);
    void advance(double seconds) { nowIs(now_ + seconds); }
    /// What the system clock shows while `now` is 0.
    void systemTimeOffsetIs(double offset) { systemTimeOffset_ = offset; }

private:
    double now_ = 0;
    double systemTimeOffset_ = 0;
};

/// The one clock of the process: it stamps traces, spaces syslog messages and times the hold-back
/// of identifiers. The real clock unless the agent chose another one.
SRTE_EXPORT Clock const& activityClock();
/// Null is the real clock. `clock` is not owned.
SRTE_EXPORT void activityClockIs(Clock const* clock);

}  // namespace Keel
