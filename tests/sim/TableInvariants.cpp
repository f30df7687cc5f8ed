#include <cctype>

#include "Platform/Keel/DumpContext.h"
#include "tests/sim/Invariants.h"
#include "tests/sim/TableWalk.h"
#include "tests/support/SurvivingWrites.h"

namespace Sim {

namespace {

using Agent::policyFecIds;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListResolveError;

void everyRouteLeadsToItsPolicy(Agent::Tables const& tables) {
    std::size_t bindingSids = 0;
    for (auto const& [key, entry] : each(tables.policyStatus->policyStatusEntry())) {
        if (entry.bindingSid.isNull()) continue;
        ++bindingSids;
        auto const* const route =
            tables.bindingSidLfib->consolidatedRoute(Mpls::RouteKey::fromLabel(entry.bindingSid));
        hold(route, "everyRouteLeadsToItsPolicy: none to", key);
        auto const fecId = route->extFecVia.fecId;
        hold(fecId == entry.labelFecId, "everyRouteLeadsToItsPolicy: another FEC than of", key);
        hold(tables.forwarding->fec(fecId), "everyRouteLeadsToItsPolicy: no FEC of", key);
    }
    // With as many routes, none is left over and no binding SID has two holders.
    hold(tables.bindingSidLfib->rows().size() == bindingSids,
         "everyRouteLeadsToItsPolicy: routes without a policy of their own");
}

void fecsAreThoseOfTheStatus(Agent::Tables const& tables) {
    std::map<FecId, SrTePolicy::PolicyKey> named;
    for (auto const& [key, entry] : each(tables.policyStatus->policyStatusEntry())) {
        for (auto const id : {entry.labelFecId, entry.v4FecId, entry.v6FecId}) {
            hold(policyFecIds.has(id), "fecsAreThoseOfTheStatus: out of range", id);
            hold(named.emplace(id, key).first->second == key, "fecsAreThoseOfTheStatus: shared",
                 id);
        }
    }
    std::size_t fecs = 0;
    for (auto const& [id, fec] : each(tables.forwarding->fec())) {
        if (!policyFecIds.has(id)) continue;
        ++fecs;
        hold(named.contains(id), "fecsAreThoseOfTheStatus: left over", id);
    }
    hold(fecs == named.size(), "fecsAreThoseOfTheStatus: one is missing");
    auto const& index = tables.policyStatus->fecIdToPolicyKey();
    for (auto const& [id, key] : each(index)) {
        hold(named.contains(id) && named[id] == key, "fecsAreThoseOfTheStatus: index", id);
    }
    hold(index.size() == named.size(), "fecsAreThoseOfTheStatus: an index row is missing");
}

void usableListsHaveATunnel(Agent::Tables const& tables) {
    std::size_t usable = 0;
    for (auto const& [id, error] : each(tables.segmentListStatus->status())) {
        hold(tables.exportedLists->segmentList(id), "usableListsHaveATunnel: not exported", id);
        if (error != SegmentListResolveError::noError) continue;
        ++usable;
        auto const* const tunnel = tables.segmentListTunnels->entry(id.getTunnelId());
        hold(tunnel && tunnel->viaCount() > 0, "usableListsHaveATunnel: none of", id);
    }
    hold(tables.segmentListTunnels->entry().size() == usable,
         "usableListsHaveATunnel: a tunnel of a list that is not usable");
}

void noViaLeadsIntoAnothersTunnel(Agent::Tables const& tables) {
    for (auto const& [fecId, owner] : each(tables.policyStatus->fecIdToPolicyKey())) {
        auto const* const fec = tables.forwarding->fec(fecId);
        if (!fec) continue;
        for (auto const& via : fec->vias()) {
            auto const id = Agent::segmentListOf(via.tunnelId());
            auto const* const list = tables.exportedLists->segmentList(id);
            hold(id.getTunnelId() == via.tunnelId(), "noViaLeadsIntoAnothersTunnel: no list's",
                 fecId);
            hold(!list || list->policyId.key == owner, "noViaLeadsIntoAnothersTunnel:", fecId);
        }
    }
}

void policyTunnelsLeadIntoLabelFecs(Agent::Tables const& tables) {
    for (auto const& [tunnelId, entry] : each(tables.policyTunnels->entry())) {
        auto const* const policy =
            tables.policyStatus->policyStatusEntry().find({entry.endpoint.address, entry.color});
        hold(policy && policy->labelFecId.fecIdToTunnelId() == tunnelId,
             "policyTunnelsLeadIntoLabelFecs: not", tunnelId);
    }
}

void gribiRoutesLeadToTheirGroups(Agent::Tables const& tables) {
    for (auto const& [key, row] : each(tables.gribiLfib->rows())) {
        auto const* const entry = tables.gribiAfts->mplsAft->mplsAftEntry().find(key.topLabel());
        hold(entry, "gribiRoutesLeadToTheirGroups: nobody asks for", key);
        auto const* const fecId = tables.gribiStatus->nhgToFecEntry(entry->nextHopGroupId);
        hold(fecId && row->route.extFecVia.fecId == *fecId, "gribiRoutesLeadToTheirGroups:", key);
    }
    for (auto const& [group, fecId] : each(tables.gribiStatus->nhgToFecEntry())) {
        auto const* const fec = tables.forwarding->fec(fecId);
        hold(fec && !fec->vias().empty(), "gribiRoutesLeadToTheirGroups: no FEC of", group);
        for (auto const& via : fec->vias()) {
            hold(tables.segmentListTunnels->entry(via.tunnelId()),
                 "gribiRoutesLeadToTheirGroups: no tunnel", group, via.tunnelId());
        }
    }
    std::size_t fecs = 0;
    for (auto const& [id, fec] : each(tables.forwarding->fec())) fecs += Agent::gribiFecIds.has(id);
    hold(fecs == tables.gribiStatus->nhgToFecEntry().size(),
         "gribiRoutesLeadToTheirGroups: FECs without a group");
}

void sessionsAreThoseOfTheConfiguration(Agent::Tables const& tables) {
    auto const& configs = tables.sbfdInputConfig->config();
    for (auto const& [key, settings] : each(configs)) {
        auto const session = Agent::sbfdSession(key.segmentListId, settings.remoteDiscriminator);
        hold(tables.bfdSessions->session(session), "sessionsAreThoseOfTheConfiguration: none of",
             key);
    }
    hold(tables.bfdSessions->session().size() == configs.size(),
         "sessionsAreThoseOfTheConfiguration: one too many");
}

void combinedStatusesFollow(Agent::Tables const& tables) {
    for (auto const& [key, combined] : each(tables.segmentListStatus->statusWithSbfd())) {
        auto const plain = tables.segmentListStatus->status(key.segmentListId);
        hold(plain.has_value(), "combinedStatusesFollow: no plain one of", key);
        auto const config = tables.sbfdInputConfig->config(key);
        auto const* const state =
            config ? tables.bfdPeers->operState(
                         Agent::sbfdSession(key.segmentListId, config->remoteDiscriminator).peer)
                   : nullptr;
        bool const down = state && *state == Bfd::OperState::down;
        bool const usable = *plain == SegmentListResolveError::noError;
        hold(combined == (usable && down ? SegmentListResolveError::sbfdDown : *plain),
             "combinedStatusesFollow:", key);
    }
}

}  // namespace

void tablesAreSound(Agent::Tables const& tables, Journal const& journal) {
    if (journal.wrote({"status", "fec", "route"})) everyRouteLeadsToItsPolicy(tables);
    if (journal.wrote({"status", "fec", "fec-index"})) fecsAreThoseOfTheStatus(tables);
    if (journal.wrote({"export", "list-status", "list-tunnel"})) usableListsHaveATunnel(tables);
    if (journal.wrote({"export", "fec", "fec-index"})) noViaLeadsIntoAnothersTunnel(tables);
    if (journal.wrote({"status", "policy-tunnel"})) policyTunnelsLeadIntoLabelFecs(tables);
}

void servicesAreSound(World const& world, Journal const& journal) {
    auto const* const machines = world.machines();
    if (!machines) return;
    if (machines->gribiRoot() && journal.wrote({"list-tunnel", "fec", "group", "gribi-route"})) {
        gribiRoutesLeadToTheirGroups(world.tables());
    }
    if (!machines->started()) return;
    combinedStatusesFollow(world.tables());
    if (journal.wrote({"sbfd-input", "sbfd-session"})) {
        sessionsAreThoseOfTheConfiguration(world.tables());
    }
}

void nothingIsLeft(Agent::Tables const& tables, Agent::RunTables const& run) {
    forEachSurvivingTable(tables, [](char const* name, auto const& table, auto const&) {
        hold(table.empty(), "nothingIsLeft: in", std::string(name));
    });
    auto const& lists = *run.coreDedupTables->notifyingSegmentListCollection();
    auto const& segments = *run.coreDedupTables->notifyingSegmentCollection();
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
    machines.sbfdInputSm().dumpState(dump, 2);
    machines.sbfdSessionSm().dumpState(dump, 2);
    machines.selectionSm().dumpState(dump, 2);
    machines.publishSm().dumpState(dump, 2);
    machines.lfibGenSm().dumpState(dump, 2);
    machines.tunnelMapSm().dumpState(dump, 2);
    machines.gribiRoot()->dumpState(dump, 2);
    auto const& text = dump.text();
    auto const forEachAfter = [&text](std::string_view mark, auto const& check) {
        for (auto at = text.find(mark); at != text.npos; at = text.find(mark, at + 1)) {
            check(text[at + mark.size()]);
        }
    };
    forEachAfter("#", [&text](char next) {
        hold(!std::isdigit(next) || next == '0', "nothingIsRemembered: something", text);
    });
    forEachAfter("Bookmark: endpoint ", [&text](char next) {
        hold(next == ' ', "nothingIsRemembered: a bookmark", text);
    });
    for (auto const* const trace : {"bsid: ", "segmentId: ", "sbfdkey:"}) {
        hold(text.find(trace) == text.npos, "nothingIsRemembered: something", text);
    }
}

}  // namespace Sim
