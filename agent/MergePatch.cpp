#include "agent/MergePatch.h"

#include <algorithm>

namespace Agent {

namespace {

void remove(Node& node) {
    node.kind = Node::Kind::null;
    for (auto& member : node.members) remove(member.value);
}

}  // namespace

void applyMergePatch(Node& target, Node const& patch) {
    if (!patch.isMapping() || !target.isMapping()) remove(target);
    target.kind = patch.kind;
    target.mark = patch.mark;
    target.text = patch.text;
    target.items = patch.items;
    if (!patch.isMapping()) return;
    for (auto const& change : patch.members) {
        auto* member = target.member(change.key);
        if (!member) member = &target.add(change.key, change.keyMark, Node());
        member->keyMark = change.keyMark;
        applyMergePatch(member->value, change.value);
    }
}

std::vector<std::string> namedKeys(Node const& patch, Node const& state,
                                   std::vector<std::string_view> const& path) {
    auto const* present = &state;
    auto const* change = &patch;
    for (auto const step : path) {
        if (present) present = present->find(step);
        if (change->isNull()) continue;
        auto const* const member = change->member(step);
        if (!member) return {};
        change = &member->value;
    }
    if (change->isNull()) return present ? presentKeys(*present) : std::vector<std::string>();
    std::vector<std::string> keys;
    for (auto const& member : change->members) keys.push_back(member.key);
    return keys;
}

std::vector<std::string> presentKeys(Node const& mapping) {
    std::vector<std::string> keys;
    for (auto const& member : mapping.members) {
        if (!member.value.isNull()) keys.push_back(member.key);
    }
    return keys;
}

bool isSound(Node const& node) {
    return !node.isInvalid() && std::all_of(node.items.begin(), node.items.end(), isSound) &&
           std::all_of(node.members.begin(), node.members.end(),
                       [](auto const& member) { return isSound(member.value); });
}

}  // namespace Agent
