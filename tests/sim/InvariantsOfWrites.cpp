#include <algorithm>
#include <cmath>

#include "tests/sim/Invariants.h"
#include "tests/sim/TableWalk.h"

namespace Sim {

using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;

void Invariants::watchOutputs() {
    auto const& tables = world_.tables();
    auto const& fecs = tables.forwarding->fec();
    auto const& index = tables.policyStatus->fecIdToPolicyKey();
    auto const whole = [](auto const& row) { return row; };
    auto const membership = [](auto const&) { return true; };
    auto const fecNamed = [this](FecId id, bool const* before, bool const* now) {
        if (!before == !now || !Agent::policyFecIds.has(id)) return;
        auto const number = id.masked().value() - Agent::policyFecIds.min.value();
        fecChanges_.emplace_back(number, now ? 1 : -1);
    };
    watches_.addRows(fecs, fecs, membership, fecNamed);
    watches_.addRows(index, index, membership, fecNamed);
    watches_.add(fecs, [&](FecId id) {
        if (fecs.has(id)) return;
        fecOrRouteGone([id](auto const& entry) {
            return entry.labelFecId == id || entry.v4FecId == id || entry.v6FecId == id;
        });
    });
    watches_.add(tables.bindingSidLfib->rows(), [&](Mpls::RouteKey key) {
        if (tables.bindingSidLfib->rows().has(key)) return;
        fecOrRouteGone([key](auto const& entry) { return entry.bindingSid == key.topLabel(); });
    });
    auto const& lists = tables.exportedLists->segmentList();
    watches_.addRows(lists, lists, membership, [this](SegmentListId id, auto* before, auto* now) {
        if (now && !before) listAdded(id);
    });
    watches_.add(tables.segmentListStatus->status(),
                 [this](SegmentListId id) { listStatusWritten(id); });
    watches_.add(tables.segmentListStatus->statusWithSbfd(),
                 [this](auto const&) { usabilityWritten(); });
    watches_.add(tables.config->policy(), [this](Key const&) { usabilityWritten(); });
    auto const& owners = tables.tunnelMap->entry();
    watches_.addRows(owners, owners, whole, [this](auto id, auto* before, auto* now) {
        if (before) ownerWritten(id, before->policyKey, now);
    });
    auto const& status = tables.policyStatus->policyStatusEntry();
    watches_.addRows(status, status, whole,
                     [this](auto const&, auto* before, auto* now) { statusWritten(before, now); });
    watches_.addRows(tables.selectionInput->policyIdEntry(), tables.selectionInput->entrySubject(),
                     whole,
                     [this](auto const&, auto* before, auto* now) { entryWritten(before, now); });
}

void Invariants::watchInputs() {
    auto const& tables = world_.tables();
    watches_.add(tables.sources->policyInput(), [this](SrTePolicy::Protocol protocol) {
        sourceWatches_[protocol].clear();
        watchSource(protocol);
        receivedAll(protocol);
    });
    watches_.add(tables.config->specifiedBsidOnly, [&](std::monostate) {
        for (auto const& [protocol, source] : each(tables.sources->policyInput())) {
            receivedAll(protocol);
        }
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
    for (auto const& [id, entry] : each(source->policyInputEntry())) {
        receivedAt_[id] = world_.now();
    }
}

/// A run of the agent hands out ever larger identities, from the largest one on that any table
/// names at its first step.
void Invariants::listAdded(SegmentListId id) {
    ++lists_;
    if (id <= largestList_) failure_ = "anIdentityIsNotReused: list " + id.stringValue();
    largestList_ = std::max(largestList_, id);
}

SegmentListId Invariants::largestNamedList() const {
    SegmentListId largest;
    auto const name = [&largest](Tunnel::TunnelTable::TunnelId id) {
        if (id.type() != Tunnel::TunnelTable::TunnelType::srTeSegmentList) return;
        largest = std::max(largest, Agent::segmentListOf(id));
    };
    auto const& tables = world_.tables();
    auto const& statuses = *tables.segmentListStatus;
    for (auto const& [id, list] : each(tables.exportedLists->segmentList())) name(id.getTunnelId());
    for (auto const& [id, error] : each(statuses.status())) name(id.getTunnelId());
    for (auto const& [key, error] : each(statuses.statusWithSbfd())) {
        name(key.segmentListId.getTunnelId());
    }
    for (auto const& [key, settings] : each(tables.sbfdInputConfig->config())) {
        name(key.segmentListId.getTunnelId());
    }
    for (auto const& [key, timers] : each(tables.bfdSessions->session())) name(key.peer.tunnelId);
    for (auto const& [peer, state] : each(tables.bfdPeers->peer())) name(peer.tunnelId);
    for (auto const& [id, owner] : each(tables.tunnelMap->entry())) name(id);
    for (auto const& [id, counter] : each(tables.tunnelCounters->tunnelCounter())) name(id);
    for (auto const& [hop, id] : each(tables.nextHopTunnels->nhToTunnelMap())) name(id);
    for (auto const& [id, tunnel] : each(tables.segmentListTunnels->entry())) name(id);
    for (auto const& [id, fec] : each(tables.forwarding->fec())) {
        for (auto const& via : fec.vias()) name(via.tunnelId());
    }
    for (auto const& [id, entry] : each(tables.selectionInput->policyIdEntry())) {
        for (auto const& list : entry.wSegmentList) name(list.segmentListId.getTunnelId());
    }
    for (auto const& [key, policy] : each(tables.ecPolicy->policy())) {
        for (auto const& candidate : policy.candidates()) {
            for (auto const& tunnel : candidate.wTunnelId) name(tunnel.tunnelId);
        }
    }
    return largest;
}

/// A tunnel is there before its status says usable: who reads the status takes it for granted.
void Invariants::listStatusWritten(SegmentListId id) {
    auto const& tables = world_.tables();
    if (tables.segmentListStatus->status(id) == SegmentListResolveError::noError &&
        !tables.segmentListTunnels->entry(id.getTunnelId()) && !world_.damaged()) {
        failure_ = "tunnelsComeBeforeTheirStatus: not of " + id.stringValue();
    }
    usabilityWritten();
}

/// While a tunnel is counted, traffic is told of by the policy that last used it.
void Invariants::ownerWritten(Tunnel::TunnelTable::TunnelId id, Key const& before,
                              SrTePolicy::TunnelIdToPolicyKeyEntry const* now) {
    if (world_.damaged()) return;
    bool const passes = now && now->policyKey != before;
    if (passes && (!world_.isUsed(id, now->policyKey) || world_.isUsed(id, before))) {
        failure_ = "aTunnelKeepsItsPolicy: not " + id.stringValue();
    }
    if (!now && world_.tables().tunnelCounters->tunnelCounter(id)) {
        failure_ = "aCountedTunnelKeepsItsRow: not " + id.stringValue();
    }
}

/// A version grows exactly with what it tells of.
void Invariants::entryWritten(SrTePolicy::PolicyIdEntry const* before,
                              SrTePolicy::PolicyIdEntry const* now) {
    if (now) wishWritten(*now);
    usabilityWritten();
    if (!before || !now || world_.damaged()) return;
    bool const differs = before->bindingSid != now->bindingSid || before->enlp != now->enlp ||
                         before->wSegmentList != now->wSegmentList;
    if (now->version != before->version + (differs ? 1 : 0)) {
        failure_ = "versionsGrowWithWhatTheyTell: not of " + now->policyId.stringValue();
    }
}

void Invariants::statusWritten(SrTePolicy::PolicyStatusEntry const* before,
                               SrTePolicy::PolicyStatusEntry const* now) {
    using Entry = SrTePolicy::PolicyStatusEntry;
    // A FEC with an explicit null comes and goes with the wish for one.
    auto const renumbered = [=](FecId Entry::*fec) {
        return before->*fec != now->*fec && before->*fec != before->labelFecId &&
               now->*fec != now->labelFecId;
    };
    if (before &&
        (!now || now->labelFecId != before->labelFecId || now->bindingSid != before->bindingSid ||
         renumbered(&Entry::v4FecId) || renumbered(&Entry::v6FecId))) {
        withdrawn_.insert(before->key);
    }
    if (!now) return;
    auto const& fecs = world_.tables().forwarding->fec();
    if (!(fecs.has(now->labelFecId) && fecs.has(now->v4FecId) && fecs.has(now->v6FecId))) {
        failure_ = "fecsComeBeforeWhatNamesThem: not of " + now->key.stringValue();
    }
    if (world_.damaged()) return;
    bool const same = before && before->candidate == now->candidate;
    auto const expected = same ? before->changeTime : seconds(world_.now());
    if (std::abs(now->changeTime - expected) > 1e-6) {
        failure_ = "timesMoveWithTheirCause: status of " + now->key.stringValue();
    }
}

void Invariants::fecOrRouteGone(auto const& isOf) {
    for (auto const& [key, entry] : each(world_.tables().policyStatus->policyStatusEntry())) {
        if (isOf(entry)) withdrawn_.insert(key);
    }
}

/// Another's wish for a binding SID is reason enough to let go of it for a moment.
void Invariants::wishWritten(SrTePolicy::PolicyIdEntry const& entry) {
    if (entry.bindingSid.isNull()) return;
    std::erase_if(kept_, [&entry](auto const& policy) {
        return policy.first != entry.policyId.key && policy.second == entry.bindingSid;
    });
}

void Invariants::usabilityWritten() {
    std::erase_if(
        kept_, [this](auto const& policy) { return !carriesTraffic(policy.first, policy.second); });
}

bool Invariants::carriesTraffic(Key const& key, Wirex::MplsLabel bindingSid) const {
    auto const* const policy = world_.tables().ecPolicy->policy(key);
    auto const* const active = policy ? policy->active() : nullptr;
    auto const& entries = world_.tables().selectionInput->policyIdEntry();
    bool carries = false;
    for (auto row = entries.lowerBound(SrTePolicy::PolicyId::lowest(key));
         row && row.key().key == key; row.next()) {
        auto const& entry = row.value();
        bool const same = entry.bindingSid == bindingSid;
        // What the active candidate asks for is given to it at once, whatever its lists.
        if (!same && active && active->policyId == row.key()) return false;
        for (auto const& list : entry.wSegmentList) {
            if (!isUsable(key, list.segmentListId)) continue;
            if (!same || list.weight == 0) return false;
            carries = true;
        }
    }
    return carries;
}

bool Invariants::isUsable(Key const& key, SegmentListId id) const {
    auto const& statuses = *world_.tables().segmentListStatus;
    auto const status = world_.tables().config->sbfdConfigured(key)
                            ? statuses.statusWithSbfd(SrTePolicy::Sbfd::SbfdKey::of(key, id))
                            : statuses.status(id);
    return status == SegmentListResolveError::noError;
}

}  // namespace Sim
