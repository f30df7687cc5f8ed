#include <algorithm>
#include <span>

#include "tests/sim/Model.h"
#include "tests/sim/TableWalk.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

ListContent contentOf(SrTePolicy::Export::SegmentList const& list) {
    ListContent content{list.policyId, {}, list.distinguisherId};
    for (auto const label : std::span(list.segment).first(std::min(list.size, list.maxSize))) {
        content.labels.append(label);
    }
    return content;
}

/// What identities stand for. One that stands for nothing keeps its number, and so matches nothing
/// that is expected.
class Names {
public:
    explicit Names(Agent::SurvivingTables const& tables) {
        for (auto const& [id, list] : each(tables.exportedLists->segmentList())) {
            lists_[id] = words(contentOf(list));
        }
        for (auto const& [key, entry] : each(tables.policyStatus->policyStatusEntry())) {
            auto const owner = words("FEC of", entry.key, "for ");
            addFec(entry.labelFecId, Agent::policyFecIds, owner, "label");
            addFec(entry.v4FecId, Agent::policyFecIds, owner, "v4");
            addFec(entry.v6FecId, Agent::policyFecIds, owner, "v6");
        }
        for (auto const& [id, fecId] : each(tables.gribiStatus->nhgToFecEntry())) {
            addFec(fecId, Agent::gribiFecIds, "FEC of group ", words(id));
        }
    }

    std::string list(SegmentListId id) const {
        auto const found = lists_.find(id);
        return found == lists_.end() ? words("list number", id) : found->second;
    }
    std::string list(TunnelId tunnelId) const {
        bool const ofList = tunnelId.type() == TunnelType::srTeSegmentList;
        return ofList ? list(Agent::segmentListOf(tunnelId)) : words("tunnel", tunnelId);
    }
    std::string fec(FecId id) const {
        auto const found = fecs_.find(id);
        return found == fecs_.end() ? words("FEC", id) : found->second;
    }
    /// The FEC that a tunnel of the colored RIB leads into.
    std::string fec(TunnelId tunnelId) const {
        if (tunnelId.type() != TunnelType::srTePolicy) return words("tunnel", tunnelId);
        return fec(FecId::fecIdForAdjType(AdjType::srTePolicy, tunnelId.index()));
    }

private:
    /// One FEC may have several roles; those of an owner are of our own kind and its range.
    void addFec(FecId id, SrTePolicy::FecIdRange const& range, std::string const& owner,
                std::string const& role) {
        auto& name = fecs_[id];
        name += name.empty() ? owner + role : "+" + role;
        if (!range.has(id) || id.adjType() != AdjType::srTePolicy) name += " out of range";
    }

    std::map<SegmentListId, std::string> lists_;
    std::map<FecId, std::string> fecs_;
};

/// Whether a tunnel is that of a live list of a policy.
bool isInUse(Agent::SurvivingTables const& tables, TunnelId tunnelId) {
    auto const* const list = tables.exportedLists->segmentList(Agent::segmentListOf(tunnelId));
    return list && list->distinguisherId.isPolicyList();
}

void addInputRows(Rows& rows, Agent::Tables const& tables, Agent::RunTables const& run,
                  Names const& names) {
    for (auto const& [id, info] : each(run.policyKeyToIdMap->candidate())) {
        rows.push_back(words("verdict", id, info.reason, info.bindingSid));
    }
    for (auto const& [id, entry] : each(tables.selectionInput->policyIdEntry())) {
        rows.push_back(words("valid", id, entry.preference, entry.originator, entry.bindingSid,
                             entry.enlp, ""));
        for (auto const& [list, weight] : entry.wSegmentList) {
            rows.back() += words("", names.list(list), weight);
        }
    }
}

