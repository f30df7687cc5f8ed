#include "agent/ScenarioReader.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iomanip>
#include <istream>
#include <iterator>
#include <sstream>

#include "agent/ExpectationReader.h"
#include "agent/KnownNames.h"
#include "agent/MergePatch.h"
#include "agent/ScenarioBuilder.h"
#include "agent/ScenarioShape.h"
#include "agent/ScenarioValues.h"

namespace Agent {

namespace {

/// The four digits of an escape such as `\u00fc` at `at`, when they are between `first` and `last`.
std::optional<std::uint32_t> escapedUnit(std::string_view text, std::size_t at, std::uint32_t first,
                                         std::uint32_t last) {
    auto const escape = text.substr(std::min(at, text.size()), 6);
    if (escape.size() < 6 || !escape.starts_with("\\u")) return std::nullopt;
    std::uint32_t unit = 0;
    auto const [end, error] = std::from_chars(&escape[2], escape.data() + 6, unit, 16);
    bool const whole = error == std::errc() && end == escape.data() + 6;
    if (!whole || unit < first || unit > last) return std::nullopt;
    return unit;
}

/// JSON writes a character beyond 16 bits as two escapes of four digits, YAML as one of eight.
void joinSurrogates(std::string& text) {
    for (auto at = text.find('\\'); at != std::string::npos; at = text.find('\\', at + 2)) {
        auto const high = escapedUnit(text, at, 0xD800, 0xDBFF);
        auto const low = escapedUnit(text, at + 6, 0xDC00, 0xDFFF);
        if (!high || !low) continue;
        std::ostringstream joined;
        joined << "\\U" << std::hex << std::setw(8) << std::setfill('0')
               << 0x10000 + ((*high - 0xD800) << 10) + (*low - 0xDC00);
        text.replace(at, 12, joined.str());
    }
}

std::string wholeText(std::istream& input) {
    std::string text{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.erase(0, byteOrderMark.size());
    joinSurrogates(text);
    return text;
}

/// The events of the file, or its expectations.
std::vector<Node> const& itemsOf(Node const& file, std::string_view key) {
    static std::vector<Node> const none;
    auto const* const list = file.find(key);
    return list ? list->items : none;
}

SessionState sessionState(std::string const& text) {
    if (text == "up") return SessionState::up;
    if (text == "init") return SessionState::init;
    return text == "down" ? SessionState::down : SessionState::adminDown;
}

void readSessions(Node const& reports, Step& step) {
    for (auto const& report : reports.members) {
        auto const list = parseListName(report.key).value();
        if (report.value.isNull()) {
            step.sbfdSession.removed.push_back(list);
        } else if (report.value.isScalar()) {
            step.sbfdSession.written.push_back({list, sessionState(report.value.text)});
        }
    }
}

/// The events in the order of the file, which must be that of time.
class EventReader {
public:
    EventReader(ScenarioBuilder& builder, Findings& findings)
        : builder_(builder), findings_(findings) {}

    Step read(Node const& event) {
        auto step = builder_.take(event);
        readTime(event, step);
        readLife(event, step);
        if (auto const* const clog = event.find("clog")) step.clog = clog->text == "true";
        if (auto const* const reports = event.find("sbfd-session")) readSessions(*reports, step);
        return step;
    }

private:
    void readTime(Node const& event, Step& step) {
        auto const* const at = event.find("at");
        if (!event.member("at"))
            findings_.add(event.mark, "found an event without `at`, expected its time");
        if (!at || !at->isScalar()) return;
        step.at = parseDuration(at->text).value();
        if (step.at < last_) {
            findings_.add(at->mark, "found an event at " + at->text + " after one at " +
                                        durationText(last_) + ", expected events in time order");
        }
        last_ = std::max(last_, step.at);
    }

    void readLife(Node const& event, Step& step) {
        struct Change {
            char const* key;
            Life life;
        };
        for (auto const& change : {Change{"restart", Life::restart}, Change{"stop", Life::stop},
                                   Change{"start", Life::start}}) {
            auto const* const member = event.member(change.key);
            if (!member) continue;
            if (step.life != Life::unchanged) {
                findings_.add(member->keyMark, std::string("found `") + change.key +
                                                   "` beside another change of the agent's life, "
                                                   "expected one of `restart`, `stop`, `start`");
            }
            step.life = change.life;
        }
    }

    ScenarioBuilder& builder_;
    Findings& findings_;
    Time last_{0};
};

void judgeNames(Node const& file, Findings& findings) {
    KnownNames names(findings);
    names.learn(file);
    for (auto const& event : itemsOf(file, "events")) names.learn(event);
    names.judge(file);
    for (auto const& event : itemsOf(file, "events")) names.judge(event);
    for (auto const& each : itemsOf(file, "expect")) names.judgeExpectation(each);
}

Scenario buildScenario(Node const& file, Findings& findings) {
    Scenario scenario;
    if (auto const* const title = file.find("scenario")) scenario.title = title->text;
    ScenarioBuilder builder(findings);
    scenario.initial = builder.take(file);
    EventReader events(builder, findings);
    for (auto const& event : itemsOf(file, "events")) {
        if (event.isMapping()) scenario.events.push_back(events.read(event));
    }
    for (auto const& node : itemsOf(file, "expect")) {
        auto expectation = readExpectation(node, findings);
        if (expectation) scenario.expectations.push_back(*std::move(expectation));
    }
    scenario.tiLfaNames = builder.tiLfaNames();
    return scenario;
}

}  // namespace

Scenario readScenario(std::istream& input, std::string const& fileName) {
    Findings findings(fileName);
    auto file = readYamlTree(wholeText(input), findings);
    scenarioShape()(file, findings);
    Scenario scenario;
    if (file.isMapping()) {
        judgeNames(file, findings);
        scenario = buildScenario(file, findings);
    }
    findings.throwIfAny();
    return scenario;
}

Time Scenario::end() const {
    auto latest = events.empty() ? Time(0) : events.back().at;
    for (auto const& expectation : expectations) latest = std::max(latest, expectation.until);
    return latest;
}

std::string const* Scenario::tiLfaName(Tunnel::TunnelTable::TunnelId tunnelId) const {
    using Tunnel::TunnelTable::TunnelType;
    bool const named = tunnelId.type() == TunnelType::tiLfa && tunnelId.index() > 0 &&
                       tunnelId.index() <= tiLfaNames.size();
    return named ? &tiLfaNames[tunnelId.index() - 1] : nullptr;
}

}  // namespace Agent
