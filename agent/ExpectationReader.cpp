#include "agent/ExpectationReader.h"

#include <string>

#include "agent/MergePatch.h"
#include "agent/ScenarioValues.h"

namespace Agent {

namespace {

bool belongsToWindow(std::string const& word) {
    return word == "never-withdrawn" || word == "syslog";
}

/// Whether each word goes with the kind of time that the expectation has.
bool wordsFitTime(Node const& node, bool window, Findings& findings) {
    bool fit = true;
    for (auto const& member : node.members) {
        auto const isTime = member.key == "at" || member.key == "between";
        if (isTime || belongsToWindow(member.key) == window) continue;
        findings.add(member.keyMark,
                     "found `" + member.key + "` in an expectation with " +
                         (window ? "`between`, expected `at`" : "`at`, expected `between`"));
        fit = false;
    }
    return fit;
}

bool readTime(Node const& node, Expectation& expectation, Findings& findings) {
    auto const* const at = node.find("at");
    auto const* const between = node.find("between");
    if ((at == nullptr) == (between == nullptr)) {
        findings.add(node.mark, std::string("found ") + (at ? "both" : "neither") +
                                    " `at` and `between` in an expectation, expected one of them");
        return false;
    }
    expectation.from = parseDuration((at ? *at : between->items[0]).text).value();
    expectation.until = parseDuration((at ? *at : between->items[1]).text).value();
    if (expectation.from <= expectation.until) return true;
    findings.add(between->mark,
                 "found a window that ends before it begins, expected its beginning first");
    return false;
}

void readKeptKeys(Node const& tables, Expectation& expectation) {
    for (auto const& table : tables.members) {
        for (auto const& key : table.value.items) {
            expectation.neverWithdrawn.push_back({table.key, key.text, key.mark});
        }
    }
}

}  // namespace

std::optional<Expectation> readExpectation(Node const& node, Findings& findings) {
    if (!isSound(node)) return std::nullopt;
    Expectation expectation;
    expectation.mark = node.mark;
    expectation.words.kind = Node::Kind::mapping;
    if (!readTime(node, expectation, findings)) return std::nullopt;
    if (!wordsFitTime(node, node.find("between") != nullptr, findings)) return std::nullopt;

    for (auto const& member : node.members) {
        if (member.key == "at" || member.key == "between") continue;
        if (member.key == "never-withdrawn") {
            readKeptKeys(member.value, expectation);
        } else if (member.key == "syslog") {
            expectation.syslog = ExpectedSyslog{{}, member.keyMark};
            for (auto const& item : member.value.items) {
                expectation.syslog->identifiers.push_back(item.text);
            }
        } else {
            expectation.words.add(member.key, member.keyMark, member.value);
        }
    }
    return expectation;
}

}  // namespace Agent
