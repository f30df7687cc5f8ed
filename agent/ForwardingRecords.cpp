#include "agent/ForwardingRecords.h"

#include <algorithm>
#include <initializer_list>

#include "agent/RecordFields.h"

namespace Agent {

namespace {

using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using Tunnel::TunnelTable::TunnelId;
using Wirex::IntfId;
using Wirex::MplsLabel;
using Wirex::MplsLabelAction;

/// Where two members of `record` contradict each other: at the one that was written later.
std::optional<Mark> contradiction(Node const& record, std::string_view a, std::string_view b) {
    if (!record.find(a) || !record.find(b)) return std::nullopt;
    return std::max(record.member(a)->keyMark, record.member(b)->keyMark);
}

MplsLabelAction actionNamed(std::string const& text) {
    if (text == "pop") return MplsLabelAction::pop;
    return text == "swap" ? MplsLabelAction::swap : MplsLabelAction::push;
}

/// What `out` and `action` make of the arriving label. Labels are a swap, or a push when they are
/// more than one; `pop` is a swap to implicit null, so that the labels below stay on the wire.
Wirex::MplsLabelOperation operationOf(Node const& path) {
    Wirex::MplsLabelOperation operation;
    if (auto const* const out = path.find("out")) {
        if (out->isScalar()) operation.stack.append(MplsLabel::implicitNull());
        for (auto const& label : out->items) {
            operation.stack.append(MplsLabel(static_cast<std::uint32_t>(numberOf(label))));
        }
    }
    auto const* const action = path.find("action");
    if (action) {
        operation.action = actionNamed(action->text);
    } else {
        operation.action =
            operation.stack.size() > 1 ? MplsLabelAction::push : MplsLabelAction::swap;
    }
    return operation;
}

Wirex::IpGenAddr nextHopOf(Node const& path) {
    auto const* const nextHop = path.find("nh");
    return nextHop ? Wirex::IpGenAddr::parse(nextHop->text).value() : Wirex::IpGenAddr();
}

IntfId interfaceOf(Node const& via, TiLfaNames& names) {
    if (auto const* const name = via.find("if")) return IntfId::physical(name->text);
    if (auto const* const name = via.find("ti-lfa")) {
        return IntfId::dynamicTunnel(names.tunnelId(name->text).value());
    }
    if (auto const* const group = via.find("nhg")) return IntfId::nextHopGroup(numberOf(*group));
    if (auto const* const id = via.find("tunnel")) {
        return IntfId::dynamicTunnel(parseTunnelId(id->text).value().value());
    }
    return {};
}

/// A path goes out of one interface of one kind; without any it needs a next hop at least.
bool leadsSomewhere(Node const& path, Findings& findings) {
    static std::vector<std::string> const kinds{"if", "ti-lfa", "nhg", "tunnel"};
    auto const named = std::count_if(kinds.begin(), kinds.end(),
                                     [&](auto const& kind) { return path.find(kind) != nullptr; });
    if (named == 1 || (named == 0 && path.find("nh"))) return true;
    findings.add(path.mark, (named == 0 ? "found none of " : "found more than one of ") +
                                quotedList(kinds) + ", expected one");
    return false;
}

bool fillVias(Mpls::ConsolidatedLfibRoute& route, Node const& vias, TiLfaNames& names,
              Findings& findings) {
    bool sound = true;
    route.viaType = Mpls::LfibViaType::mpls;
    for (auto const& via : vias.items) {
        if (!leadsSomewhere(via, findings)) sound = false;
        route.mplsVias.push_back({nextHopOf(via), interfaceOf(via, names), operationOf(via)});
    }
    return sound;
}

std::optional<FecId> fecIdOf(Node const& fec, TiLfaNames& names, Findings& findings) {
    for (auto const* const member : {"type", "id"}) {
        if (auto const mark = contradiction(fec, "ti-lfa", member)) {
            findings.add(*mark, std::string("found both `ti-lfa` and `") + member +
                                    "` in a FEC, expected `ti-lfa`, or `type` and `id`");
            return std::nullopt;
        }
    }
    if (auto const* const name = fec.find("ti-lfa")) {
        return FecId::fecIdForAdjType(AdjType::tunnel, names.tunnelId(name->text).value());
    }
    if (!fec.find("type") || !fec.find("id")) {
        findings.add(fec.mark, "found an incomplete FEC, expected `type` and `id`, or `ti-lfa`");
        return std::nullopt;
    }
    auto const type = static_cast<AdjType>(numberOf(*fec.find("type")));
    auto const& id = *fec.find("id");
    if (type == AdjType::tunnel && numberOf(id) > TunnelId::maxValue) {
        findings.add(id.mark, "found `" + id.text + "`, expected a FEC id of type 6 from 0 to " +
                                  std::to_string(TunnelId::maxValue));
        return std::nullopt;
    }
    return FecId::fecIdForAdjType(type, numberOf(id));
}

bool fillFec(Mpls::ConsolidatedLfibRoute& route, Node const& description, TiLfaNames& names,
             Findings& findings) {
    if (auto const mark = contradiction(description, "kind", "fec")) {
        findings.add(*mark, "found both `kind` and `fec` in a route, expected one of them");
        return false;
    }
    if (description.find("kind")) {
        route.type = Mpls::LfibRouteType::pseudowire;
        return true;
    }
    auto const* const fec = description.find("fec");
    if (!fec) {
        findings.add(description.mark,
                     "found an empty route, expected a list of vias, `kind` or `fec`");
        return false;
    }
    auto const fecId = fecIdOf(*fec, names, findings);
    if (!fecId) return false;
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = Mpls::LfibExtFecVia::popInto(*fecId);
    if (auto const* const action = description.find("action")) {
        route.extFecVia.labelAction = actionNamed(action->text);
    }
    return true;
}

std::optional<Tunnel::TunnelTable::MplsVia> tunnelVia(Node const& path, TiLfaNames& names,
                                                      Findings& findings) {
    if (!leadsSomewhere(path, findings)) return std::nullopt;
    return Tunnel::TunnelTable::MplsVia{nextHopOf(path), interfaceOf(path, names),
                                        operationOf(path)};
}

}  // namespace

TunnelId TiLfaNames::tunnelId(std::string const& name) {
    auto const [place, isNew] = indexes_.emplace(name, names_.size() + 1);
    if (isNew) names_.push_back(name);
    return TunnelId::make(Tunnel::TunnelTable::TunnelType::tiLfa, place->second);
}

Mpls::RouteKey routeKey(std::string const& label) {
    return Mpls::RouteKey::fromLabel(MplsLabel(parseLabel(label).value()));
}

std::optional<Mpls::ConsolidatedLfibRoute> routeRecord(std::string const& label, Node const& route,
                                                       TiLfaNames& names, Findings& findings) {
    Mpls::ConsolidatedLfibRoute record;
    record.key = routeKey(label);
    record.source = otherApplication;
    auto const fill = route.isSequence() ? fillVias : fillFec;
    if (!fill(record, route, names, findings)) return std::nullopt;
    return record;
}

std::optional<Tunnel::TunnelTable::TiLfaTunnelTableEntry> tunnelRecord(std::string const& name,
                                                                       Node const& tunnel,
                                                                       TiLfaNames& names,
                                                                       Findings& findings) {
    auto const* const primary = tunnel.find("primary");
    if (!primary) {
        findings.add(tunnel.mark, "found a tunnel without a path, expected `primary`");
        return std::nullopt;
    }
    auto const* const backup = tunnel.find("backup");
    auto const primaryVia = tunnelVia(*primary, names, findings);
    auto const backupVia = backup ? tunnelVia(*backup, names, findings) : std::nullopt;
    if (!primaryVia || (backup && !backupVia)) return std::nullopt;
    return Tunnel::TunnelTable::TiLfaTunnelTableEntry{names.tunnelId(name), *primaryVia, backupVia};
}

}  // namespace Agent
