#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>

#include "Platform/Keel/DumpContext.h"
#include "agent/InputError.h"
#include "agent/Run.h"
#include "agent/ScenarioReader.h"
#include "agent/ShowText.h"
#include "agent/ShowWords.h"
#include "agent/Summary.h"

// Any bytes are a scenario or an InputError, and whatever is a scenario can be played and shown.

namespace {

using namespace Agent;

std::optional<Scenario> read(std::string const& text) {
    std::istringstream input(text);
    try {
        return readScenario(input, "input");
    } catch (InputError const&) {
        return std::nullopt;
    }
}

void print(Host const& host, ShowWord const& word, std::optional<std::string> const& key) {
    std::ostringstream out;
    Rows rows(key);
    word.show(host, rows);
    printJson(out, "0s", std::string(word.name), rows);
    if (!rows.empty()) printText(out, std::string(word.name), rows, Paint(true));
}

void show(Host const& host) {
    for (auto const& word : showWords()) {
        print(host, word, std::nullopt);
        Keel::DumpContext context;
        if (word.dump && host.machines()) word.dump(*host.machines(), context);
    }
    Rows routes(std::nullopt);
    showWord("lfib")->show(host, routes);
    for (auto const& [label, row] : routes) print(host, traceWord(), label);
}

void play(std::string const& text, Scenario const& scenario) {
    // A clogged agent looks at its log ten times a second, for as long as the scenario lasts.
    constexpr Time longest = std::chrono::minutes(5);
    Run const run(scenario, scenario.end() > longest ? std::optional(longest) : std::nullopt);
    std::ostringstream out;
    printSummary(out, "input", leftOutNotes(text), run, Paint(false));
    printSummaryJson(out, "input", run);
    show(run.host());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    if (auto const scenario = read(text)) play(text, *scenario);
    return 0;
}
