#include "agent/Expectations.h"

#include "agent/FlowText.h"
#include "agent/ScenarioValues.h"
#include "agent/ShowWords.h"

namespace Agent {

namespace {

Mismatch inside(Mismatch const& place, std::string const& member) {
    return {place.mark, place.at, place.what + " " + member, {}, {}};
}

void mismatch(Node const& expected, std::string found, Mismatch const& place,
              std::vector<Mismatch>& mismatches) {
    auto text = expected.isNull() ? "nothing" : "`" + flowText(expected) + "`";
    mismatches.push_back({expected.mark, place.at, place.what, std::move(text), std::move(found)});
}

std::string foundText(Json const* found) {
    return found ? "`" + flowText(*found) + "`" : "nothing";
}

bool equalArrays(Node const& expected, Json const& found) {
    if (!found.is_array() || found.size() != expected.items.size()) return false;
    std::vector<Mismatch> inElements;
    for (std::size_t i = 0; i < expected.items.size(); ++i) {
        compare(expected.items[i], &found[i], {}, inElements);
    }
    return inElements.empty();
}

void judgeWord(Node::Member const& word, Host const& host, Mismatch const& place,
               std::vector<Mismatch>& mismatches) {
    auto const* const known = word.key == "trace" ? &traceWord() : showWord(word.key);
    for (auto const& [key, keyMark, expected] : word.value.members) {
        Rows rows(key);
        if (known) known->show(host, rows);
        auto const* const row = rows.empty() ? nullptr : &rows.begin()->second;
        compare(expected, row, {keyMark, place.at, word.key + " " + key, {}, {}}, mismatches);
    }
}

std::string listText(std::vector<std::string> const& identifiers) {
    std::string text;
    for (auto const& identifier : identifiers) text += (text.empty() ? "" : ", ") + identifier;
    return "`[" + text + "]`";
}

void judgeSyslog(Expectation const& expectation, Host const& host, Mismatch const& place,
                 std::vector<Mismatch>& mismatches) {
    std::vector<std::string> logged;
    for (auto const& record : host.syslog().records()) {
        if (record.at < expectation.from || record.at >= expectation.until) continue;
        logged.emplace_back(record.message->identifier());
    }
    auto const& [identifiers, mark] = *expectation.syslog;
    if (logged == identifiers) return;
    mismatches.push_back({mark, place.at, "syslog", listText(identifiers), listText(logged)});
}

}  // namespace

void compare(Node const& expected, Json const* found, Mismatch const& place,
             std::vector<Mismatch>& mismatches) {
    if (found && found->is_null()) found = nullptr;
    if (expected.isNull() || !found) {
        if (found || !expected.isNull()) mismatch(expected, foundText(found), place, mismatches);
    } else if (expected.isMapping() && found->is_object()) {
        for (auto const& [key, keyMark, value] : expected.members) {
            auto const member = found->find(key);
            compare(value, member == found->end() ? nullptr : &*member, inside(place, key),
                    mismatches);
        }
    } else if (expected.isSequence() && equalArrays(expected, *found)) {
        return;
    } else if (!expected.isScalar() || !found->is_primitive() ||
               expected.text != scalarText(*found)) {
        mismatch(expected, foundText(found), place, mismatches);
    }
}

std::vector<Mismatch> judge(Expectation const& expectation, Host const& host,
                            PresenceLog const& presence) {
    std::vector<Mismatch> mismatches;
    auto const from = expectation.from;
    auto const until = expectation.until;
    Mismatch place;
    place.at = "at " + durationText(until);
    for (auto const& word : expectation.words.members) judgeWord(word, host, place, mismatches);

    place.at = "between " + durationText(from) + " and " + durationText(until);
    for (auto const& kept : expectation.neverWithdrawn) {
        auto lapse = presence.lapse(kept, from, until);
        if (!lapse) continue;
        mismatches.push_back({kept.mark, place.at, kept.table + " " + kept.key, "never withdrawn",
                              *std::move(lapse)});
    }
    if (expectation.syslog) judgeSyslog(expectation, host, place, mismatches);
    return mismatches;
}

}  // namespace Agent
