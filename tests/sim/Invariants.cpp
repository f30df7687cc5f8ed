#include "tests/sim/Invariants.h"

#include <algorithm>
#include <chrono>

#include "tests/sim/TableWalk.h"

namespace Sim {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t taskCount = 4;

}  // namespace

Invariants::Invariants(World& world) : world_(world), journal_(world), model_(world) {
    watchInputs();
    watchOutputs();
    world_.toldIs([this](Did did) { handle(did); });
}

void Invariants::handle(Did did) {
    prepare(did);
    check(did);
    if (did == Did::wrote) {
        model_.inputsWritten();
        ++inputWrites_;
    }
    if (did == Did::crashed || did == Did::stopped) journal_.agentGone();
    if (did == Did::crashed && atRest_ && !rowsAwaitThePoll()) {
        unchangedSince_ = journal_.survivingWrites();
    }
    atRest_ = did == Did::idled && world_.atRest();
    if (atRest_) rested();
    journal_.stepDone();
}

void Invariants::prepare(Did did) {
    if (did == Did::began) agentBegan();
    if (did == Did::started && std::exchange(firstStepIsDue_, false)) {
        largestList_ = largestNamedList();
    }
    if (did == Did::wrote) unchangedSince_.reset();
    if (did != Did::stopped && !world_.damaged()) return;
    withdraws_ = true;
    unchangedSince_.reset();
    gaps_.clear();
    holders_.clear();
    kept_.clear();
    model_.nothingNeedsToStay();
}

void Invariants::agentBegan() {
    journal_.agentBegan();
    model_.agentBegins();
    heldBack_.clear();
    creationTimes_.clear();
    receivedAt_.clear();
    for (auto const& [protocol, source] : each(world_.tables().sources->policyInput())) {
        receivedAll(protocol);
    }
    firstStepIsDue_ = true;
}

/// A row of the tunnel map that goes when somebody looks again: its counter has gone.
bool Invariants::rowsAwaitThePoll() const {
    for (auto const& [tunnelId, owner] : each(world_.tables().tunnelMap->entry())) {
        bool const counted = world_.tables().tunnelCounters->tunnelCounter(tunnelId);
        if (!counted && !world_.isUsed(tunnelId)) return true;
    }
    return false;
}

void Invariants::check(Did did) {
    // The end withdraws everything.
    if (did == Did::stopped) failure_.clear();
    if (!failure_.empty()) throw Violation{failure_};
    hold(journal_.idleWrite().empty(), "everyNotificationTellsOfAChange: not in",
         journal_.idleWrite());
    if (did == Did::stopped) nothingIsLeft(world_.tables(), world_.machines()->tables());
    workEnds(did);
    fecNumbersAreTheLowestFree(did);
    if (did == Did::ran && world_.clogged()) aClogHoldsTasksBack();
    if (did == Did::idled) whoWaitsComesBackInATenth();
    anUnchangedRestartWritesNothing();
    if (world_.damaged()) return;
    tablesAreSound(world_.tables(), journal_);
    if (journal_.wrote({"status"}) && (did == Did::ran || did == Did::started)) {
        aHolderIsNotDisplaced();
    }
    everyViaLeadsIntoATunnelSoon(did);
    servicesAreSound(world_, journal_);
}

/// Then the next stretch begins.
void Invariants::rested() {
    whatCarriesTrafficIsKept();
    whatStaysIsNotWithdrawn();
    model_.rested(std::exchange(withdrawn_, {}), journal_.writes() != writesAtRest_);
    timesMoveWithTheirCause();
    writesAtRest_ = journal_.writes();
    unchangedSince_.reset();
    holders_ = holders();
    kept_.clear();
    for (auto const& [key, entry] : each(world_.tables().policyStatus->policyStatusEntry())) {
        kept_[key] = entry.bindingSid;
    }
    for (auto const& [id, entry] : each(world_.tables().selectionInput->policyIdEntry())) {
        wishWritten(entry);
    }
    usabilityWritten();
}

std::map<Wirex::MplsLabel, Invariants::Key> Invariants::holders() const {
    std::map<Wirex::MplsLabel, Key> holders;
    for (auto const& [key, entry] : each(world_.tables().policyStatus->policyStatusEntry())) {
        if (!entry.bindingSid.isNull()) holders[entry.bindingSid] = key;
    }
    return holders;
}

/// A list that goes takes its tunnel along; selection and publishing follow within two turns, in
/// which the log lets them work.
void Invariants::everyViaLeadsIntoATunnelSoon(Did did) {
    bool const atWork = did == Did::ran && world_.machines()->started() && !world_.clogged() &&
                        !world_.nextExpiration();
    if (std::exchange(yieldAfter_, world_.yieldAfter()) != world_.yieldAfter()) gaps_.clear();
    if (!atWork && did != Did::idled) return;
    decltype(gaps_) gaps;
    for (auto const& [fecId, fec] : each(world_.tables().forwarding->fec())) {
        for (auto const& via : fec.vias()) {
            if (world_.tables().segmentListTunnels->entry(via.tunnelId())) continue;
            auto const gap = std::pair(fecId, via.tunnelId());
            auto const since = gaps_.find(gap);
            gaps[gap] = (since == gaps_.end() ? 0 : since->second) + (atWork ? 1 : 0);
        }
    }
    gaps_ = std::move(gaps);
    // A turn is a run of every task, or several for each key where runs are cut short.
    auto const keys = world_.tables().selectionInput->policyIdEntry().size() +
                      world_.tables().segmentListStatus->status().size() + lists_;
    auto const bound = 2 * taskCount * (world_.yieldAfter() ? 2 + keys : 1);
    for (auto const& [gap, runs] : gaps_) {
        hold(runs <= bound, "everyViaLeadsIntoATunnelSoon: not", gap.first, gap.second);
        hold(did != Did::idled || !world_.atRest(), "everyViaLeadsIntoATunnelSoon: never",
             gap.first, gap.second);
    }
}