void addListRows(Rows& rows, Agent::Tables const& tables, Agent::RunTables const& run,
                 Names const& names) {
    for (auto const& [id, list] : each(tables.exportedLists->segmentList())) {
        rows.push_back(words("list", names.list(id)));
    }
    for (auto const& [id, user] : each(run.segmentListUsers->segmentListUser())) {
        rows.push_back(words("user of", names.list(id), "is"));
        user.policyId().forEach([&rows](auto const& owner) { rows.back() += words("", owner); });
    }
    for (auto const& [id, error] : each(tables.segmentListStatus->status())) {
        rows.push_back(words("status of", names.list(id), error));
    }
    for (auto const& [id, tunnel] : each(tables.segmentListTunnels->entry())) {
        rows.push_back(words("tunnel of", names.list(id)));
        for (auto const& via : tunnel.vias()) rows.back() += words("", via);
    }
    for (auto const& [id, owner] : each(tables.tunnelMap->entry())) {
        rows.push_back(isInUse(tables, id)
                           ? words("owner of", names.list(id), "is", owner.policyKey)
                           : words("former owner of", id, "was", owner.policyKey));
    }
}

void addSbfdRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto const& [key, error] : each(tables.segmentListStatus->statusWithSbfd())) {
        auto const list = names.list(key.segmentListId);
        rows.push_back(words("status for", key.policyKey(), "of", list, error));
    }
    for (auto const& [key, settings] : each(tables.sbfdInputConfig->config())) {
        auto const list = names.list(key.segmentListId);
        rows.push_back(words("S-BFD for", key.policyKey(), "of", list, settings));
    }
    for (auto const& [key, timers] : each(tables.bfdSessions->session())) {
        auto const& [vrf, tunnelId, discriminator] = key.peer;
        rows.push_back(words("session", vrf.stringValue(), key.app.stringValue(),
                             names.list(tunnelId), discriminator, timers));
    }
}

void addSegmentRows(Rows& rows, Agent::RunTables const& run) {
    std::map<SrTePolicy::SegmentId, Wirex::MplsLabel> labels;
    auto const& live = run.coreDedupTables->notifyingSegmentCollection()->segmentNotifier();
    for (auto const& [id, notifier] : each(live)) {
        auto const* const segment = notifier->segmentRawPtr();
        labels[id] = static_cast<SrTePolicy::SegmentMplsLabel const*>(segment)->label();
    }
    for (auto const& [id, record] : each(run.segmentStatus->status())) {
        auto const& info = *record->viaInfo();
        auto const& fec = info.extFecVia();
        rows.push_back(words("segment", labels[id], info.viaType(),
                             record->resolvedOverTiLfa() ? "TI-LFA" : "-", fec.fecId,
                             fec.labelAction));
        for (auto const& [index, via] : each(info.mplsVia())) rows.back() += words("", via);
    }
}

void addSelectionRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto const& [key, policy] : each(tables.ecPolicy->policy())) {
        auto const* const active = policy.active();
        rows.push_back(words("active of", key, active ? words(active->policyId) : "none"));
        auto rank = policy.candidates().size();
        for (auto const& candidate : policy.candidates()) {
            auto const& priority = candidate.priority;
            rows.push_back(words("candidate of", key, rank--, candidate.policyId,
                                 priority.preference, priority.protocol, priority.originator,
                                 priority.discriminator, candidate.bindingSid, candidate.enlp, ""));
            for (auto const& [tunnelId, weight] : candidate.wTunnelId) {
                rows.back() += words("", names.list(tunnelId), weight);
            }
        }
    }
}

void addPublishedRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto const& [key, entry] : each(tables.policyStatus->policyStatusEntry())) {
        rows.push_back(words("published", key, entry.candidate, entry.bindingSid));
    }
    for (auto const& [fecId, key] : each(tables.policyStatus->fecIdToPolicyKey())) {
        rows.push_back(words("index of", names.fec(fecId), "is", key));
    }
    for (auto const& [id, entry] : each(tables.policyTunnels->entry())) {
        SrTePolicy::PolicyKey const key{entry.endpoint.address, entry.color};
        rows.push_back(
            words("colored RIB", key, entry.endpoint.length, entry.preference, names.fec(id)));
    }
}

