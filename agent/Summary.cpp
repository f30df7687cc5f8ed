#include "agent/Summary.h"

#include <algorithm>
#include <sstream>

#include "agent/FlowText.h"
#include "agent/ScenarioValues.h"
#include "agent/ShowPolicies.h"
#include "agent/ShowText.h"

namespace Agent {

namespace {

/// More policies than this in one chapter are only counted.
constexpr std::size_t maxPoliciesPerChapter = 50;

std::string counted(std::size_t count, char const* one, char const* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string field(Json const& summary, char const* name) {
    return summary.contains(name) ? scalarText(summary[name]) : "none";
}

/// "lfib: 16 written, 1 removed"; nothing when the section is not touched.
template <class Changes>
void addSection(char const* name, Changes const& changes, std::vector<std::string>& parts) {
    if (changes.empty()) return;
    std::string text = std::string(name) + ": ";
    auto const written = changes.written.size();
    auto const removed = changes.removed.size();
    if (written > 0) text += std::to_string(written) + " written";
    if (written > 0 && removed > 0) text += ", ";
    if (removed > 0) text += std::to_string(removed) + " removed";
    parts.push_back(text);
}

std::string eventText(Step const& event) {
    std::vector<std::string> parts;
    if (event.life == Life::restart) parts.emplace_back("the agent dies and comes back");
    if (!event.router.empty()) {
        parts.push_back("router: " + counted(event.router.size(), "setting", "settings"));
    }
    addSection("lfib", event.lfib, parts);
    addSection("ti-lfa", event.tiLfa, parts);
    if (event.bfd) parts.emplace_back("bfd: the global settings");
    addSection("policies", event.policies, parts);
    addSection("sbfd-session", event.sbfdSession, parts);
    addSection("counters", event.counters, parts);
    if (auto const& gribi = event.gribi.configuration) {
        bool const enabled = gribi->value_or(GribiConfiguration()).enabled;
        parts.emplace_back(enabled ? "gribi: enabled" : "gribi: disabled");
    }
    addSection("gribi nh", event.gribi.nextHop, parts);
    addSection("gribi nhg", event.gribi.nextHopGroup, parts);
    addSection("gribi mpls", event.gribi.mpls, parts);
    if (event.clog) parts.emplace_back(*event.clog ? "the log clogs" : "the log flows again");
    if (event.life == Life::stop) parts.emplace_back("the agent stops");
    if (event.life == Life::start) parts.emplace_back("the agent starts");
    std::string text;
    for (auto const& part : parts) text += (text.empty() ? "" : "; ") + part;
    return text + " (line " + std::to_string(event.mark.line) + ")";
}

std::string chapterText(Story::Chapter const& chapter, bool first) {
    auto const at = durationText(chapter.at) + "  ";
    if (first) return at + "start";
    return at + (chapter.event ? eventText(*chapter.event) : "what had to wait goes on");
}

std::string upText(Json const& summary, Paint const& paint) {
    return paint.good("up") + ", " + field(summary, "active") +
           (summary.contains("bsid") ? ", BSID " + field(summary, "bsid") : "");
}

/// "down: no-usable-candidate (main no-usable-list, spare bsid-in-use)".
std::string downText(Json const& summary, Paint const& paint) {
    auto text = paint.bad("down");
    if (!summary.contains("reason")) return text + ", not looked at yet";
    text += ": " + field(summary, "reason");
    std::string candidates;
    for (auto const& [name, reason] : summary["candidates"].items()) {
        if (!candidates.empty()) candidates += ", ";
        candidates += name + " " + scalarText(reason);
    }
    return candidates.empty() ? text : text + " (" + candidates + ")";
}

/// In few words, what a change is about.
std::string changeText(Story::Change const& change, Paint const& paint) {
    auto const& [key, before, after] = change;
    if (after.is_null()) return "gone";
    bool const up = after["state"] == "up";
    auto const now = up ? upText(after, paint) : downText(after, paint);
    if (before.is_null()) return now;
    if (before["state"] != after["state"] || !up) return now + ", was " + field(before, "state");
    std::string text;
    for (auto const* const name : {"active", "bsid"}) {
        if (field(before, name) == field(after, name)) continue;
        if (!text.empty()) text += ", ";
        text += std::string(name) + " " + field(after, name) + " instead of " + field(before, name);
    }
    return text.empty() ? "leaves on other paths" : text;
}

Json pathsOf(Json const& summary) {
    return summary.is_object() && summary.contains("paths") ? summary["paths"] : Json::array();
}

std::string gribiText(Story::GribiLabels const& labels) {
    return "gRIBI: " + std::to_string(labels.installed) + " of " +
           counted(labels.all, "label", "labels") + " installed";
}

void printChapter(std::ostream& out, Story::Chapter const& chapter, bool first,
                  Paint const& paint) {
    auto const count = chapter.changes.size();
    out << '\n' << paint.strong(chapterText(chapter, first)) << '\n';
    if (chapter.gribi) out << "  " << gribiText(*chapter.gribi) << '\n';
    if (count == 0 && !chapter.gribi) out << "  no policy changes\n";
    if (count > 1) out << "  " << count << " policies " << (first ? "come" : "change") << '\n';
    std::size_t printed = 0;
    for (auto const& change : chapter.changes) {
        if (printed++ == maxPoliciesPerChapter) {
            out << "  and " << count - maxPoliciesPerChapter << " more\n";
            return;
        }
        out << "  " << policyKeyText(change.key) << "  " << changeText(change, paint) << '\n';
        auto const paths = pathsOf(change.after);
        if (paths != pathsOf(change.before)) printPaths(out, "      ", paths);
    }
}

/// How many policies are up, and why the others are not.
void printEnd(std::ostream& out, Run const& run, Paint const& paint) {
    Rows rows(std::nullopt);
    showPolicies(run.host(), rows);
    std::vector<std::string> down;
    for (auto const& [key, row] : rows) {
        if (row["state"] == "up") continue;
        auto const summary = Story::summary(run.host(), parsePolicyKey(key).value());
        down.push_back(key + "  " + downText(summary, paint));
    }
    out << '\n' << paint.strong(durationText(run.host().now()) + "  end") << '\n';
    if (!run.host().machines()) out << "  the agent is stopped\n";
    out << "  " << counted(rows.size(), "policy", "policies") << ": " << rows.size() - down.size()
        << " up, " << down.size() << " down\n";
    auto const labels = Story::gribiLabels(run.host().tables());
    if (labels.all > 0) out << "  " << gribiText(labels) << '\n';
    for (std::size_t i = 0; i < down.size() && i < maxPoliciesPerChapter; ++i) {
        out << "  " << down[i] << '\n';
    }
    if (down.size() > maxPoliciesPerChapter) {
        out << "  and " << down.size() - maxPoliciesPerChapter << " more\n";
    }
}

void printExpectations(std::ostream& out, std::string const& fileName, Run const& run,
                       Paint const& paint) {
    out << '\n';
    for (auto const& mismatch : run.mismatches()) {
        out << fileName << ':' << mismatch.mark.line << ": " << mismatch.at << ", " << mismatch.what
            << ": expected " << mismatch.expected << ", found " << mismatch.found << '\n';
    }
    auto const held = counted(run.heldCount(), "expectation holds", "expectations hold");
    out << paint.good(held);
    if (run.failedCount() > 0) {
        out << ", " << paint.bad(std::to_string(run.failedCount()) + " failed");
    }
    if (run.leftOutCount() > 0) out << ", " << run.leftOutCount() << " left out";
    out << '\n';
}

Json chapterJson(Story::Chapter const& chapter) {
    Json json{{"at", durationText(chapter.at)}};
    if (chapter.event) json["line"] = chapter.event->mark.line;
    json["policy"] = Json::object();
    for (auto const& change : chapter.changes) {
        json["policy"][policyKeyText(change.key)] = change.after;
    }
    if (auto const& labels = chapter.gribi) {
        json["gribi"] = {{"labels", labels->all}, {"installed", labels->installed}};
    }
    return json;
}

}  // namespace

void printSummary(std::ostream& out, std::string const& fileName, std::string const& notes,
                  Run const& run, Paint const& paint) {
    auto const& scenario = run.host().scenario();
    out << paint.strong(scenario.title.empty() ? fileName : scenario.title) << '\n'
        << counted(scenario.initial.policies.written.size(), "policy", "policies") << ", "
        << counted(scenario.initial.lfib.written.size(), "label route", "label routes") << ", "
        << counted(scenario.events.size(), "event", "events") << '\n';
    if (!notes.empty()) out << notes;
    auto const& chapters = run.story().chapters();
    for (auto const& chapter : chapters) {
        printChapter(out, chapter, &chapter == &chapters.front(), paint);
    }
    printEnd(out, run, paint);
    printExpectations(out, fileName, run, paint);
}

void printSummaryJson(std::ostream& out, std::string const& fileName, Run const& run) {
    Json json{{"schema", "srte/1"},
              {"at", durationText(run.host().now())},
              {"scenario", run.host().scenario().title},
              {"held", run.heldCount()},
              {"failed", run.failedCount()},
              {"left-out", run.leftOutCount()},
              {"failures", Json::array()},
              {"events", Json::array()}};
    for (auto const& mismatch : run.mismatches()) {
        json["failures"].push_back({{"file", fileName},
                                    {"line", mismatch.mark.line},
                                    {"at", mismatch.at},
                                    {"what", mismatch.what},
                                    {"expected", mismatch.expected},
                                    {"found", mismatch.found}});
    }
    for (auto const& chapter : run.story().chapters()) {
        json["events"].push_back(chapterJson(chapter));
    }
    // The name of the file may be any bytes.
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::string leftOutNotes(std::string const& scenarioText) {
    std::istringstream lines(scenarioText);
    std::string notes;
    for (std::string line; std::getline(lines, line) && line.starts_with('#');) {
        auto const text = line.size() > 2 ? line.substr(2) : std::string();
        if (text.starts_with("Left out")) notes = "\n";
        if (notes.empty()) continue;
        if (text.empty()) break;
        notes += text + '\n';
    }
    return notes;
}

}  // namespace Agent
