#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/sim/AgainstModel.h"
#include "tests/sim/Journal.h"
#include "tests/sim/World.h"

namespace Sim {

/// What holds of the tables whenever no task is running, also while the agent is down, unless rows
/// were damaged. Looks at what was written in the last step alone.
void tablesAreSound(Agent::Tables const& tables, Journal const& journal);
/// Likewise of what the machines of gRIBI and S-BFD write, from their start on.
void servicesAreSound(World const& world, Journal const& journal);
/// Holds of an agent that was stopped, and of one at rest without a candidate and without gRIBI.
void nothingIsLeft(Agent::Tables const& tables, Agent::RunTables const& run);
/// Likewise of what the machines keep to themselves, as far as their dumps tell.
void nothingIsRemembered(Agent::Machines const& machines);

/// Everything that must hold of a world at each of its steps, and at each rest. Hears of the steps
/// by itself; to be made before anything happens. Each function that checks throws the `Violation`
/// that it is named after.
class Invariants {
public:
    explicit Invariants(World& world);

    Journal& journal() { return journal_; }
    /// How often the tables were compared with the model.
    std::uint64_t comparisons() const { return model_.comparisons(); }

private:
    using Key = SrTePolicy::PolicyKey;
    using Time = Agent::Time;
    using FecId = Pooltab::Fib::FecId;

    void handle(Did did);
    void prepare(Did did);
    void check(Did did);
    void agentBegan();
    bool rowsAwaitThePoll() const;
    void rested();
    std::map<Wirex::MplsLabel, Key> holders() const;

    void everyViaLeadsIntoATunnelSoon(Did did);
    void fecNumbersAreTheLowestFree(Did did);
    std::uint64_t lowestFreeFec();
    void aHolderIsNotDisplaced();
    void whatCarriesTrafficIsKept() const;
    void whatStaysIsNotWithdrawn();
    void aClogHoldsTasksBack();
    void whoWaitsComesBackInATenth();
    void timesMoveWithTheirCause();
    void anUnchangedRestartWritesNothing() const;
    void workEnds(Did did);

    // Inside writes.
    void watchOutputs();
    void watchInputs();
    void watchSource(SrTePolicy::Protocol protocol);
    void receivedAll(SrTePolicy::Protocol protocol);
    void listAdded(SrTePolicy::SegmentListId id);
    SrTePolicy::SegmentListId largestNamedList() const;
    void ownerWritten(Tunnel::TunnelTable::TunnelId id, Key const& before,
                      SrTePolicy::TunnelIdToPolicyKeyEntry const* now);
    void listStatusWritten(SrTePolicy::SegmentListId id);
    void entryWritten(SrTePolicy::PolicyIdEntry const* before,
                      SrTePolicy::PolicyIdEntry const* now);
    void statusWritten(SrTePolicy::PolicyStatusEntry const* before,
                       SrTePolicy::PolicyStatusEntry const* now);
    void fecOrRouteGone(auto const& isOf);
    void wishWritten(SrTePolicy::PolicyIdEntry const& entry);
    void usabilityWritten();
    bool carriesTraffic(Key const& key, Wirex::MplsLabel bindingSid) const;
    bool isUsable(Key const& key, SrTePolicy::SegmentListId id) const;

    World& world_;
    Journal journal_;
    AgainstModel model_;
    Watches watches_;
    std::map<SrTePolicy::Protocol, Watches> sourceWatches_;
    std::string failure_;  // found inside a notification; thrown after the step

    std::optional<std::uint64_t> unchangedSince_;  // the writes at a crash out of rest
    std::uint64_t writesAtRest_ = 0;
    bool atRest_ = false;
    std::uint64_t inputWrites_ = 0;  // since the last rest
    bool withdraws_ = false;         // for another reason than an input
    std::uint64_t runsAtOnce_ = 0;
    std::optional<std::uint64_t> yieldAfter_;
    std::set<Time> cloggedRuns_;
    std::set<Time> times_;  // at which anything happened, in the last second

    std::map<std::pair<FecId, Tunnel::TunnelTable::TunnelId>, std::uint64_t> gaps_;
    std::map<Wirex::MplsLabel, Key> holders_;
    std::vector<std::pair<std::uint64_t, int>> fecChanges_;  // of `fecUses_`, in the last step
    std::map<std::uint64_t, int> fecUses_;                   // the tables that name a number
    std::map<std::uint64_t, Time> heldBack_;
    SrTePolicy::SegmentListId largestList_;
    bool firstStepIsDue_ = false;  // of a start: it looks what tables name
    std::uint64_t lists_ = 0;      // that there ever were

    std::map<Key, Wirex::MplsLabel> kept_;  // carrying traffic since the last rest
    std::set<Key> withdrawn_;               // since the last rest, if only for a moment
    std::map<SrTePolicy::PolicyId, Time> receivedAt_;
    std::map<SrTePolicy::PolicyId, double> creationTimes_;
};

}  // namespace Sim
