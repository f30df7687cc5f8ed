#include <algorithm>
#include <span>

#include "tests/sim/Model.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

std::span<Wirex::MplsLabel const> labelsOf(SrTePolicy::Export::SegmentList const& list) {
    return std::span(list.segment).first(std::min<std::size_t>(list.size, list.maxSize));
}

/// What identities stand for. One that stands for nothing keeps its number, and so matches nothing
/// that is expected.
class Names {
public:
    explicit Names(Agent::SurvivingTables const& tables) {
        auto const& lists = *tables.exportedLists;
        for (auto row = lists.segmentList().begin(); row; row.next()) addList(row.value());
        auto const& policies = tables.policyStatus->policyStatusEntry();
        for (auto row = policies.begin(); row; row.next()) addFecs(row.value());
    }

    std::string list(SegmentListId id) const {
        auto const found = lists_.find(id);
        return found == lists_.end() ? words("list number", id.value()) : found->second;
    }
    std::string list(TunnelId tunnelId) const {
        if (tunnelId.type() == TunnelType::srTeSegmentList) {
            return list(SegmentListId(static_cast<std::uint32_t>(tunnelId.index())));
        }
        return "tunnel " + tunnelId.stringValue();
    }
    std::string fec(FecId id) const {
        auto const found = fecs_.find(id);
        return found == fecs_.end() ? "FEC " + id.stringValue() : found->second;
    }
    /// The FEC that a tunnel of the colored RIB leads into.
    std::string fec(TunnelId tunnelId) const {
        if (tunnelId.type() != TunnelType::srTePolicy) return "tunnel " + tunnelId.stringValue();
        return fec(FecId::fecIdForAdjType(Pooltab::Fib::AdjType::srTePolicy, tunnelId.index()));
    }

private:
    void addList(SrTePolicy::Export::SegmentList const& list) {
        auto& name = lists_[list.segmentListId];
        name = words(labelsOf(list), "of", list.policyId);
        auto const distinguisher = list.distinguisherId;
        if (!distinguisher.isPolicyList()) name += words(" apart", distinguisher.value());
    }
    void addFecs(SrTePolicy::PolicyStatusEntry const& entry) {
        addFec(entry, entry.labelFecId, "label");
        addFec(entry, entry.v4FecId, "v4");
        addFec(entry, entry.v6FecId, "v6");
    }
    /// One FEC may have several roles; those of a policy are of its own kind and range.
    void addFec(SrTePolicy::PolicyStatusEntry const& entry, FecId id, std::string_view role) {
        auto const range = Agent::policyFecIds;
        bool const inRange = id.masked() >= range.min && id.masked() <= range.max;
        auto& name = fecs_[id];
        if (name.empty()) {
            name = words("FEC of", entry.key, "for", role);
        } else {
            name += "+" + std::string(role);
        }
        if (!inRange || id.adjType() != Pooltab::Fib::AdjType::srTePolicy) name += " out of range";
    }

    std::map<SegmentListId, std::string> lists_;
    std::map<FecId, std::string> fecs_;
};

void addInputRows(Rows& rows, Agent::Tables const& tables, Agent::RunTables const& run,
                  Names const& names) {
    for (auto row = run.policyKeyToIdMap->candidate().begin(); row; row.next()) {
        rows.push_back(words("verdict", row.key(), row.value().reason, row.value().bindingSid));
    }
    for (auto row = tables.selectionInput->policyIdEntry().begin(); row; row.next()) {
        auto const& entry = row.value();
        std::string lists;
        for (auto const& [list, weight] : entry.wSegmentList) {
            lists += words("", names.list(list), weight);
        }
        rows.push_back(words("valid", row.key(), entry.preference.value(), entry.originator,
                             entry.bindingSid, entry.enlp.value(), lists));
    }
}

void addListRows(Rows& rows, Agent::Tables const& tables, Agent::RunTables const& run,
                 Names const& names) {
    for (auto row = tables.exportedLists->segmentList().begin(); row; row.next()) {
        rows.push_back(words("list", names.list(row.key())));
    }
    for (auto row = run.segmentListUsers->segmentListUser().begin(); row; row.next()) {
        rows.push_back(words("user of", names.list(row.key()), "is"));
        row.value().policyId().forEach([&rows](auto const& id) { rows.back() += words("", id); });
    }
    for (auto row = tables.segmentListStatus->status().begin(); row; row.next()) {
        rows.push_back(words("status of", names.list(row.key()), row.value()));
    }
    for (auto row = tables.segmentListStatus->statusWithSbfd().begin(); row; row.next()) {
        rows.push_back(words("status for", row.key().policyKey(), "of",
                             names.list(row.key().segmentListId), row.value()));
    }
    for (auto row = tables.segmentListTunnels->entry().begin(); row; row.next()) {
        rows.push_back(words("tunnel of", names.list(row.key())));
        for (auto const& via : row.value().vias()) rows.back() += words("", via);
    }
}