std::string inWords(Pooltab::Fib::Via const& via, Names const& names) {
    auto const text = words("", names.list(via.tunnelId()), via.weight(), via.label());
    return via.labelAction() == Wirex::MplsLabelAction::none ? text : text + " action";
}

/// The vias of a policy stand in the order of its lists; those of a group in that of their tunnels,
/// which is history's.
void addFecRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto const& [id, fec] : each(tables.forwarding->fec())) {
        bool const ofGroup = Agent::gribiFecIds.has(id);
        std::vector<std::string> vias;
        for (auto const& via : fec.vias()) vias.push_back(inWords(via, names));
        if (ofGroup) std::ranges::sort(vias);
        rows.push_back(names.fec(id));
        for (auto const& via : vias) rows.back() += via;
        bool const inOrder = std::ranges::is_sorted(fec.vias(), {}, &Pooltab::Fib::Via::tunnelId);
        if (ofGroup && !inOrder) rows.back() += " out of order";
    }
}

void addGribiRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto const& [id, tunnelId] : each(tables.nextHopTunnels->nhToTunnelMap())) {
        rows.push_back(words("next hop", id, "in", names.list(tunnelId)));
    }
    for (auto const& [id, fecId] : each(tables.gribiStatus->nhgToFecEntry())) {
        rows.push_back(words("group", id));
    }
}

void addRouteRows(Rows& rows, std::string const& what, Mpls::LfibStatus const& lfib,
                  Names const& names) {
    for (auto const& [key, row] : each(lfib.rows())) {
        auto const& route = row->route;
        auto const& via = route.extFecVia;
        rows.push_back(words(what, key.topLabel(), route.source, route.metric, route.viaType,
                             via.labelAction, via.payloadType, names.fec(via.fecId)));
        bool const plain = route.key == key && route.fec == Wirex::IpGenPrefix() &&
                           route.type == Mpls::LfibRouteType::unset && route.mplsVias.empty() &&
                           via.leading == decltype(via.leading){};
        if (!plain) rows.back() += " and more";
    }
}

bool has(Mpls::LfibStatus const& lfib, Mpls::ConsolidatedLfibRoute const& route) {
    auto const* const held = lfib.consolidatedRoute(route.key);
    return held && *held == route;
}

void addMergedRows(Rows& rows, Agent::Tables const& tables) {
    for (auto const& [key, row] : each(tables.lfib().rows())) {
        auto const* const whose = has(*tables.otherLfib, row->route)        ? "theirs"
                                  : has(*tables.gribiLfib, row->route)      ? "gRIBI's"
                                  : has(*tables.bindingSidLfib, row->route) ? "ours"
                                                                            : "stale";
        rows.push_back(words("merged", key.topLabel(), whose));
    }
}

}  // namespace

Witnesses witnesses(Agent::SurvivingTables const& tables) {
    Witnesses found;
    for (auto const& [key, entry] : each(tables.policyStatus->policyStatusEntry())) {
        if (!entry.bindingSid.isNull()) found.bindingSidHolder[entry.bindingSid] = key;
    }
    for (auto const& [id, list] : each(tables.exportedLists->segmentList())) {
        found.listId[contentOf(list)] = id;
    }
    for (auto const& [id, owner] : each(tables.tunnelMap->entry())) {
        if (!isInUse(tables, id)) found.formerOwner[id] = owner.policyKey;
    }
    return found;
}

Rows observedRows(Agent::Tables const& tables, Agent::RunTables const& run) {
    Names const names(tables);
    Rows rows;
    addInputRows(rows, tables, run, names);
    addListRows(rows, tables, run, names);
    addSbfdRows(rows, tables, names);
    addSegmentRows(rows, run);
    addSelectionRows(rows, tables, names);
    addPublishedRows(rows, tables, names);
    addFecRows(rows, tables, names);
    addGribiRows(rows, tables, names);
    addRouteRows(rows, "route of", *tables.bindingSidLfib, names);
    addRouteRows(rows, "route of gRIBI's", *tables.gribiLfib, names);
    addMergedRows(rows, tables);
    std::ranges::sort(rows);
    return rows;
}

}  // namespace Sim
