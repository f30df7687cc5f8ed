#include "agent/ScenarioBuilder.h"

#include <optional>

#include "agent/MergePatch.h"
#include "agent/RecordFields.h"

namespace Agent {

namespace {

/// Sorts the records that `keys` name in `section` (null: there is none) into written and removed.
/// `record` makes one from its key and node, or nothing when it is wrong; `key` one's key.
template <class Record, class Key, class MakeRecord, class MakeKey>
void collect(std::vector<std::string> const& keys, Node const* section,
             Changes<Record, Key>& changes, MakeRecord record, MakeKey key) {
    for (auto const& name : keys) {
        auto const* const node = section ? section->find(name) : nullptr;
        if (!node) {
            changes.removed.push_back(key(name));
        } else if (isSound(*node)) {
            if (auto made = record(name, *node)) changes.written.push_back(*std::move(made));
        }
    }
}

/// The setting `key` with `value`, or with its default; nothing when there is no such setting.
std::optional<RouterSetting> settingOf(std::string const& key, Node const* value) {
    auto const boolean = [&](bool absent) { return value ? value->text == "true" : absent; };
    auto const number = [&] { return value ? numberOf(*value) : 0; };
    if (key == "enabled") return AgentEnabled{boolean(true)};
    if (key == "srlb") return Srlb{value ? parseLabelRange(value->text) : std::nullopt};
    if (key == "msd") {
        return value ? MaxSidDepth{static_cast<std::uint8_t>(number())} : MaxSidDepth{};
    }
    if (key == "specified-bsid-only") return SpecifiedBsidOnly{boolean(false)};
    if (key == "colored-rib") return ColoredRib{boolean(false)};
    if (key == "colored-rib-preference") {
        return ColoredRibPreference{static_cast<std::uint8_t>(number())};
    }
    if (key == "tie-breaking") return TieBreaking{static_cast<std::uint32_t>(number())};
    return std::nullopt;
}

GribiNextHop nextHopRecord(std::string const& id, Node const& labels) {
    GribiNextHop nextHop{parseNumber(id).value(), {}};
    for (auto const& label : labels.items) {
        nextHop.pushedLabels.push_back(static_cast<std::uint32_t>(numberOf(label)));
    }
    return nextHop;
}

GribiNextHopGroup groupRecord(std::string const& id, Node const& weights) {
    GribiNextHopGroup group{parseNumber(id).value(), {}};
    for (auto const& nextHop : weights.members) {
        if (nextHop.value.isNull()) continue;
        group.nextHopWeights.emplace_back(parseNumber(nextHop.key).value(),
                                          numberOf(nextHop.value));
    }
    return group;
}

}  // namespace

Step ScenarioBuilder::take(Node const& patch) {
    auto const named = namesIn(patch);
    bool const gribiBefore = stateAt({"gribi"}) != nullptr;
    merge(patch);

    Step step;
    step.mark = patch.mark;
    addRouter(named.router, step);
    addForwarding(named, step);
    addBfd(patch, step);
    addPolicies(named, step);
    addCounters(named.counters, step);

    auto const* const gribi = stateAt({"gribi"});
    auto const* const gribiPatch = patch.find("gribi");
    bool const enabledNamed = gribiPatch && gribiPatch->member("enabled");
    if (gribiBefore != (gribi != nullptr) || enabledNamed) {
        step.gribi.configuration.emplace();
        if (gribi) {
            *step.gribi.configuration = GribiConfiguration{booleanAt(*gribi, "enabled", true)};
        }
    }
    addGribiEntries(named, step.gribi);
    return step;
}

/// Before the merge, as what a patch removes as a whole is named by what is there.
ScenarioBuilder::Named ScenarioBuilder::namesIn(Node const& patch) const {
    auto const keys = [&](std::vector<std::string_view> const& path) {
        return namedKeys(patch, state_, path);
    };
    Named named{
        keys({"router"}),      keys({"lfib"}),         keys({"ti-lfa"}),        keys({"counters"}),
        keys({"gribi", "nh"}), keys({"gribi", "nhg"}), keys({"gribi", "mpls"}), {}};
    for (auto const& policy : keys({"policies"})) {
        named.policies.emplace_back(policy, keys({"policies", policy, "candidates"}));
    }
    return named;
}

void ScenarioBuilder::merge(Node const& patch) {
    state_.kind = Node::Kind::mapping;
    for (auto const* const section :
         {"router", "lfib", "ti-lfa", "bfd", "policies", "counters", "gribi"}) {
        auto const* const change = patch.member(section);
        if (!change) continue;
        auto* member = state_.member(section);
        if (!member) member = &state_.add(section, change->keyMark, Node());
        applyMergePatch(member->value, change->value);
    }
}

/// Null where there is nothing.
Node const* ScenarioBuilder::stateAt(std::vector<std::string_view> const& path) const {
    auto const* node = &state_;
    for (auto const step : path) {
        if (node) node = node->find(step);
    }
    return node;
}

void ScenarioBuilder::addRouter(Keys const& named, Step& step) const {
    auto const* const router = stateAt({"router"});
    for (bool const removed : {false, true}) {
        for (auto const& key : named) {
            auto const* const value = router ? router->find(key) : nullptr;
            if (removed != (value == nullptr) || (value && !isSound(*value))) continue;
            if (auto const setting = settingOf(key, value)) step.router.push_back(*setting);
        }
    }
}

void ScenarioBuilder::addForwarding(Named const& named, Step& step) {
    auto const route = [&](std::string const& label, Node const& node) {
        return routeRecord(label, node, tiLfaNames_, findings_);
    };
    auto const tunnel = [&](std::string const& name, Node const& node) {
        return tunnelRecord(name, node, tiLfaNames_, findings_);
    };
    auto const tunnelId = [&](std::string const& name) { return tiLfaNames_.tunnelId(name); };
    collect(named.lfib, stateAt({"lfib"}), step.lfib, route, routeKey);
    collect(named.tiLfa, stateAt({"ti-lfa"}), step.tiLfa, tunnel, tunnelId);
}

void ScenarioBuilder::addBfd(Node const& patch, Step& step) const {
    if (!patch.member("bfd")) return;
    auto const* const bfd = stateAt({"bfd"});
    step.bfd.emplace();
    if (!bfd || !isSound(*bfd)) return;
    step.bfd->interval = Bfd::BfdInterval(numberAt(*bfd, "interval", std::uint32_t{0}));
    step.bfd->multiplier = Bfd::BfdMultiplier(numberAt(*bfd, "multiplier", std::uint32_t{0}));
}

void ScenarioBuilder::addPolicies(Named const& named, Step& step) {
    static Node const nothing;
    auto const* const policies = stateAt({"policies"});
    for (auto const& [key, candidates] : named.policies) {
        auto const* const policy = policies ? policies->find(key) : nullptr;
        // Of what stands where the policies should be, nothing was made a key.
        if (auto const policyKey = parsePolicyKey(key)) {
            policies_.take(*policyKey, policy ? *policy : nothing, candidates, step);
        }
    }
}

void ScenarioBuilder::addCounters(Keys const& named, Step& step) const {
    auto const name = [](std::string const& key) { return parseListName(key).value(); };
    auto const counter = [&](std::string const& key, Node const&) {
        return std::optional(name(key));
    };
    collect(named, stateAt({"counters"}), step.counters, counter, name);
}

void ScenarioBuilder::addGribiEntries(Named const& named, GribiChanges& changes) const {
    auto const id = [](std::string const& key) { return parseNumber(key).value(); };
    auto const label = [&](std::string const& key) { return static_cast<std::uint32_t>(id(key)); };
    auto const nextHop = [](std::string const& key, Node const& node) {
        return std::optional(nextHopRecord(key, node));
    };
    auto const group = [](std::string const& key, Node const& node) {
        return std::optional(groupRecord(key, node));
    };
    auto const mpls = [&](std::string const& key, Node const& node) {
        return std::optional(GribiMplsEntry{label(key), numberOf(node)});
    };
    collect(named.nextHops, stateAt({"gribi", "nh"}), changes.nextHop, nextHop, id);
    collect(named.groups, stateAt({"gribi", "nhg"}), changes.nextHopGroup, group, id);
    collect(named.mpls, stateAt({"gribi", "mpls"}), changes.mpls, mpls, label);
}

}  // namespace Agent