void addSegmentRows(Rows& rows, Agent::RunTables const& run) {
    auto const& status = *run.segmentStatus;
    std::map<SrTePolicy::SegmentId, Wirex::MplsLabel> labels;
    auto const& live = run.coreDedupTables->notifyingSegmentCollection()->segmentNotifier();
    for (auto row = live.begin(); row; row.next()) {
        auto const* const segment = row.value()->segmentRawPtr();
        labels[segment->segmentId()] =
            static_cast<SrTePolicy::SegmentMplsLabel const*>(segment)->label();
    }
    for (auto row = status.status().begin(); row; row.next()) {
        auto const& record = *row.value();
        auto const& info = *record.viaInfo();
        auto const& fec = info.extFecVia();
        rows.push_back(words("segment", labels[row.key()], info.viaType(),
                             record.resolvedOverTiLfa() ? "TI-LFA" : "-", fec.fecId.value(),
                             fec.labelAction));
        for (auto via = info.mplsVia().begin(); via; via.next()) {
            rows.back() += words("", via.value());
        }
    }
}

void addSelectionRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto row = tables.ecPolicy->policy().begin(); row; row.next()) {
        auto const& key = row.key();
        auto const* const active = row.value().active();
        rows.push_back(words("active of", key, active ? words(active->policyId) : "none"));
        auto rank = row.value().candidates().size();
        for (auto const& candidate : row.value().candidates()) {
            auto const& priority = candidate.priority;
            std::string lists;
            for (auto const& [tunnelId, weight] : candidate.wTunnelId) {
                lists += words("", names.list(tunnelId), weight);
            }
            rows.push_back(words("candidate of", key, rank--, candidate.policyId,
                                 priority.preference.value(), priority.protocol,
                                 priority.originator, priority.discriminator, candidate.bindingSid,
                                 candidate.enlp.value(), lists));
        }
    }
}

void addPublishedRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    auto const& status = *tables.policyStatus;
    for (auto row = status.policyStatusEntry().begin(); row; row.next()) {
        rows.push_back(
            words("published", row.key(), row.value().candidate, row.value().bindingSid));
    }
    for (auto row = status.fecIdToPolicyKey().begin(); row; row.next()) {
        rows.push_back(words("index of", names.fec(row.key()), "is", row.value()));
    }
    for (auto row = tables.forwarding->fec().begin(); row; row.next()) {
        auto const id = row.key().masked();
        if (id < Agent::policyFecIds.min || id > Agent::policyFecIds.max) continue;
        rows.push_back(names.fec(row.key()));
        for (auto const& via : row.value().vias()) {
            rows.back() += words("", names.list(via.tunnelId()), via.weight(), via.label());
            if (via.labelAction() != Wirex::MplsLabelAction::none) rows.back() += " action";
        }
    }
    for (auto row = tables.policyTunnels->entry().begin(); row; row.next()) {
        auto const& entry = row.value();
        SrTePolicy::PolicyKey const key{entry.endpoint.address, entry.color};
        rows.push_back(words("colored RIB", key, entry.endpoint.length, entry.preference,
                             names.fec(row.key())));
    }
}

void addRouteRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto row = tables.bindingSidLfib->rows().begin(); row; row.next()) {
        auto const& route = row.value()->route;
        auto const& via = route.extFecVia;
        rows.push_back(words("route of", row.key().topLabel(), route.source, route.metric.value(),
                             route.viaType, via.labelAction, via.payloadType,
                             names.fec(via.fecId)));
        bool const plain = route.key == row.key() && route.fec == Wirex::IpGenPrefix() &&
                           route.type == Mpls::LfibRouteType::unset && route.mplsVias.empty() &&
                           via.leading == decltype(via.leading){};
        if (!plain) rows.back() += " and more";
    }
    for (auto row = tables.lfib().rows().begin(); row; row.next()) {
        auto const& route = row.value()->route;
        auto const* const theirs = tables.otherLfib->consolidatedRoute(row.key());
        auto const* const ours = tables.bindingSidLfib->consolidatedRoute(row.key());
        auto const* const whose = theirs && *theirs == route ? "theirs"
                                  : ours && *ours == route   ? "ours"
                                                             : "stale";
        rows.push_back(words("merged", row.key().topLabel(), whose));
    }
}

}  // namespace

Witnesses witnesses(Agent::SurvivingTables const& tables) {
    Witnesses found;
    auto const& policies = tables.policyStatus->policyStatusEntry();
    for (auto row = policies.begin(); row; row.next()) {
        auto const bindingSid = row.value().bindingSid;
        if (!bindingSid.isNull()) found.bindingSidHolder[bindingSid] = row.key();
    }
    for (auto row = tables.exportedLists->segmentList().begin(); row; row.next()) {
        auto const labels = labelsOf(row.value());
        found.listId[{row.value().policyId, {labels.begin(), labels.end()}}] = row.key();
    }
    return found;
}

Rows observedRows(Agent::Tables const& tables, Agent::RunTables const& run) {
    Names const names(tables);
    Rows rows;
    addInputRows(rows, tables, run, names);
    addListRows(rows, tables, run, names);
    addSegmentRows(rows, run);
    addSelectionRows(rows, tables, names);
    addPublishedRows(rows, tables, names);
    addRouteRows(rows, tables, names);
    std::sort(rows.begin(), rows.end());
    return rows;
}

}  // namespace Sim
