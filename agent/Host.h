#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "Platform/Keel/Clock.h"
#include "Platform/Keel/Task.h"
#include "agent/FilePolicies.h"
#include "agent/Machines.h"
#include "agent/Scenario.h"
#include "agent/SessionReports.h"
#include "agent/SyslogRecords.h"
#include "agent/Tables.h"
#include "agent/TrafficCounters.h"
#include "agent/Writer.h"

namespace Agent {

/// The router of a scenario: its tables, the agent when it is running, and a clock that only moves
/// when nothing else is left to do. One at a time, as the library's clock and sinks are the
/// process's.
class Host {
public:
    /// `scenario` outlives the host.
    explicit Host(Scenario const& scenario);
    Host(Host const&) = delete;
    Host& operator=(Host const&) = delete;
    ~Host();

    /// Fills the tables from the scenario's start, then starts the agent.
    void begin();
    /// An event of the scenario, with all that follows from it without the clock moving.
    void apply(Step const& event);
    /// Runs what is due up to `time`, that time included.
    void advanceTo(Time time);

    /// `settled` hears of every moment at which nothing can run without the clock moving.
    void settledIs(std::function<void()> settled) { settled_ = std::move(settled); }

    Scenario const& scenario() const { return scenario_; }
    Time now() const { return now_; }
    Tables const& tables() const { return tables_; }
    /// Null while the agent is stopped.
    Machines const* machines() const { return machines_.get(); }
    FilePolicies const& filePolicies() const { return filePolicies_; }
    SyslogRecords const& syslog() const { return syslog_; }

private:
    struct ActivityClock {
        ActivityClock() { Keel::activityClockIs(&clock); }
        ~ActivityClock() { Keel::activityClockIs(nullptr); }
        Keel::VirtualClock clock;
    };

    void write(Step const& step);
    void start();
    void stop();
    void settle();

    Scenario const& scenario_;
    std::function<void()> settled_ = [] {};
    ActivityClock activityClock_;
    Quor::Ptr<Keel::TaskScheduler> const scheduler_;
    SyslogRecords syslog_;
    Tables const tables_;
    Writer const writer_{tables_};
    FilePolicies filePolicies_;
    SessionReports sessionReports_{tables_, filePolicies_};
    TrafficCounters trafficCounters_{tables_, filePolicies_};
    std::unique_ptr<Machines> machines_;
    Time now_{0};
};

}  // namespace Agent
