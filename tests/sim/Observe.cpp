#include <algorithm>

#include "tests/sim/Model.h"
#include "tests/sim/Names.h"
#include "tests/sim/Words.h"

namespace Sim {

namespace {

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
    for (auto row = tables.segmentListTunnels->entry().begin(); row; row.next()) {
        rows.push_back(words("tunnel of", names.list(row.key())));
        for (auto const& via : row.value().vias()) rows.back() += words("", via);
    }
}

void addSbfdRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto row = tables.segmentListStatus->statusWithSbfd().begin(); row; row.next()) {
        rows.push_back(words("status for", row.key().policyKey(), "of",
                             names.list(row.key().segmentListId), row.value()));
    }
    for (auto row = tables.sbfdInputConfig->config().begin(); row; row.next()) {
        auto const& [interval, multiplier, discriminator] = row.value();
        rows.push_back(words("S-BFD for", row.key().policyKey(), "of",
                             names.list(row.key().segmentListId), interval.value(),
                             multiplier.value(), discriminator.value()));
    }
    for (auto row = tables.bfdSessions->session().begin(); row; row.next()) {
        auto const& [app, peer] = row.key();
        auto const& [interval, multiplier] = row.value();
        rows.push_back(words("session", peer.vrf.stringValue(), app.stringValue(),
                             names.list(peer.tunnelId), peer.remoteDiscriminator.value(),
                             interval.value(), multiplier.value()));
    }
}

/// Whether a tunnel is that of a live list of a policy.
bool isInUse(Agent::SurvivingTables const& tables, Tunnel::TunnelTable::TunnelId tunnelId) {
    auto const* const list = tables.exportedLists->segmentList(Agent::segmentListOf(tunnelId));
    return list && list->distinguisherId.isPolicyList();
}

void addTunnelMapRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto row = tables.tunnelMap->entry().begin(); row; row.next()) {
        auto const& key = row.value().policyKey;
        rows.push_back(isInUse(tables, row.key())
                           ? words("owner of", names.list(row.key()), "is", key)
                           : words("former owner of", row.key().stringValue(), "was", key));
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
    for (auto row = tables.policyTunnels->entry().begin(); row; row.next()) {
        auto const& entry = row.value();
        SrTePolicy::PolicyKey const key{entry.endpoint.address, entry.color};
        rows.push_back(words("colored RIB", key, entry.endpoint.length, entry.preference,
                             names.fec(row.key())));
    }
}

bool isWithin(SrTePolicy::FecIdRange const& range, Pooltab::Fib::FecId id) {
    return range.min <= id.masked() && id.masked() <= range.max;
}

std::string inWords(Pooltab::Fib::Via const& via, Names const& names) {
    auto text = words("", names.list(via.tunnelId()), via.weight(), via.label());
    if (via.labelAction() != Wirex::MplsLabelAction::none) text += " action";
    return text;
}

/// The vias of a policy stand in the order of its lists; those of a group in that of their tunnels,
/// which is history's.
void addFecRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto row = tables.forwarding->fec().begin(); row; row.next()) {
        bool const ofGroup = isWithin(Agent::gribiFecIds, row.key());
        if (!ofGroup && !isWithin(Agent::policyFecIds, row.key())) continue;
        auto const vias = row.value().vias();
        std::vector<std::string> texts;
        for (auto const& via : vias) texts.push_back(inWords(via, names));
        if (ofGroup) std::sort(texts.begin(), texts.end());
        rows.push_back(names.fec(row.key()));
        for (auto const& text : texts) rows.back() += text;
        bool const inOrder = std::ranges::is_sorted(vias, {}, &Pooltab::Fib::Via::tunnelId);
        if (ofGroup && !inOrder) rows.back() += " out of order";
    }
}

void addGribiRows(Rows& rows, Agent::Tables const& tables, Names const& names) {
    for (auto row = tables.nextHopTunnels->nhToTunnelMap().begin(); row; row.next()) {
        rows.push_back(words("next hop", row.key().value(), "in", names.list(row.value())));
    }
    for (auto row = tables.gribiStatus->nhgToFecEntry().begin(); row; row.next()) {
        rows.push_back(words("group", row.key().value()));
    }
}

void addRouteRows(Rows& rows, std::string const& what, Mpls::LfibStatus const& lfib,
                  Names const& names) {
    for (auto row = lfib.rows().begin(); row; row.next()) {
        auto const& route = row.value()->route;
        auto const& via = route.extFecVia;
        rows.push_back(words(what, row.key().topLabel(), route.source, route.metric.value(),
                             route.viaType, via.labelAction, via.payloadType,
                             names.fec(via.fecId)));
        bool const plain = route.key == row.key() && route.fec == Wirex::IpGenPrefix() &&
                           route.type == Mpls::LfibRouteType::unset && route.mplsVias.empty() &&
                           via.leading == decltype(via.leading){};
        if (!plain) rows.back() += " and more";
    }
}

void addMergedRows(Rows& rows, Agent::Tables const& tables) {
    for (auto row = tables.lfib().rows().begin(); row; row.next()) {
        auto const& route = row.value()->route;
        auto const* const theirs = tables.otherLfib->consolidatedRoute(row.key());
        auto const* const gribi = tables.gribiLfib->consolidatedRoute(row.key());
        auto const* const ours = tables.bindingSidLfib->consolidatedRoute(row.key());
        auto const* const whose = theirs && *theirs == route ? "theirs"
                                  : gribi && *gribi == route ? "gRIBI's"
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
        found.listId[contentOf(row.value())] = row.key();
    }
    for (auto row = tables.tunnelMap->entry().begin(); row; row.next()) {
        if (isInUse(tables, row.key())) continue;
        found.formerOwner[row.key()] = row.value().policyKey;
    }
    return found;
}

Rows observedRows(Agent::Tables const& tables, Agent::RunTables const& run) {
    Names const names(tables);
    Rows rows;
    addInputRows(rows, tables, run, names);
    addListRows(rows, tables, run, names);
    addSbfdRows(rows, tables, names);
    addTunnelMapRows(rows, tables, names);
    addSegmentRows(rows, run);
    addSelectionRows(rows, tables, names);
    addPublishedRows(rows, tables, names);
    addFecRows(rows, tables, names);
    addGribiRows(rows, tables, names);
    addRouteRows(rows, "route of", *tables.bindingSidLfib, names);
    addRouteRows(rows, "route of gRIBI's", *tables.gribiLfib, names);
    addMergedRows(rows, tables);
    std::sort(rows.begin(), rows.end());
    return rows;
}

}  // namespace Sim
