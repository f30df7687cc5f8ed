#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Keel/Clock.h"
#include "Platform/Keel/Task.h"
#include "agent/Machines.h"
#include "agent/Scenario.h"
#include "agent/SyslogRecords.h"
#include "agent/Tables.h"
#include "agent/Writer.h"
#include "tests/sim/TableWalk.h"
#include "tests/support/Watch.h"

namespace Sim {

inline double seconds(Agent::Time time) {
    return std::chrono::duration<double>(time).count();
}

/// What the world has just done when it tells of it.
enum class Did {
    wrote,    ///< inputs, and the handlers that they woke
    began,    ///< a run of the agent: its machines exist, none has started
    started,  ///< a step of the start
    ran,      ///< a task, once
    idled,    ///< nothing: there is nothing left to do until the clock moves
    crashed,
    stopped
};

/// The router of a run: the host's own tables, wiring, start and stop over a virtual clock, driven
/// one step at a time. A failed assertion of the library becomes a `Violation`. One at a time, as
/// the library's clock and hooks are the process's.
class World {
public:
    World();
    World(World const&) = delete;
    World& operator=(World const&) = delete;
    ~World();

    /// Hears of everything that is done, and may throw.
    void toldIs(std::function<void(Did)> told) { told_ = std::move(told); }

    /// Writes what the step says, and lets the agent live or die as it says; runs nothing else.
    void apply(Agent::Step const& step);
    /// For whoever writes to the inputs beside `apply`.
    void toldOfWrite() { tell(Did::wrote); }
    void crash();
    void start();
    void stop();
    /// A task yields after so many keys.
    void yieldAfterIs(std::optional<std::uint64_t> count);
    std::optional<std::uint64_t> yieldAfter() const { return yieldAfter_; }

    /// Runs one task, or takes a step of the start. False when the clock has to move first.
    bool runOne();
    void settle();
    /// Moves the clock; on the way what comes due is run, by `settle` or in the way given.
    void advance(Agent::Time duration) {
        advance(duration, [this] { settle(); });
    }
    void advance(Agent::Time duration, std::function<void()> const& settled);

    bool clogged() const { return tables_.fieldlog->outputClogged(); }
    /// Started, with nothing left to do but to wait for events, and for the counters of tunnels
    /// that nobody uses.
    bool atRest() const;
    /// Whether the tunnel map may look at counters again when time goes by.
    bool mayPoll() const;
    /// By a valid candidate, of `key` if that is given.
    bool isUsed(Tunnel::TunnelTable::TunnelId tunnelId,
                std::optional<SrTePolicy::PolicyKey> const& key = std::nullopt) const;
    /// When the next task that waits for the clock is due.
    std::optional<Agent::Time> nextExpiration() const;

    Agent::Time now() const { return now_; }
    Agent::Tables const& tables() const { return tables_; }
    /// Null while the agent is down.
    Agent::Machines const* machines() const { return machines_.get(); }
    Agent::SyslogRecords const& syslog() const { return syslog_; }

    /// For whoever spoils rows that the agent left, while it is down. Until the agent is at rest
    /// again little holds.
    Agent::SurvivingTables const& tablesToDamage();
    bool damaged() const { return damaged_; }

private:
    struct ActivityClock {
        ActivityClock() { Keel::activityClockIs(&clock); }
        ~ActivityClock() { Keel::activityClockIs(nullptr); }
        Keel::VirtualClock clock;
    };

    void tell(Did did) { told_(did); }
    void nowIs(Agent::Time now);

    std::function<void(Did)> told_ = [](Did) {};
    ActivityClock activityClock_;
    Quor::Ptr<Keel::TaskScheduler> const scheduler_;
    Agent::SyslogRecords syslog_;
    Agent::Tables const tables_;
    Agent::Writer const writer_{tables_};
    std::unique_ptr<Agent::Machines> machines_;
    Agent::Time now_{0};
    std::optional<std::uint64_t> yieldAfter_;
    bool damaged_ = false;
    // As BFD does: a peer is forgotten with its session.
    Watch<Bfd::AppPeer> const sessionWatch_;
};

}  // namespace Sim
