#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/sim/Journal.h"
#include "tests/sim/World.h"

namespace Sim {

// What holds of the tables whenever no task is running, also while the agent is down, unless rows
// were damaged. Each throws the `Violation` that it is named after.
void everyRouteLeadsToItsPolicy(Agent::Tables const& tables);
void fecsAreThoseOfTheStatus(Agent::Tables const& tables);
void usableListsHaveATunnel(Agent::Tables const& tables);
void noViaLeadsIntoAnothersTunnel(Agent::Tables const& tables);
void policyTunnelsLeadIntoLabelFecs(Agent::Tables const& tables);
/// Holds of an agent that was stopped, and of one at rest without a candidate.
void nothingIsLeft(Agent::Tables const& tables, Agent::RunTables const& run);
/// Likewise of what the machines keep to themselves, as far as their dumps tell.
void nothingIsRemembered(Agent::Machines const& machines);

/// Everything that must hold of a world at each of its steps, read off its tables. Hears of the
/// steps by itself; to be made before anything happens. Each function that checks is named after
/// what must hold.
class Invariants {
public:
    explicit Invariants(World& world);

    Journal& journal() { return journal_; }
    /// The policies that lost their status, label FEC or route since the last call, if only for a
    /// moment.
    std::set<SrTePolicy::PolicyKey> takeWithdrawn() { return std::exchange(everWithdrawn_, {}); }

private:
    using Key = SrTePolicy::PolicyKey;
    using Time = Agent::Time;
    using FecId = Pooltab::Fib::FecId;
    struct FecWrite {
        std::set<std::uint64_t>& table;
        std::uint64_t number;
        bool present;
    };

    void handle(Did did);
    void agentBegan();
    void check(Did did);
    void checkServices() const;
    bool rowsAwaitThePoll() const;
    void rested();
    bool changed(std::initializer_list<Written> tables) const;

    void everyViaLeadsIntoATunnelSoon(Did did);
    void fecNumbersAreTheLowestFree(Did did);
    void aHolderIsNotDisplaced();
    void aClogHoldsTasksBack();
    void whoWaitsComesBackInATenth();
    void whatStaysIsKept() const;
    void timesMoveWithTheirCause();
    void anUnchangedRestartWritesNothing() const;
    void aRestartWithdrawsNothingThatStays() const;
    void workEnds(Did did);

    // Inside writes.
    void watchOutputs();
    void watchInputs();
    void watchSource(SrTePolicy::Protocol protocol);
    void receivedAll(SrTePolicy::Protocol protocol);
    void fecWritten(std::set<std::uint64_t>& table, FecId id, bool present);
    void listExported(SrTePolicy::SegmentListId id);
    void statusWritten(Key const& key);
    void listStatusWritten(SrTePolicy::SegmentListId id);
    void entryWritten(SrTePolicy::PolicyId const& id);
    void labelFecOrRouteGone(auto const& isOf);
    void usabilityWritten(Key const& key);
    bool isUsable(Key const& key, SrTePolicy::SegmentListId id) const;
    bool carriesTraffic(Key const& key, Wirex::MplsLabel bindingSid) const;
    void forgetUnnamedLists();

    World& world_;
    Journal journal_;
    Watches watches_;
    std::map<SrTePolicy::Protocol, Watches> sourceWatches_;
    std::string failure_;  // found inside a notification; thrown after the step

    std::array<std::uint64_t, writtenCount> writesBefore_{};
    std::optional<std::uint64_t> unchangedSince_;  // the writes at a crash out of rest
    bool restarting_ = false;  // from rest to rest, inputs changing only between
    bool atRest_ = false;
    std::uint64_t runsAtOnce_ = 0;
    std::optional<std::uint64_t> yieldAfter_;
    std::set<Time> cloggedRuns_;

    std::map<std::pair<FecId, Tunnel::TunnelTable::TunnelId>, std::uint64_t> gaps_;
    std::map<Wirex::MplsLabel, Key> holders_;
    std::vector<FecWrite> fecWrites_;
    std::set<std::uint64_t> fecs_, fecIndex_;
    std::map<std::uint64_t, Time> heldBack_;
    std::map<SrTePolicy::SegmentListId, SrTePolicy::Export::SegmentList> lists_;

    std::map<Key, SrTePolicy::PolicyStatusEntry> status_;
    std::map<SrTePolicy::PolicyId, SrTePolicy::PolicyIdEntry> entries_;
    std::map<Key, Wirex::MplsLabel> kept_;  // with the same binding SID since the last rest
    std::set<Key> withdrawn_, everWithdrawn_;
    std::map<SrTePolicy::PolicyId, Time> receivedAt_;
    std::map<SrTePolicy::PolicyId, double> creationTimes_;
};

}  // namespace Sim
