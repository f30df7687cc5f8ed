#include "tests/sim/Invariants.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>

#include "Platform/Keel/DumpContext.h"
#include "tests/sim/Services.h"
#include "tests/sim/TableWalk.h"

namespace Sim {

namespace {

using namespace std::chrono_literals;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

bool isPolicyFec(FecId id) {
    return id.masked() >= Agent::policyFecIds.min && id.masked() <= Agent::policyFecIds.max;
}

std::optional<SegmentListId> listOf(TunnelId tunnelId) {
    if (tunnelId.type() != TunnelType::srTeSegmentList) return std::nullopt;
    return SegmentListId(static_cast<std::uint32_t>(tunnelId.index()));
}

double seconds(Agent::Time time) {
    return std::chrono::duration<double>(time).count();
}

constexpr std::uint32_t taskCount = 4;

}  // namespace

void everyRouteLeadsToItsPolicy(Agent::Tables const& tables) {
    std::size_t bindingSids = 0;
    forEach(tables.policyStatus->policyStatusEntry(), [&](auto const& key, auto const& entry) {
        if (entry.bindingSid.isNull()) return;
        ++bindingSids;
        auto const* const route =
            tables.bindingSidLfib->consolidatedRoute(Mpls::RouteKey::fromLabel(entry.bindingSid));
        hold(route, "everyRouteLeadsToItsPolicy: none to", key);
        auto const fecId = route->extFecVia.fecId;
        hold(fecId == entry.labelFecId, "everyRouteLeadsToItsPolicy: another FEC than of", key);
        hold(tables.forwarding->fec(fecId), "everyRouteLeadsToItsPolicy: no FEC of", key);
    });
    // With as many routes, none is left over and no binding SID has two holders.
    hold(tables.bindingSidLfib->rows().size() == bindingSids,
         "everyRouteLeadsToItsPolicy: routes without a policy of their own");
}

void fecsAreThoseOfTheStatus(Agent::Tables const& tables) {
    std::map<FecId, SrTePolicy::PolicyKey> named;
    forEach(tables.policyStatus->policyStatusEntry(), [&](auto const& key, auto const& entry) {
        for (auto const id : {entry.labelFecId, entry.v4FecId, entry.v6FecId}) {
            hold(isPolicyFec(id), "fecsAreThoseOfTheStatus: out of range", id);
            auto const owner = named.emplace(id, key).first->second;
            hold(owner == key, "fecsAreThoseOfTheStatus: shared", id);
        }
    });
    std::size_t fecs = 0;
    forEach(tables.forwarding->fec(), [&](FecId id, auto const&) {
        if (!isPolicyFec(id)) return;
        ++fecs;
        hold(named.contains(id), "fecsAreThoseOfTheStatus: left over", id);
    });
    hold(fecs == named.size(), "fecsAreThoseOfTheStatus: one is missing");
    forEach(tables.policyStatus->fecIdToPolicyKey(), [&](FecId id, auto const& key) {
        auto const owner = named.find(id);
        hold(owner != named.end() && owner->second == key, "fecsAreThoseOfTheStatus: index", id);
    });
    hold(tables.policyStatus->fecIdToPolicyKey().size() == named.size(),
         "fecsAreThoseOfTheStatus: an index row is missing");
}

void usableListsHaveATunnel(Agent::Tables const& tables) {
    std::size_t usable = 0;
    forEach(tables.segmentListStatus->status(), [&](SegmentListId id, auto error) {
        hold(tables.exportedLists->segmentList(id), "usableListsHaveATunnel: not exported", id);
        if (error != SegmentListResolveError::noError) return;
        ++usable;
        auto const* const tunnel = tables.segmentListTunnels->entry(id.getTunnelId());
        hold(tunnel && tunnel->viaCount() > 0, "usableListsHaveATunnel: none of", id);
    });
    hold(tables.segmentListTunnels->entry().size() == usable,
         "usableListsHaveATunnel: a tunnel of a list that is not usable");
}

void noViaLeadsIntoAnothersTunnel(Agent::Tables const& tables) {
    forEach(tables.policyStatus->fecIdToPolicyKey(), [&](FecId fecId, auto const& owner) {
        auto const* const fec = tables.forwarding->fec(fecId);
        if (!fec) return;
        for (auto const& via : fec->vias()) {
            auto const id = listOf(via.tunnelId());
            auto const* const list = id ? tables.exportedLists->segmentList(*id) : nullptr;
            hold(id.has_value(), "noViaLeadsIntoAnothersTunnel: no list's", fecId);
            hold(!list || list->policyId.key == owner, "noViaLeadsIntoAnothersTunnel:", fecId);
        }
    });
}

void policyTunnelsLeadIntoLabelFecs(Agent::Tables const& tables) {
    forEach(tables.policyTunnels->entry(), [&](TunnelId tunnelId, auto const& entry) {
        auto const* const policy =
            tables.policyStatus->policyStatusEntry().find({entry.endpoint.address, entry.color});
        hold(policy && policy->labelFecId.fecIdToTunnelId() == tunnelId,
             "policyTunnelsLeadIntoLabelFecs: not", tunnelId);
    });
}

void nothingIsLeft(Agent::Tables const& tables, Agent::RunTables const& run) {
    auto const& lists = *run.coreDedupTables->notifyingSegmentListCollection();
    auto const& segments = *run.coreDedupTables->notifyingSegmentCollection();
    nothingIsLeftOfServices(tables);
    hold(tables.exportedLists->segmentList().empty(), "nothingIsLeft: exported list");
    hold(tables.segmentListStatus->status().empty(), "nothingIsLeft: list status");
    hold(tables.segmentListTunnels->entry().empty(), "nothingIsLeft: list tunnel");
    hold(tables.selectionInput->policyIdEntry().empty(), "nothingIsLeft: selection input");
    hold(tables.ecPolicy->policy().empty(), "nothingIsLeft: EcPolicy");
    hold(tables.policyStatus->policyStatusEntry().empty(), "nothingIsLeft: policy status");
    hold(tables.policyStatus->fecIdToPolicyKey().empty(), "nothingIsLeft: FEC index");
    hold(tables.policyTunnels->entry().empty(), "nothingIsLeft: policy tunnel");
    hold(tables.bindingSidLfib->rows().empty(), "nothingIsLeft: route");
    forEach(tables.forwarding->fec(),
            [](FecId id, auto const&) { hold(!isPolicyFec(id), "nothingIsLeft: FEC", id); });
    hold(run.policyKeyToIdMap->candidate().empty(), "nothingIsLeft: verdict");
    hold(run.segmentListUsers->segmentListUser().empty(), "nothingIsLeft: list user");
    hold(run.segmentStatus->status().empty(), "nothingIsLeft: segment status");
    hold(lists.segmentListNotifier().empty(), "nothingIsLeft: live list");
    hold(segments.segmentNotifier().empty(), "nothingIsLeft: live segment");
}

void nothingIsRemembered(Agent::Machines const& machines) {
    Keel::DumpContext dump;
    machines.segmentListSm().dumpState(dump, 2);
    machines.inputSm().dumpState(dump, 2);
    machines.selectionSm().dumpState(dump, 2);
    machines.publishSm().dumpState(dump, 2);
    machines.lfibGenSm().dumpState(dump, 2);
    auto const& text = dump.text();
    for (auto at = text.find('#'); at != text.npos; at = text.find('#', at + 1)) {
        bool const counts = at + 1 < text.size() && std::isdigit(text[at + 1]);
        hold(!counts || text[at + 1] == '0', "nothingIsRemembered: something", text);
    }
    for (auto const* const trace : {"bsid: ", "segmentId: "}) {
        hold(text.find(trace) == text.npos, "nothingIsRemembered: something", text);
    }
    std::string const bookmark = "Bookmark: endpoint ";
    for (auto at = text.find(bookmark); at != text.npos; at = text.find(bookmark, at + 1)) {
        hold(text[at + bookmark.size()] == ' ', "nothingIsRemembered: a bookmark", text);
    }
}

Invariants::Invariants(World& world) : world_(world), journal_(world) {
    watchInputs();
    watchOutputs();
    world_.toldIs([this](Did did) { handle(did); });
}

void Invariants::handle(Did did) {
    if (did == Did::began) agentBegan();
    if (did == Did::wrote || did == Did::stopped || world_.damaged()) unchangedSince_.reset();
    if (did == Did::wrote && world_.machines()) restarting_ = false;
    if (did == Did::stopped || world_.damaged()) {
        restarting_ = false;
        gaps_.clear();
        kept_.clear();
        holders_.clear();
    }
    check(did);
    if (did == Did::crashed || did == Did::stopped) journal_.agentGone();
    if (did == Did::crashed && atRest_ && !rowsAwaitThePoll()) {
        unchangedSince_ = journal_.survivingWrites();
    }
    atRest_ = did == Did::idled && world_.atRest();
    if (atRest_) rested();
    for (std::size_t table = 0; table < writtenCount; ++table) {
        writesBefore_[table] = journal_.writes(static_cast<Written>(table));
    }
}

void Invariants::agentBegan() {
    journal_.agentBegan();
    heldBack_.clear();
    creationTimes_.clear();
    receivedAt_.clear();
    forEach(world_.tables().sources->policyInput(),
            [this](auto protocol, auto const&) { receivedAll(protocol); });
    forgetUnnamedLists();
}

/// A row of the tunnel map that goes when somebody looks again: its counter has gone.
bool Invariants::rowsAwaitThePoll() const {
    auto const& tables = world_.tables();
    auto const& rows = tables.tunnelMap->entry();
    for (auto row = rows.begin(); row; row.next()) {
        bool const counted = tables.tunnelCounters->tunnelCounter(row.key());
        if (!counted && !world_.isUsed(row.key())) return true;
    }
    return false;
}

bool Invariants::changed(std::initializer_list<Written> tables) const {
    return std::ranges::any_of(tables, [this](Written table) {
        return journal_.writes(table) != writesBefore_[static_cast<std::size_t>(table)];
    });
}

void Invariants::check(Did did) {
    using enum Written;
    auto const& tables = world_.tables();
    if (!failure_.empty()) throw Violation{failure_};
    if (!journal_.idleWrite().empty()) {
        throw Violation{"everyNotificationTellsOfAChange: not in " + journal_.idleWrite()};
    }
    if (did == Did::stopped) nothingIsLeft(tables, world_.machines()->tables());
    workEnds(did);
    fecNumbersAreTheLowestFree(did);
    if (did == Did::ran && world_.clogged()) aClogHoldsTasksBack();
    if (did == Did::idled) whoWaitsComesBackInATenth();
    anUnchangedRestartWritesNothing();
    if (restarting_) aRestartWithdrawsNothingThatStays();
    if (world_.damaged()) return;
    if (changed({policyStatus, fec, route})) everyRouteLeadsToItsPolicy(tables);
    if (changed({policyStatus, fec, fecIndex})) fecsAreThoseOfTheStatus(tables);
    if (changed({exportedList, listStatus, listTunnel})) usableListsHaveATunnel(tables);
    if (changed({exportedList, fec, fecIndex})) noViaLeadsIntoAnothersTunnel(tables);
    if (changed({policyStatus, policyTunnel})) policyTunnelsLeadIntoLabelFecs(tables);
    if (changed({policyStatus}) && (did == Did::ran || did == Did::started)) {
        aHolderIsNotDisplaced();
    }
    everyViaLeadsIntoATunnelSoon(did);
    checkServices();
}

void Invariants::checkServices() const {
    using enum Written;
    auto const& tables = world_.tables();
    auto const* const machines = world_.machines();
    if (!machines) return;
    bool const gribiStarted = machines->gribiRoot();
    if (gribiStarted && changed({listTunnel, fec, group, gribiRoute})) {
        gribiRoutesLeadToTheirGroups(tables);
    }
    // From their start on: before it they stand as the agent before left them.
    if (!machines->started()) return;
    combinedStatusesFollow(tables);
    if (changed({sbfdConfig, session})) sessionsAreThoseOfTheConfiguration(tables);
}

/// What only holds when nothing is left to do; then the next stretch begins.
void Invariants::rested() {
    if (!world_.damaged()) whatStaysIsKept();
    timesMoveWithTheirCause();
    unchangedSince_.reset();
    restarting_ = false;
    withdrawn_.clear();
    kept_.clear();
    holders_.clear();
    for (auto const& [key, entry] : status_) {
        kept_[key] = entry.bindingSid;
        if (!entry.bindingSid.isNull()) holders_[entry.bindingSid] = key;
    }
    for (auto const& [key, entry] : status_) usabilityWritten(key);
}

/// A list that goes takes its tunnel along; selection and publishing follow within two turns, in
/// which the log lets them work.
void Invariants::everyViaLeadsIntoATunnelSoon(Did did) {
    bool const atWork = did == Did::ran && world_.machines()->started() && !world_.clogged() &&
                        !world_.nextExpiration();
    if (std::exchange(yieldAfter_, world_.yieldAfter()) != world_.yieldAfter()) gaps_.clear();
    if (!atWork && did != Did::idled) return;
    decltype(gaps_) gaps;
    forEach(world_.tables().forwarding->fec(), [&](FecId fecId, auto const& fec) {
        for (auto const& via : fec.vias()) {
            if (world_.tables().segmentListTunnels->entry(via.tunnelId())) continue;
            auto const gap = std::pair(fecId, via.tunnelId());
            auto const since = gaps_.find(gap);
            gaps[gap] = (since == gaps_.end() ? 0 : since->second) + (atWork ? 1 : 0);
        }
    });
    gaps_ = std::move(gaps);
    // A turn is a run of every task, or several for each key where runs are cut short.
    auto const keys = world_.tables().selectionInput->policyIdEntry().size() +
                      world_.tables().segmentListStatus->status().size() + lists_.size();
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
    for (auto const& write : std::exchange(fecWrites_, {})) {
        auto const number = write.number;
        bool const wasUsed = fecs_.contains(number) || fecIndex_.contains(number);
        if (write.present && !wasUsed && allocates) {
            std::uint64_t lowest = 0;
            while (fecs_.contains(lowest) || fecIndex_.contains(lowest) ||
                   (heldBack_.contains(lowest) && world_.now() - heldBack_[lowest] < 300s)) {
                ++lowest;
            }
            if (number != lowest) {
                throw Violation{"fecNumbersAreTheLowestFree: " + std::to_string(number) +
                                " instead of " + std::to_string(lowest)};
            }
        }
        write.present ? void(write.table.insert(number)) : void(write.table.erase(number));
        bool const used = fecs_.contains(number) || fecIndex_.contains(number);
        if (wasUsed && !used && allocates) heldBack_[number] = world_.now();
    }
}

/// Who holds a binding SID loses it only by not wanting it any more.
void Invariants::aHolderIsNotDisplaced() {
    decltype(holders_) holders;
    for (auto const& [key, entry] : status_) {
        if (!entry.bindingSid.isNull()) holders[entry.bindingSid] = key;
    }
    for (auto const& [bindingSid, key] : std::exchange(holders_, holders)) {
        if (holders.contains(bindingSid) && holders[bindingSid] == key) continue;
        auto const* const policy = world_.tables().ecPolicy->policy(key);
        auto const* const active = policy ? policy->active() : nullptr;
        bool const wants = active && active->bindingSid == bindingSid &&
                           std::ranges::all_of(active->wTunnelId,
                                               [](auto const& tunnel) { return tunnel.weight; });
        hold(!wants, "aHolderIsNotDisplaced: it was", bindingSid, key);
    }
}

void Invariants::aClogHoldsTasksBack() {
    using enum Written;
    cloggedRuns_.insert(world_.now());
    // What an earlier run left goes all the same.
    if (!world_.machines()->started()) return;
    hold(!changed(
             {exportedList, listStatus, listTunnel, selectionInput, ecPolicy, verdict, listUsers}),
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
    hold(!next || cloggedRuns_.contains(*next - 100ms) || world_.mayPoll(),
         "whoWaitsComesBackInATenth: not then");
    cloggedRuns_.erase(cloggedRuns_.begin(), cloggedRuns_.lower_bound(world_.now() - 100ms));
}

/// A policy that had a candidate with a usable list all the time, for one binding SID that nobody
/// else wanted.
void Invariants::whatStaysIsKept() const {
    for (auto const& [key, bindingSid] : kept_) {
        hold(!withdrawn_.contains(key), "whatStaysIsKept: not", key, bindingSid);
    }
}

/// A candidate has the time at which it was last received, not that of another look at it.
void Invariants::timesMoveWithTheirCause() {
    auto const& verdicts = world_.machines()->tables().policyKeyToIdMap->candidate();
    decltype(creationTimes_) times;
    forEach(verdicts, [&](auto const& id, auto const& info) {
        times[id] = info.creationTime;
        auto const before = creationTimes_.find(id);
        auto const received = receivedAt_.find(id);
        if (received != receivedAt_.end()) {
            hold(info.creationTime >= seconds(received->second) - 1e-6,
                 "timesMoveWithTheirCause: received since", id);
        } else {
            hold(before != creationTimes_.end() && before->second == info.creationTime,
                 "timesMoveWithTheirCause: not received", id);
        }
    });
    creationTimes_ = std::move(times);
    receivedAt_.clear();
}

void Invariants::anUnchangedRestartWritesNothing() const {
    if (!unchangedSince_) return;
    hold(journal_.survivingWrites() == *unchangedSince_, "anUnchangedRestartWritesNothing: it did");
}

/// Of what the inputs decide; a binding SID may pass from one policy to another.
void Invariants::aRestartWithdrawsNothingThatStays() const {
    using enum Written;
    for (auto const table : {exportedList, listStatus, listTunnel, selectionInput}) {
        hold(!journal_.returned(table), "aRestartWithdrawsNothingThatStays: a row came back");
    }
}

void Invariants::workEnds(Did did) {
    constexpr std::uint64_t plenty = 20000;
    runsAtOnce_ = did == Did::ran || did == Did::started ? runsAtOnce_ + 1 : 0;
    hold(runsAtOnce_ < plenty, "workEnds: not");
}

void Invariants::watchOutputs() {
    auto const& tables = world_.tables();
    auto const& fecs = tables.forwarding->fec();
    auto const& index = tables.policyStatus->fecIdToPolicyKey();
    watches_.add(fecs, [&](FecId id) { fecWritten(fecs_, id, fecs.has(id)); });
    watches_.add(index, [&](FecId id) { fecWritten(fecIndex_, id, index.has(id)); });
    watches_.add(tables.exportedLists->segmentList(),
                 [this](SegmentListId id) { listExported(id); });
    watches_.add(tables.policyStatus->policyStatusEntry(),
                 [this](Key const& key) { statusWritten(key); });
    watches_.add(fecs, [&](FecId id) {
        if (fecs.has(id)) return;
        labelFecOrRouteGone([id](auto const& entry) { return entry.labelFecId == id; });
    });
    watches_.add(tables.bindingSidLfib->rows(), [&](Mpls::RouteKey key) {
        if (tables.bindingSidLfib->rows().has(key)) return;
        labelFecOrRouteGone(
            [key](auto const& entry) { return entry.bindingSid == key.topLabel(); });
    });
    watches_.add(tables.selectionInput->entrySubject(),
                 [this](SrTePolicy::PolicyId const& id) { entryWritten(id); });
    watches_.add(tables.segmentListStatus->status(),
                 [this](SegmentListId id) { listStatusWritten(id); });
    watches_.add(tables.segmentListStatus->statusWithSbfd(), [this](auto const& key) {
        if (!kept_.empty()) usabilityWritten(key.policyKey());
    });
    watches_.add(tables.config->policy(), [this](Key const& key) {
        if (!kept_.empty()) usabilityWritten(key);
    });
}

void Invariants::watchInputs() {
    auto const& tables = world_.tables();
    watches_.add(tables.sources->policyInput(), [this](SrTePolicy::Protocol protocol) {
        sourceWatches_[protocol].clear();
        watchSource(protocol);
        receivedAll(protocol);
    });
    watches_.add(tables.config->specifiedBsidOnly, [&](std::monostate) {
        forEach(tables.sources->policyInput(),
                [this](auto protocol, auto const&) { receivedAll(protocol); });
    });
}

void Invariants::watchSource(SrTePolicy::Protocol protocol) {
    auto const source = world_.tables().sources->policyInput(protocol);
    if (!source) return;
    sourceWatches_[protocol].add(
        source->policyInputEntry(),
        [this](SrTePolicy::PolicyId const& id) { receivedAt_[id] = world_.now(); });
}

void Invariants::receivedAll(SrTePolicy::Protocol protocol) {
    auto const source = world_.tables().sources->policyInput(protocol);
    if (!source) return;
    forEach(source->policyInputEntry(),
            [this](auto const& id, auto const&) { receivedAt_[id] = world_.now(); });
}

void Invariants::fecWritten(std::set<std::uint64_t>& table, FecId id, bool present) {
    if (!isPolicyFec(id)) return;
    fecWrites_.push_back({table, id.masked().value() - Agent::policyFecIds.min.value(), present});
}

/// An identity stands for one list, as long as anything may name it.
void Invariants::listExported(SegmentListId id) {
    auto const* const list = world_.tables().exportedLists->segmentList(id);
    if (!list) return;
    auto const known = lists_.emplace(id, *list).first;
    if (known->second != *list) failure_ = "anIdentityIsNotReused: list " + id.stringValue();
}

void Invariants::forgetUnnamedLists() {
    SegmentListId largest;
    auto const name = [&largest](std::optional<SegmentListId> id) {
        if (id) largest = std::max(largest, *id);
    };
    auto const& tables = world_.tables();
    forEach(tables.exportedLists->segmentList(), [&](auto id, auto const&) { name(id); });
    forEach(tables.segmentListStatus->status(), [&](auto id, auto) { name(id); });
    forEach(tables.segmentListTunnels->entry(), [&](auto id, auto const&) { name(listOf(id)); });
    forEach(tables.forwarding->fec(), [&](auto, auto const& fec) {
        for (auto const& via : fec.vias()) name(listOf(via.tunnelId()));
    });
    forEach(tables.selectionInput->policyIdEntry(), [&](auto const&, auto const& entry) {
        for (auto const& list : entry.wSegmentList) name(list.segmentListId);
    });
    forEach(tables.ecPolicy->policy(), [&](auto const&, auto const& policy) {
        for (auto const& entry : policy.candidates()) {
            for (auto const& tunnel : entry.wTunnelId) name(listOf(tunnel.tunnelId));
        }
    });
    lists_.erase(lists_.upper_bound(largest), lists_.end());
}

/// A tunnel is there before its status says usable: who reads the status takes it for granted.
void Invariants::listStatusWritten(SegmentListId id) {
    auto const& tables = world_.tables();
    if (tables.segmentListStatus->status(id) == SegmentListResolveError::noError &&
        !tables.segmentListTunnels->entry(id.getTunnelId()) && !world_.damaged()) {
        failure_ = "tunnelsComeBeforeTheirStatus: not of " + id.stringValue();
    }
    auto const list = lists_.find(id);
    if (list != lists_.end() && !kept_.empty()) usabilityWritten(list->second.policyId.key);
}

/// A version grows exactly with what it tells of.
void Invariants::entryWritten(SrTePolicy::PolicyId const& id) {
    if (!kept_.empty()) usabilityWritten(id.key);
    auto const* const entry = world_.tables().selectionInput->policyIdEntry(id);
    auto const before = entries_.find(id);
    if (entry && before != entries_.end() && !world_.damaged()) {
        auto const& old = before->second;
        bool const differs = old.bindingSid != entry->bindingSid || old.enlp != entry->enlp ||
                             old.wSegmentList != entry->wSegmentList;
        if (entry->version != old.version + (differs ? 1 : 0)) {
            failure_ = "versionsGrowWithWhatTheyTell: not of " + id.stringValue();
        }
    }
    entries_.erase(id);
    if (entry) entries_.emplace(id, *entry);
}

void Invariants::statusWritten(Key const& key) {
    auto const* const entry = world_.tables().policyStatus->policyStatusEntry().find(key);
    auto const before = status_.find(key);
    bool const known = before != status_.end();
    if (known && (!entry || entry->labelFecId != before->second.labelFecId ||
                  entry->bindingSid != before->second.bindingSid)) {
        withdrawn_.insert(key);
        everWithdrawn_.insert(key);
    }
    auto const& fecs = world_.tables().forwarding->fec();
    if (entry &&
        !(fecs.has(entry->labelFecId) && fecs.has(entry->v4FecId) && fecs.has(entry->v6FecId))) {
        failure_ = "fecsComeBeforeWhatNamesThem: not of " + key.stringValue();
    }
    if (entry && !world_.damaged()) {
        bool const same = known && before->second.candidate == entry->candidate;
        auto const expected = same ? before->second.changeTime : seconds(world_.now());
        if (std::abs(entry->changeTime - expected) > 1e-6) {
            failure_ = "timesMoveWithTheirCause: status of " + key.stringValue();
        }
    }
    if (entry) {
        status_[key] = *entry;
    } else {
        status_.erase(key);
    }
}

void Invariants::labelFecOrRouteGone(auto const& isOf) {
    for (auto const& [key, entry] : status_) {
        if (!isOf(entry)) continue;
        withdrawn_.insert(key);
        everWithdrawn_.insert(key);
    }
}

void Invariants::usabilityWritten(Key const& key) {
    auto const kept = kept_.find(key);
    if (kept != kept_.end() && !carriesTraffic(key, kept->second)) kept_.erase(kept);
    // Another's wish for a binding SID is reason enough to let go of it for a moment.
    auto const& entries = world_.tables().selectionInput->policyIdEntry();
    for (auto row = entries.lowerBound(SrTePolicy::PolicyId::lowest(key));
         row && row.key().key == key; row.next()) {
        auto const bindingSid = row.value().bindingSid;
        if (bindingSid.isNull()) continue;
        std::erase_if(kept_, [&](auto const& other) {
            return other.first != key && other.second == bindingSid;
        });
    }
}

bool Invariants::isUsable(Key const& key, SegmentListId id) const {
    auto const& statuses = *world_.tables().segmentListStatus;
    auto const status = world_.tables().config->sbfdConfigured(key)
                            ? statuses.statusWithSbfd(SrTePolicy::Sbfd::SbfdKey::of(key, id))
                            : statuses.status(id);
    return status == SegmentListResolveError::noError;
}

bool Invariants::carriesTraffic(Key const& key, Wirex::MplsLabel bindingSid) const {
    auto const& entries = world_.tables().selectionInput->policyIdEntry();
    auto const* const policy = world_.tables().ecPolicy->policy(key);
    auto const* const active = policy ? policy->active() : nullptr;
    bool carries = false;
    for (auto row = entries.lowerBound(SrTePolicy::PolicyId::lowest(key));
         row && row.key().key == key; row.next()) {
        // What the active candidate asks for is given to it at once, whatever its lists.
        bool const isActive = active && active->policyId == row.key();
        if (isActive && row.value().bindingSid != bindingSid) return false;
        for (auto const& list : row.value().wSegmentList) {
            if (!isUsable(key, list.segmentListId)) continue;
            if (row.value().bindingSid != bindingSid || list.weight == 0) return false;
            carries = true;
        }
    }
    return carries;
}

}  // namespace Sim
