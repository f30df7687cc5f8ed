#include "tests/sim/Journal.h"

#include <bit>
#include <numeric>
#include <string_view>

#include "SrTeTypes/SeededHash.h"

namespace Sim {

namespace {

using SrTePolicy::seededHash;

std::uint64_t digest(std::string_view text) {
    std::uint64_t hash = text.size();
    for (char const c : text) hash = seededHash(hash, static_cast<unsigned char>(c));
    return hash;
}
std::uint64_t digest(std::string const& text) {
    return digest(std::string_view(text));
}

template <class T>
requires requires(T t) {
    t.value();
}
std::uint64_t digest(T const& number) {
    return seededHash(0, std::uint64_t{number.value()});
}
template <class T>
requires requires(T t) {
    t.hash();
}
std::uint64_t digest(T const& value) {
    return value.hash();
}
std::uint64_t digest(Mpls::RouteKey key) {
    return digest(key.topLabel());
}
std::uint64_t digest(SrTePolicy::SegmentListResolveError error) {
    return static_cast<std::uint64_t>(error);
}
std::uint64_t digest(SrTePolicy::Sbfd::SbfdKey const& key) {
    return key.policyKey().hash(key.segmentListId.value());
}
std::uint64_t digest(SrTePolicy::PolicySbfdConfig const& config) {
    return seededHash(config.interval.value(), config.multiplier.value(),
                      config.remoteDiscriminator.value());
}
std::uint64_t digest(SrTePolicy::TunnelIdToPolicyKeyEntry const& row) {
    return row.policyKey.hash();
}
std::uint64_t digest(Bfd::AppPeer const& session) {
    return digest(session.peer.stringValue());
}
std::uint64_t digest(Bfd::Timers const& timers) {
    return seededHash(timers.interval.value(), timers.multiplier.value());
}
std::uint64_t digest(SrTePolicy::Export::SegmentList const& list) {
    auto hash = seededHash(list.policyId.hash(), list.distinguisherId.value(), list.size);
    for (auto const label : list.segment) hash = seededHash(hash, label.value());
    return hash;
}
std::uint64_t digest(Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry const& entry) {
    return digest(entry.stringValue());
}
std::uint64_t digest(SrTePolicy::PolicyStatusEntry const& entry) {
    return seededHash(entry.candidate.hash(entry.key.hash()), entry.bindingSid.value(),
                      entry.labelFecId.value(), entry.v4FecId.value(), entry.v6FecId.value(),
                      std::bit_cast<std::uint64_t>(entry.changeTime));
}
std::uint64_t digest(Pooltab::Fib::Fec const& fec) {
    auto hash = fec.fecId().value();
    for (auto const& via : fec.vias()) {
        hash = seededHash(hash, via.tunnelId().value(), via.weight(), via.label().value());
    }
    return hash;
}
std::uint64_t digest(Tunnel::TunnelTable::SrTePolicyTunnelTableEntry const& entry) {
    return seededHash(digest(entry.endpoint.stringValue()), entry.color, entry.preference);
}
std::uint64_t digest(Quor::Ptr<Mpls::LfibRow const> const& row) {
    auto const& route = row->route;
    return seededHash(route.metric.value(), static_cast<std::uint32_t>(route.source),
                      route.extFecVia.fecId.value(),
                      static_cast<std::uint32_t>(route.extFecVia.labelAction));
}
/// What is told of a policy.
std::uint64_t digest(SrTePolicy::Policy const& policy) {
    auto const* const active = policy.active();
    if (!active) return 1;
    auto hash = seededHash(active->policyId.hash(), active->priority.preference.value(),
                           active->priority.originator.hash(), active->bindingSid.value(),
                           active->enlp.value());
    for (auto const& [tunnelId, weight] : active->wTunnelId) {
        hash = seededHash(hash, tunnelId.value(), weight);
    }
    return hash;
}
std::uint64_t digest(SrTePolicy::SegmentListUser const& user) {
    std::uint64_t hash = 2;
    user.policyId().forEach([&hash](auto const& id) { hash = id.hash(hash); });
    return hash;
}
std::uint64_t digest(Quor::Ptr<SrTePolicy::SegmentResolve const> const& record) {
    return seededHash(digest(record->viaInfo()->stringValue()),
                      record->resolvedOverTiLfa() ? 1u : 0u);
}

}  // namespace

Journal::Journal(World const& world) : world_(world) {
    auto const& tables = world.tables();
    auto const own = [this](Written name, auto const& table) {
        note(watches_, name, table, table);
    };
    own(Written::exportedList, tables.exportedLists->segmentList());
    own(Written::listStatus, tables.segmentListStatus->status());
    own(Written::listTunnel, tables.segmentListTunnels->entry());
    note(watches_, Written::selectionInput, tables.selectionInput->policyIdEntry(),
         tables.selectionInput->entrySubject());
    auto const& policies = tables.ecPolicy->policy();
    note(watches_, Written::ecPolicy, policies, tables.ecPolicy->policySubject());
    note(watches_, Written::ecPolicy, policies, tables.ecPolicy->activeSubject());
    note(watches_, Written::ecPolicy, policies, tables.ecPolicy->activeEntrySubject());
    own(Written::policyStatus, tables.policyStatus->policyStatusEntry());
    own(Written::fecIndex, tables.policyStatus->fecIdToPolicyKey());
    own(Written::fec, tables.forwarding->fec());
    own(Written::policyTunnel, tables.policyTunnels->entry());
    own(Written::route, tables.bindingSidLfib->rows());
    own(Written::combinedStatus, tables.segmentListStatus->statusWithSbfd());
    own(Written::sbfdConfig, tables.sbfdInputConfig->config());
    own(Written::session, tables.bfdSessions->session());
    own(Written::tunnelMap, tables.tunnelMap->entry());
    own(Written::nextHopTunnel, tables.nextHopTunnels->nhToTunnelMap());
    own(Written::group, tables.gribiStatus->nhgToFecEntry());
    own(Written::gribiRoute, tables.gribiLfib->rows());
}

void Journal::agentBegan() {
    auto const& run = world_.machines()->tables();
    auto const& verdicts = run.policyKeyToIdMap->candidate();
    auto const& users = *run.segmentListUsers;
    auto const& segments = run.segmentStatus->status();
    runWatches_.clear();
    for (auto table = static_cast<std::size_t>(Written::verdict); table < writtenCount; ++table) {
        last_[table].clear();
    }
    note(runWatches_, Written::verdict, verdicts, verdicts);
    note(runWatches_, Written::listUsers, users.segmentListUser(), users.segmentListUserSubject());
    note(runWatches_, Written::segmentStatus, segments, segments);
}

template <class Table, class Key>
void Journal::note(Watches& watches, Written name, Table const& table,
                   Quor::Subject<Key> const& subject) {
    // Segments tell of every write; a policy's rank and forwarding are told one after the other; a
    // row of users that goes was emptied before.
    bool const mayBeEqual = name == Written::segmentStatus || name == Written::ecPolicy;
    watches.add(subject, [this, name, &table, mayBeEqual](Key const& key) {
        auto const* const row = table.find(key);
        wrote(name, digest(key), row ? digest(*row) + 1 : 0, mayBeEqual);
    });
}

void Journal::wrote(Written name, std::uint64_t key, std::uint64_t value, bool mayBeEqual) {
    auto const table = static_cast<std::size_t>(name);
    ++counts_[table];
    hash_ = seededHash(hash_, std::uint64_t{table}, key, value);
    auto& last = last_[table][key];
    if (last == value && !mayBeEqual && idleWrite_.empty()) {
        idleWrite_ = "table " + std::to_string(table);
    }
    last = value;
    if (value == 0) {
        gone_[table].insert(key);
    } else if (gone_[table].contains(key)) {
        returned_[table] = true;
    }
}

void Journal::noReturnsUntilNow() {
    for (auto& keys : gone_) keys.clear();
    returned_.fill(false);
}

std::uint64_t Journal::survivingWrites() const {
    auto const last = static_cast<std::size_t>(Written::lastSurviving);
    return std::accumulate(counts_.begin(), counts_.begin() + last + 1, std::uint64_t{0});
}

std::uint64_t Journal::hash() {
    auto const& records = world_.syslog().records();
    for (; messages_ < records.size(); ++messages_) {
        auto const& record = records[messages_];
        hash_ =
            seededHash(hash_, static_cast<std::uint64_t>(record.at.count()),
                       digest(std::string_view(record.message->identifier())), digest(record.text));
    }
    return hash_;
}

}  // namespace Sim
