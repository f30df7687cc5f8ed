#include "Platform/Mpls/LfibWriter.h"
#include "tests/sim/Events.h"
#include "tests/sim/TableWalk.h"
#include "tests/sim/Universe.h"
#include "tests/support/SurvivingWrites.h"

namespace Sim {

namespace {

using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListResolveError;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

FecId strayFec(Number pick) {
    return FecId::fecIdForAdjType(Pooltab::Fib::AdjType::srTePolicy,
                                  Agent::policyFecIds.min.value() + pick % 40);
}

Mpls::ConsolidatedLfibRoute strayRoute(Number pick) {
    Mpls::ConsolidatedLfibRoute route;
    route.key = routeKeyAt(pick);
    route.source = Mpls::LFib::Source::srTePolicy;
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = Mpls::LfibExtFecVia::popInto(strayFec(pick));
    return route;
}

/// Past the functions of the table's owner.
template <class Table>
void deleteSome(Table const& table, Number pick) {
    if constexpr (requires(Table mutableTable) { mutableTable.entryDelAll(); }) {
        if (auto const key = keyIn(table, pick)) const_cast<Table&>(table).entryDel(*key);
    }
}

constexpr std::uint32_t writes = 15;  // the other kinds are deletions

/// A row stands where there is no reason for it, says something else, or goes from a table that
/// `deleteSome` cannot reach.
void writeSome(Agent::SurvivingTables const& tables, std::uint32_t kind, Number pick) {
    auto const id = policyIdAt(pick);
    SrTePolicy::SegmentListId const list(500 + pick % 8);
    auto& statuses = *tables.segmentListStatus;
    auto& policies = *tables.ecPolicy;
    switch (kind) {
        case 0: statuses.statusIs(list, SegmentListResolveError::noError); break;
        case 1:
            if (auto const some = keyIn(statuses.status(), pick)) {
                statuses.statusIs(*some, SegmentListResolveError(1 + pick % 3));
            }
            break;
        case 2:
            if (auto const some = keyIn(statuses.statusWithSbfd(), pick)) {
                statuses.statusWithSbfdIs(*some, SegmentListResolveError(1 + pick % 4));
            }
            break;
        case 3: tables.segmentListTunnels->entryIs({list.getTunnelId(), {}}); break;
        case 4: tables.selectionInput->policyIdEntryIs({id, {}, {}}); break;
        case 5:
            if (auto const some = keyIn(tables.selectionInput->policyIdEntry(), pick)) {
                tables.selectionInput->policyIdEntryDel(*some);
            }
            break;
        case 6: policies.policyIs(id.key); break;
        case 7:
            if (auto const some = keyIn(policies.policy(), pick)) policies.policyDel(*some);
            break;
        case 8:
            if (auto const some = keyIn(policies.policy(), pick)) {
                auto const candidates = policies.policy(*some)->candidates();
                if (!candidates.empty()) policies.candidateDel(candidates.front().policyId);
            }
            break;
        case 9: tables.policyStatus->fecIdToPolicyKeyIs(strayFec(pick), id.key); break;
        case 10: tables.forwarding->fecCommit(Pooltab::Fib::Fec(strayFec(pick))); break;
        case 11: Mpls::LfibWriter(tables.bindingSidLfib).lfibRouteIs(strayRoute(pick)); break;
        case 12:
            tables.policyTunnels->entryIs({TunnelId::make(TunnelType::srTePolicy, pick), {}, 1, 1});
            break;
        case 13:
            tables.bfdSessions->sessionIs(Agent::sbfdSession(list, Bfd::BfdDiscriminator(7)), {});
            break;
        default:
            tables.nextHopTunnels->nhToTunnelMapIs(Gribi::NextHopId(pick), list.getTunnelId());
            break;
    }
}

}  // namespace

void damage(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick) {
    kind %= damageCount;
    if (kind < writes) return writeSome(tables, kind, pick);
    auto left = kind - writes;
    forEachSurvivingTable(tables, [&](auto*, auto const& table, auto const&) {
        if (left-- == 0) deleteSome(table, pick);
    });
}

}  // namespace Sim
