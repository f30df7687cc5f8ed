#include "agent/ShowForwarding.h"

#include <algorithm>
#include <map>

#include "agent/ScenarioValues.h"

namespace Agent {

namespace {

using Tunnel::TunnelTable::TunnelId;

char const* sourceText(Mpls::LFib::Source source) {
    if (source == Mpls::LFib::Source::srTePolicy) return "sr-te";
    return source == Mpls::LFib::Source::gribi ? "gribi" : "other";
}

char const* actionText(Wirex::MplsLabelAction action) {
    switch (action) {
        case Wirex::MplsLabelAction::pop: return "pop";
        case Wirex::MplsLabelAction::swap: return "swap";
        case Wirex::MplsLabelAction::push: return "push";
        case Wirex::MplsLabelAction::none: break;
    }
    return "none";
}

/// Where a via sends, in the words of the file.
void addInterface(Host const& host, Wirex::IntfId const& intf, Json& via) {
    using Kind = Wirex::IntfId::Kind;
    switch (intf.kind()) {
        case Kind::none: break;
        case Kind::physical: via["if"] = intf.stringValue(); break;
        case Kind::nextHopGroup: via["nhg"] = std::to_string(intf.number()); break;
        case Kind::hierarchicalFec:
            via["fec"] = Pooltab::Fib::FecId(intf.number()).stringValue();
            break;
        case Kind::dynamicTunnel: {
            TunnelId const tunnelId(intf.number());
            auto const* const name = host.scenario().tiLfaName(tunnelId);
            via[name ? "ti-lfa" : "tunnel"] = name ? *name : tunnelId.stringValue();
            break;
        }
    }
}

template <class Vias>
Json viasJson(Host const& host, Vias const& vias) {
    auto rows = Json::array();
    for (auto const& via : vias) {
        rows.push_back(viaJson(host, via.nextHop, via.intf, via.operation));
    }
    return rows;
}

Json routeJson(Host const& host, Mpls::ConsolidatedLfibRoute const& route) {
    Json row{{"source", sourceText(route.source)}};
    if (route.type == Mpls::LfibRouteType::pseudowire) row["kind"] = "pseudowire";
    if (route.viaType == Mpls::LfibViaType::mpls) row["vias"] = viasJson(host, route.mplsVias);
    if (route.viaType == Mpls::LfibViaType::extFec) {
        auto const fecId = route.extFecVia.fecId;
        row["action"] = actionText(route.extFecVia.labelAction);
        row["fec"] = fecId.stringValue();
        auto const* const key = host.tables().policyStatus->fecIdToPolicyKey().find(fecId);
        if (key) row["policy"] = policyKeyText(*key);
    }
    if (route.source == Mpls::LFib::Source::gribi) {
        auto const* const entry =
            host.tables().gribiAfts->mplsAft->mplsAftEntry().find(route.key.topLabel());
        if (entry) row["group"] = entry->nextHopGroupId.stringValue();
    }
    return row;
}

/// The gRIBI groups by their FECs.
using GroupByFec = std::map<Pooltab::Fib::FecId, Gribi::NextHopGroupId>;

GroupByFec groupByFec(Tables const& tables) {
    GroupByFec groups;
    for (auto row = tables.gribiStatus->nhgToFecEntry().begin(); row; row.next()) {
        groups[row.value()] = row.key();
    }
    return groups;
}

Json fecJson(Host const& host, Pooltab::Fib::Fec const& fec, GroupByFec const& groups) {
    Json row;
    auto const group = groups.find(fec.fecId());
    if (auto const* const key = host.tables().policyStatus->fecIdToPolicyKey().find(fec.fecId())) {
        row["policy"] = policyKeyText(*key);
    } else if (group != groups.end()) {
        row["group"] = group->second.stringValue();
    }
    row["vias"] = Json::array();
    for (auto const& via : fec.vias()) {
        Json element{{"tunnel", via.tunnelId().stringValue()}, {"weight", via.weight()}};
        if (!via.label().isNull()) element["label"] = via.label().value();
        row["vias"].push_back(element);
    }
    return row;
}

Json pathJson(Host const& host, Tunnel::TunnelTable::MplsVia const& via) {
    return viaJson(host, via.nextHop, via.intf, via.operation);
}

void showTiLfaTunnels(Host const& host, Rows& rows) {
    for (auto row = host.tables().tiLfa->entry().begin(); row; row.next()) {
        auto const key = row.key().stringValue();
        if (!rows.wants(key)) continue;
        Json tunnel{{"kind", "ti-lfa"}};
        if (auto const* const name = host.scenario().tiLfaName(row.key())) tunnel["name"] = *name;
        tunnel["primary"] = pathJson(host, row.value().primaryVia);
        if (row.value().backupVia) tunnel["backup"] = pathJson(host, *row.value().backupVia);
        rows.add(key, tunnel);
    }
}

/// Whether the tunnel's list is one of its candidate's.
bool isUsed(TunnelId tunnelId, SurvivingTables const& tables) {
    auto const id = segmentListOf(tunnelId);
    auto const* const list = tables.exportedLists->segmentList(id);
    auto const* const entry = list ? tables.selectionInput->policyIdEntry(list->policyId) : nullptr;
    return entry && std::any_of(entry->wSegmentList.begin(), entry->wSegmentList.end(),
                                [&](auto const& each) { return each.segmentListId == id; });
}

}  // namespace

Json labelsJson(Wirex::BoundedMplsLabelStack const& stack) {
    auto labels = Json::array();
    for (std::size_t i = 0; i < stack.size(); ++i) labels.push_back(stack.label(i).value());
    return labels;
}

Json viaJson(Host const& host, Wirex::IpGenAddr const& nextHop, Wirex::IntfId const& intf,
             Wirex::MplsLabelOperation const& operation) {
    auto via = Json::object();
    addInterface(host, intf, via);
    if (!nextHop.isEmpty()) via["nh"] = nextHop.stringValue();
    via["action"] = actionText(operation.action);
    via["out"] = labelsJson(operation.stack);
    return via;
}

void showLfib(Host const& host, Rows& rows) {
    auto const& lfib = host.tables().lfib();
    if (rows.key()) {
        Wirex::MplsLabel const label(parseLabel(*rows.key()).value());
        auto const* const route = lfib.consolidatedRoute(Mpls::RouteKey::fromLabel(label));
        if (route) rows.add(*rows.key(), routeJson(host, *route));
        return;
    }
    for (auto row = lfib.rows().begin(); row; row.next()) {
        rows.add(row.key().stringValue(), routeJson(host, row.value()->route));
    }
}

void showFecs(Host const& host, Rows& rows) {
    auto const groups = groupByFec(host.tables());
    for (auto row = host.tables().forwarding->fec().begin(); row; row.next()) {
        auto const key = row.key().stringValue();
        if (rows.wants(key)) rows.add(key, fecJson(host, row.value(), groups));
    }
}

void showTunnels(Host const& host, Rows& rows) {
    showTiLfaTunnels(host, rows);
    auto const& tables = host.tables();
    for (auto row = tables.segmentListTunnels->entry().begin(); row; row.next()) {
        auto const key = row.key().stringValue();
        if (!rows.wants(key)) continue;
        Json tunnel{{"kind", "segment-list"}};
        auto const* const list = tables.exportedLists->segmentList(segmentListOf(row.key()));
        if (list && list->distinguisherId.isPolicyList()) {
            tunnel["policy"] = policyKeyText(list->policyId.key);
        } else if (list) {
            tunnel["next-hop"] = list->distinguisherId.stringValue();
        }
        tunnel["vias"] = viasJson(host, row.value().vias());
        rows.add(key, tunnel);
    }
}

void showTunnelMap(Host const& host, Rows& rows) {
    struct Tunnels {
        std::size_t all = 0;
        std::size_t waiting = 0;
    };
    std::map<SrTePolicy::PolicyKey, Tunnels> policies;
    for (auto row = host.tables().tunnelMap->entry().begin(); row; row.next()) {
        auto& tunnels = policies[row.value().policyKey];
        ++tunnels.all;
        if (!isUsed(row.key(), host.tables())) ++tunnels.waiting;
    }
    for (auto const& [policy, tunnels] : policies) {
        auto const key = policyKeyText(policy);
        if (!rows.wants(key)) continue;
        rows.add(key, {{"tunnels", tunnels.all}, {"waiting", tunnels.waiting}});
    }
}

void showColoredRib(Host const& host, Rows& rows) {
    for (auto row = host.tables().policyTunnels->entry().begin(); row; row.next()) {
        auto const& entry = row.value();
        auto const key = policyKeyText({entry.endpoint.address, entry.color});
        if (!rows.wants(key)) continue;
        rows.add(key, {{"tunnel", entry.tunnelId.stringValue()},
                       {"endpoint", entry.endpoint.stringValue()},
                       {"preference", entry.preference}});
    }
}

void showTrace(Host const& host, Rows& rows) {
    auto const labels = parseLabelStack(rows.key().value()).value();
    auto paths = pathsJson(tracePacket(host.tables(), labels));
    if (!paths.empty()) rows.add(*rows.key(), std::move(paths));
}

Json pathsJson(Outcomes const& outcomes) {
    auto paths = Json::array();
    for (auto const& [outcome, share] : outcomes) {
        auto path = Json::object();
        if (!outcome.interface.empty()) path["if"] = outcome.interface;
        if (!outcome.nextHop.isEmpty()) path["nh"] = outcome.nextHop.stringValue();
        path["out"] = outcome.out;
        path["share"] = share.percentText();
        paths.push_back(path);
    }
    return paths;
}

}  // namespace Agent
