#include "tests/sim/Damage.h"

#include <optional>

#include "Platform/Mpls/LfibWriter.h"
#include "tests/sim/TableWalk.h"
#include "tests/sim/Universe.h"

namespace Sim {

namespace {

using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using SrTePolicy::PolicyId;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

FecId strayFec(std::uint32_t pick) {
    return FecId::fecIdForAdjType(AdjType::srTePolicy, Agent::policyFecIds.min.value() + pick % 40);
}

Mpls::ConsolidatedLfibRoute strayRoute(std::uint32_t pick) {
    Mpls::ConsolidatedLfibRoute route;
    route.key = routeKeyAt(pick);
    route.source = Mpls::LFib::Source::srTePolicy;
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = Mpls::LfibExtFecVia::popInto(strayFec(pick));
    return route;
}

void damageLists(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick) {
    auto& status = *tables.segmentListStatus;
    SegmentListId const stray(500 + pick % 8);
    switch (kind) {
        case 0:
            if (auto const id = keyIn(tables.exportedLists->segmentList(), pick)) {
                tables.exportedLists->segmentListDel(*id);
            }
            break;
        case 1:
            if (auto const id = keyIn(status.status(), pick)) status.statusDel(*id);
            break;
        case 2:
            if (auto const id = keyIn(status.status(), pick)) {
                status.statusIs(*id, SegmentListResolveError(1 + pick % 3));
            }
            break;
        case 3:
            if (auto const id = keyIn(tables.segmentListTunnels->entry(), pick)) {
                tables.segmentListTunnels->entryDel(*id);
            }
            break;
        case 4: status.statusIs(stray, SegmentListResolveError::noError); break;
        default:
            tables.segmentListTunnels->entryIs(
                Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry(stray.getTunnelId(), {}));
            break;
    }
}

void damageChoice(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick) {
    auto const id = policyIdAt(pick);
    auto const key = keyIn(tables.ecPolicy->policy(), pick);
    switch (kind) {
        case 6:
            if (auto const row = keyIn(tables.selectionInput->policyIdEntry(), pick)) {
                tables.selectionInput->policyIdEntryDel(*row);
            }
            break;
        case 7:
            tables.selectionInput->policyIdEntryIs(SrTePolicy::PolicyIdEntry(id, {}, {}));
            break;
        case 8:
            if (key) tables.ecPolicy->policyDel(*key);
            break;
        case 9:
            if (key && !tables.ecPolicy->policy(*key)->candidates().empty()) {
                tables.ecPolicy->candidateDel(
                    PolicyId(tables.ecPolicy->policy(*key)->candidates().front().policyId));
            }
            break;
        default: tables.ecPolicy->policyIs(id.key); break;
    }
}

void damagePublication(Agent::SurvivingTables const& tables, std::uint32_t kind,
                       std::uint32_t pick) {
    Mpls::LfibWriter routes(tables.bindingSidLfib);
    switch (kind) {
        case 11:
            if (auto const key = keyIn(tables.policyStatus->policyStatusEntry(), pick)) {
                tables.policyStatus->policyStatusEntryDel(*key);
            }
            break;
        case 12:
            if (auto const fecId = keyIn(tables.policyStatus->fecIdToPolicyKey(), pick)) {
                tables.policyStatus->fecIdToPolicyKeyDel(*fecId);
            }
            break;
        case 13:
            tables.policyStatus->fecIdToPolicyKeyIs(strayFec(pick), policyIdAt(pick).key);
            break;
        case 14:
            if (auto const fecId = keyIn(tables.forwarding->fec(), pick)) {
                tables.forwarding->fecDel(*fecId);
            }
            break;
        case 15: tables.forwarding->fecCommit(Pooltab::Fib::Fec(strayFec(pick))); break;
        case 16:
            if (pick % 2) {
                routes.lfibRouteIs(strayRoute(pick));
            } else if (auto const key = keyIn(tables.bindingSidLfib->rows(), pick)) {
                routes.lfibRouteDel(*key);
            }
            break;
        default:
            if (auto const id = keyIn(tables.policyTunnels->entry(), pick)) {
                tables.policyTunnels->entryDel(*id);
            } else {
                tables.policyTunnels->entryIs(
                    {TunnelId::make(TunnelType::srTePolicy, pick), {}, 1, 1});
            }
            break;
    }
}

}  // namespace

void damage(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick) {
    kind %= damageCount;
    if (kind < 6) {
        damageLists(tables, kind, pick);
    } else if (kind < 11) {
        damageChoice(tables, kind, pick);
    } else if (kind < 18) {
        damagePublication(tables, kind, pick);
    } else {
        damageService(tables, kind - 18, pick);
    }
}

}  // namespace Sim
