#include "agent/ShowWords.h"

#include "Platform/Quor/RangeError.h"
#include "agent/ScenarioValues.h"
#include "agent/ShowForwarding.h"
#include "agent/ShowGribi.h"
#include "agent/ShowPolicies.h"
#include "agent/ShowSbfd.h"
#include "agent/ShowSegments.h"

namespace Agent {

namespace {

using Key = std::optional<std::string>;

Key policyKey(std::string const& text) {
    auto const key = parsePolicyKey(text);
    return key ? Key(policyKeyText(*key)) : std::nullopt;
}

Key labelKey(std::string const& text) {
    auto const label = parseLabel(text);
    return label ? Key(std::to_string(*label)) : std::nullopt;
}

Key labelStackKey(std::string const& text) {
    auto const labels = parseLabelStack(text);
    return labels ? Key(labelStackText(*labels)) : std::nullopt;
}

Key listIdKey(std::string const& text) {
    auto const id = parseNumber(text, 0, SrTePolicy::maxU32());
    return id ? Key(std::to_string(*id)) : std::nullopt;
}

Key tunnelKey(std::string const& text) {
    auto const tunnelId = parseTunnelId(text);
    return tunnelId ? Key(tunnelId->stringValue()) : std::nullopt;
}

Key fecKey(std::string const& text) {
    try {
        return Pooltab::Fib::FecId::fromString(text).stringValue();
    } catch (Quor::RangeError const&) {
        return std::nullopt;
    }
}

Key listNameKey(std::string const& text) {
    auto const name = parseListName(text);
    return name ? Key(name->text()) : std::nullopt;
}

Key gribiKey(std::string const& text) {
    bool const known = text == "running" || text == "nh" || text == "nhg" || text == "mpls";
    return known ? Key(text) : std::nullopt;
}

Key anyKey(std::string const& text) {
    return text;
}

void showSyslog(Host const& host, Rows& rows) {
    for (auto const& record : host.syslog().records()) {
        std::string const identifier = record.message->identifier();
        if (!rows.wants(identifier)) continue;
        rows.add(identifier, {{"at", durationText(record.at)},
                              {"severity", record.message->severity()},
                              {"id", identifier},
                              {"text", record.text}});
    }
}

void dumpSegments(Machines const& machines, Keel::DumpContext& context) {
    machines.segmentSm().dumpState(context, 0);
    machines.tables().coreDedupTables->dumpState(context, 0);
}

void dumpSegmentLists(Machines const& machines, Keel::DumpContext& context) {
    machines.segmentListSm().dumpState(context, 0);
}

void dumpPolicies(Machines const& machines, Keel::DumpContext& context) {
    machines.inputSm().dumpState(context, 0);
    machines.tables().segmentListUsers->dumpState(context, 0);
    machines.selectionSm().dumpState(context, 0);
    machines.publishSm().dumpState(context, 0);
}

void dumpBindingSids(Machines const& machines, Keel::DumpContext& context) {
    machines.inputSm().dumpState(context, 0);
    machines.publishSm().dumpState(context, 0);
}

void dumpPublishing(Machines const& machines, Keel::DumpContext& context) {
    machines.publishSm().dumpState(context, 0);
}

void dumpLfib(Machines const& machines, Keel::DumpContext& context) {
    machines.lfibGenSm().dumpState(context, 0);
}

void dumpSbfd(Machines const& machines, Keel::DumpContext& context) {
    machines.sbfdInputSm().dumpState(context, 0);
    machines.sbfdSessionSm().dumpState(context, 0);
}

void dumpGribi(Machines const& machines, Keel::DumpContext& context) {
    if (machines.gribiRoot()) machines.gribiRoot()->dumpState(context, 0);
}

void dumpTunnelMap(Machines const& machines, Keel::DumpContext& context) {
    machines.tunnelMapSm().dumpState(context, 0);
}

constexpr char policyForm[] = "COLOR ENDPOINT, such as \"100 192.0.2.5\"";
constexpr char labelForm[] = "a label from 0 to 1048575";

}  // namespace

std::vector<ShowWord> const& showWords() {
    static std::vector<ShowWord> const words{
        {"policy", policyKey, policyForm, showPolicies, dumpPolicies},
        {"segment-list", listIdKey, "the number of a segment list", showSegmentLists,
         dumpSegmentLists},
        {"segment", labelKey, labelForm, showSegments, dumpSegments},
        {"bsid", labelKey, labelForm, showBindingSids, dumpBindingSids},
        {"fec", fecKey, "a FEC id, such as 0x0f00000100000000", showFecs, dumpPublishing},
        {"lfib", labelKey, labelForm, showLfib, dumpLfib},
        {"tunnel", tunnelKey, "a tunnel as TYPE-INDEX, such as 13-1", showTunnels,
         dumpSegmentLists},
        {"colored-rib", policyKey, policyForm, showColoredRib, dumpPublishing},
        {"sbfd", listNameKey, "COLOR ENDPOINT CANDIDATE LIST, such as \"100 192.0.2.5 main l1\"",
         showSbfd, dumpSbfd},
        {"gribi", gribiKey, "running, nh, nhg or mpls", showGribi, dumpGribi},
        {"tunnel-map", policyKey, policyForm, showTunnelMap, dumpTunnelMap},
        {"syslog", anyKey, "the identifier of a message", showSyslog, nullptr}};
    return words;
}

ShowWord const* showWord(std::string_view name) {
    for (auto const& word : showWords()) {
        if (word.name == name) return &word;
    }
    return nullptr;
}

ShowWord const& traceWord() {
    static ShowWord const word{"trace", labelStackKey, "labels with commas between", showTrace,
                               nullptr};
    return word;
}

}  // namespace Agent
