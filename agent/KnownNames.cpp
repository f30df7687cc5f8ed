#include "agent/KnownNames.h"

#include <vector>

#include "agent/ScenarioValues.h"

namespace Agent {

namespace {

/// The members of `mapping` at `key` that have a value.
std::vector<Node::Member const*> membersAt(Node const& mapping, std::string_view key) {
    std::vector<Node::Member const*> members;
    auto const* const found = mapping.find(key);
    if (!found || !found->isMapping()) return members;
    for (auto const& member : found->members) {
        if (!member.value.isNull()) members.push_back(&member);
    }
    return members;
}

std::string hint(std::string const& name, auto const& known, auto nameOf) {
    std::vector<std::string> names;
    for (auto const& each : known) names.push_back(nameOf(each));
    auto meant = didYouMean(name, names);
    if (!meant.empty()) return meant;
    if (names.empty()) return ", there is none";
    constexpr std::size_t readable = 8;
    return names.size() > readable ? "" : ", expected one of " + quotedList(names);
}

constexpr auto first = [](auto const& pair) { return pair.first; };
constexpr auto itself = [](auto const& name) { return name; };

}  // namespace

void KnownNames::learn(Node const& patch) {
    for (auto const* const tunnel : membersAt(patch, "ti-lfa")) tunnels_.insert(tunnel->key);
    for (auto const* const policy : membersAt(patch, "policies")) {
        auto& candidates = policies_[policy->key];
        for (auto const* const candidate : membersAt(policy->value, "candidates")) {
            auto& lists = candidates[candidate->key];
            for (auto const* const list : membersAt(candidate->value, "lists")) {
                lists.insert(list->key);
            }
        }
    }
}

void KnownNames::judge(Node const& patch) const {
    for (auto const* const route : membersAt(patch, "lfib")) judgeTunnels(route->value);
    for (auto const* const section : {"sbfd-session", "counters"}) {
        if (auto const* const found = patch.find(section)) judgeLists(*found);
    }
}

void KnownNames::judgeTunnels(Node const& route) const {
    for (auto const& via : route.items) {
        if (auto const* const name = via.find("ti-lfa")) judgeTunnel(*name);
    }
    auto const* const fec = route.find("fec");
    auto const* const name = fec ? fec->find("ti-lfa") : nullptr;
    if (name) judgeTunnel(*name);
}

void KnownNames::judgeTunnel(Node const& name) const {
    if (!name.isScalar() || tunnels_.contains(name.text)) return;
    findings_.add(name.mark, "the file never has the TI-LFA tunnel `" + name.text + "`" +
                                 hint(name.text, tunnels_, itself));
}

bool KnownNames::policyExists(std::string const& key, Mark mark) const {
    if (policies_.contains(key)) return true;
    findings_.add(mark,
                  "the file never has the policy `" + key + "`" + hint(key, policies_, first));
    return false;
}

bool KnownNames::candidateExists(std::string const& key, std::string const& candidate,
                                 Mark mark) const {
    if (!policyExists(key, mark)) return false;
    auto const& candidates = policies_.at(key);
    if (candidates.contains(candidate)) return true;
    findings_.add(mark, "policy `" + key + "` never has the candidate `" + candidate + "`" +
                            hint(candidate, candidates, first));
    return false;
}

bool KnownNames::listExists(std::string const& key, std::string const& candidate,
                            std::string const& list, Mark mark) const {
    if (!candidateExists(key, candidate, mark)) return false;
    auto const& lists = policies_.at(key).at(candidate);
    if (lists.contains(list)) return true;
    findings_.add(mark, "candidate `" + candidate + "` of policy `" + key +
                            "` never has the list `" + list + "`" + hint(list, lists, itself));
    return false;
}

void KnownNames::judgeLists(Node const& byListName) const {
    for (auto const& member : byListName.members) {
        auto const name = parseListName(member.key);
        if (name)
            listExists(policyKeyText(name->policy), name->candidate, name->list, member.keyMark);
    }
}

void KnownNames::judgeExpectation(Node const& expectation) const {
    if (auto const* const policies = expectation.find("policy")) {
        for (auto const& policy : policies->members) {
            if (policyExists(policy.key, policy.keyMark)) {
                judgeExpectedPolicy(policy.key, policy.value);
            }
        }
    }
    if (auto const* const rows = expectation.find("tunnel-map")) {
        for (auto const& row : rows->members) policyExists(row.key, row.keyMark);
    }
    if (auto const* const sessions = expectation.find("sbfd")) judgeLists(*sessions);

    auto const* const kept = expectation.find("never-withdrawn");
    auto const* const keys = kept ? kept->find("policy") : nullptr;
    if (!keys) return;
    for (auto const& key : keys->items) {
        if (key.isScalar()) policyExists(key.text, key.mark);
    }
}

void KnownNames::judgeExpectedPolicy(std::string const& key, Node const& policy) const {
    auto const* const active = policy.find("active");
    if (active && active->isScalar()) candidateExists(key, active->text, active->mark);

    auto const* const candidates = policy.find("candidates");
    if (!candidates) return;
    for (auto const& candidate : candidates->members) {
        auto const* const lists = candidate.value.find("lists");
        bool const known = candidateExists(key, candidate.key, candidate.keyMark);
        if (!known || !lists) continue;
        for (auto const& list : lists->members) {
            listExists(key, candidate.key, list.key, list.keyMark);
        }
    }
}

}  // namespace Agent
