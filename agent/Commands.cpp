#include "agent/Commands.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>
#include <sstream>

#include "agent/Playback.h"
#include "agent/ScenarioReader.h"
#include "agent/ScenarioValues.h"
#include "agent/ShowText.h"
#include "agent/ShowWords.h"
#include "agent/Summary.h"
#include "agent/TopohubImport.h"

namespace Agent {

namespace {

std::string readText(std::istream& input, std::string const& fileName) {
    std::ostringstream text;
    text << input.rdbuf();
    if (input.bad()) throw InputError({{fileName, 0, 0, "cannot be read"}});
    return text.str();
}

std::string readFile(std::string const& fileName, Streams const& streams) {
    if (fileName == "-") return readText(streams.in, fileName);
    if (std::filesystem::is_directory(fileName)) {
        throw InputError({{fileName, 0, 0, "is a directory"}});
    }
    std::ifstream file(fileName, std::ios::binary);
    if (!file) throw InputError({{fileName, 0, 0, std::strerror(errno)}});
    return readText(file, fileName);
}

Scenario parseScenario(std::string const& text, std::string const& fileName) {
    std::istringstream input(text);
    return readScenario(input, fileName);
}

std::optional<Time> momentOf(std::optional<std::string> const& text, char const* option) {
    if (!text) return std::nullopt;
    auto const time = parseDuration(*text);
    if (time) return time;
    throw UsageError(std::string(option) + ": found `" + *text +
                     "`, expected a time with its unit, such as 10s, 11.2s or 50ms");
}

ShowWord const& wordOf(std::string const& name) {
    auto const* const word = showWord(name);
    if (!word) throw UsageError("found `" + name + "`, expected one of " + showWordList());
    return *word;
}

std::string canonicalKey(ShowWord const& word, std::string const& text) {
    auto key = word.canonicalKey(text);
    if (key) return *std::move(key);
    throw UsageError("found `" + text + "`, expected " + word.keyForm);
}

void printRows(ShowWord const& word, Host const& host, Rows const& rows, bool json,
               Streams const& streams) {
    std::string const name(word.name);
    auto const at = durationText(host.now());
    if (json) {
        printJson(streams.out, at, name, rows);
    } else if (rows.empty()) {
        streams.err << "srte: at " << at << " there is no " << name
                    << (rows.key() ? " " + *rows.key() : "") << '\n';
    } else {
        printText(streams.out, name, rows, Paint(streams.colour));
    }
}

/// Machines print themselves as a whole, whatever key was asked for.
void printDump(ShowWord const& word, Host const& host, Streams const& streams) {
    if (!word.dump) {
        streams.err << "srte: no machine dumps " << word.name << '\n';
        return;
    }
    if (!host.machines()) {
        streams.err << "srte: at " << durationText(host.now()) << " the agent is stopped\n";
        return;
    }
    Keel::DumpContext context;
    word.dump(*host.machines(), context);
    streams.out << context.text();
}

}  // namespace

std::string showWordList() {
    std::string text;
    for (auto const& word : showWords()) text += (text.empty() ? "" : " ") + std::string(word.name);
    return text;
}

ExitCode runCommand(RunOptions const& options, Streams const& streams) {
    auto const until = momentOf(options.until, "--until");
    auto const text = readFile(options.file, streams);
    auto const scenario = parseScenario(text, options.file);
    Run const run(scenario, until);
    if (options.json) {
        printSummaryJson(streams.out, options.file, run);
    } else {
        printSummary(streams.out, options.file, leftOutNotes(text), run, Paint(streams.colour));
    }
    return run.held() ? ExitCode::fine : ExitCode::expectationFailed;
}

ExitCode showCommand(ShowOptions const& options, Streams const& streams) {
    auto const& word = wordOf(options.word);
    auto const at = momentOf(options.at, "--at");
    auto const key = options.key ? std::optional(canonicalKey(word, *options.key)) : std::nullopt;
    auto const scenario = parseScenario(readFile(options.file, streams), options.file);

    Host host(scenario);
    play(host, at);
    if (options.dump) {
        printDump(word, host, streams);
        return ExitCode::fine;
    }
    Rows rows(key);
    word.show(host, rows);
    printRows(word, host, rows, options.json, streams);
    return ExitCode::fine;
}

ExitCode traceCommand(TraceOptions const& options, Streams const& streams) {
    auto const at = momentOf(options.at, "--at");
    auto const& word = traceWord();
    Rows rows(canonicalKey(word, options.labels));
    auto const scenario = parseScenario(readFile(options.file, streams), options.file);

    Host host(scenario);
    play(host, at);
    word.show(host, rows);
    printRows(word, host, rows, options.json, streams);
    return ExitCode::fine;
}

ExitCode importCommand(ImportOptions const& options, Streams const& streams) {
    std::istringstream json(readFile(options.file, streams));
    auto const metric = options.metric == "hops" ? Metric::Hops : Metric::Km;
    auto const text = importTopohub(json, options.file, options.router, metric);
    if (!options.output || *options.output == "-") {
        streams.out << text;
        return ExitCode::fine;
    }
    std::ofstream file(*options.output, std::ios::binary);
    file << text;
    if (!file.flush()) {
        throw UsageError(*options.output + ": cannot be written: " + std::strerror(errno));
    }
    return ExitCode::fine;
}

}  // namespace Agent