/// What the allocator must have in use is what the tables name; it holds back what they named less
/// than 300 s ago. What goes in a step of the start was never in use in this run.
void Invariants::fecNumbersAreTheLowestFree(Did did) {
    bool const allocates = did == Did::ran && world_.machines();
    for (auto const& [number, change] : std::exchange(fecChanges_, {})) {
        auto& uses = fecUses_[number];
        if (uses == 0 && allocates) {
            auto const lowest = lowestFreeFec();
            hold(number == lowest, "fecNumbersAreTheLowestFree:", std::to_string(number),
                 "instead of", std::to_string(lowest));
        }
        uses += change;
        if (uses == 0 && allocates) heldBack_[number] = world_.now();
    }
}

std::uint64_t Invariants::lowestFreeFec() {
    for (std::uint64_t number = 0;; ++number) {
        auto const held = heldBack_.find(number);
        bool const heldBack = held != heldBack_.end() && world_.now() - held->second < 300s;
        if (fecUses_[number] == 0 && !heldBack) return number;
    }
}

/// Who holds a binding SID loses it only by not wanting it any more.
void Invariants::aHolderIsNotDisplaced() {
    auto const holdersNow = holders();
    for (auto const& [bindingSid, key] : std::exchange(holders_, holdersNow)) {
        auto const holder = holdersNow.find(bindingSid);
        if (holder != holdersNow.end() && holder->second == key) continue;
        auto const* const policy = world_.tables().ecPolicy->policy(key);
        auto const* const active = policy ? policy->active() : nullptr;
        bool const wants = active && active->bindingSid == bindingSid &&
                           std::ranges::all_of(active->wTunnelId,
                                               [](auto const& tunnel) { return tunnel.weight; });
        hold(!wants, "aHolderIsNotDisplaced: it was", bindingSid, key);
    }
}

/// A policy that had a candidate with a usable list all the time, for one binding SID that nobody
/// else wanted.
void Invariants::whatCarriesTrafficIsKept() const {
    for (auto const& [key, bindingSid] : kept_) {
        hold(!withdrawn_.contains(key), "whatCarriesTrafficIsKept: not", key, bindingSid);
    }
}

/// A row that the inputs asked for before and after their one change was there all the time.
void Invariants::whatStaysIsNotWithdrawn() {
    auto const gone = journal_.goneForAMoment();
    hold(withdraws_ || inputWrites_ > 1 || gone.empty(), "whatStaysIsNotWithdrawn: not", gone);
    withdraws_ = false;
    inputWrites_ = 0;
    journal_.stretchBegins();
}

void Invariants::aClogHoldsTasksBack() {
    cloggedRuns_.insert(world_.now());
    // What an earlier run left goes all the same.
    if (world_.damaged()) return;
    hold(!journal_.wrote({"export", "list-status", "list-tunnel", "selection-input", "ec-policy",
                          "ec-active", "ec-entry", "verdict", "list-users"}),
         "aClogHoldsTasksBack: one wrote");
}

/// Nothing can run now: what waits for the log to clear has its time, and nothing else waits.
void Invariants::whoWaitsComesBackInATenth() {
    auto const* const machines = world_.machines();
    auto const next = world_.nextExpiration();
    hold(machines || !next, "whoWaitsComesBackInATenth: a task without a machine");
    if (!machines) return;
    hold(machines->publishSm().drained(), "whoWaitsComesBackInATenth: publishing waits");
    hold(next || world_.atRest(), "whoWaitsComesBackInATenth: nobody will");
    // The tunnel map looks at counters a second after it began to wait for them, or looked last.
    times_.insert(world_.now());
    hold(!next || cloggedRuns_.contains(*next - 100ms) ||
             (world_.mayPoll() && times_.contains(*next - 1s)),
         "whoWaitsComesBackInATenth: not then");
    cloggedRuns_.erase(cloggedRuns_.begin(), cloggedRuns_.lower_bound(world_.now() - 100ms));
    times_.erase(times_.begin(), times_.lower_bound(world_.now() - 1s));
}

/// A candidate has the time at which it was last received, not that of another look at it.
void Invariants::timesMoveWithTheirCause() {
    decltype(creationTimes_) times;
    for (auto const& [id, info] : each(world_.machines()->tables().policyKeyToIdMap->candidate())) {
        times[id] = info.creationTime;
        auto const before = creationTimes_.find(id);
        auto const received = receivedAt_.find(id);
        if (received != receivedAt_.end()) {
            hold(info.creationTime >= seconds(received->second) - 1e-6 &&
                     info.creationTime <= seconds(world_.now()) + 1e-6,
                 "timesMoveWithTheirCause: received since", id);
        } else {
            hold(before != creationTimes_.end() && before->second == info.creationTime,
                 "timesMoveWithTheirCause: not received", id);
        }
    }
    creationTimes_ = std::move(times);
    receivedAt_.clear();
}

void Invariants::anUnchangedRestartWritesNothing() const {
    if (!unchangedSince_) return;
    hold(journal_.survivingWrites() == *unchangedSince_, "anUnchangedRestartWritesNothing: it did");
}

void Invariants::workEnds(Did did) {
    constexpr std::uint64_t plenty = 20000;
    runsAtOnce_ = did == Did::ran || did == Did::started ? runsAtOnce_ + 1 : 0;
    hold(runsAtOnce_ < plenty, "workEnds: not");
}

}  // namespace Sim
