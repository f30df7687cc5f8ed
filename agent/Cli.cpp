#include "agent/Cli.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <unistd.h>

#include "agent/Commands.h"
#include "agent/InputError.h"

namespace Agent {

namespace {

constexpr char version[] = "srte 1.0.0";

/// A command's help begins with examples.
class ExamplesFirst final : public CLI::Formatter {
public:
    explicit ExamplesFirst(std::string examples) : examples_(std::move(examples)) {}
    std::string make_help(CLI::App const* app, std::string name,
                          CLI::AppFormatMode mode) const override {
        auto const rest = CLI::Formatter::make_help(app, std::move(name), mode);
        return mode == CLI::AppFormatMode::Sub ? rest : examples_ + "\n" + rest;
    }

private:
    std::string const examples_;
};

CLI::App& addCommand(CLI::App& parent, std::string const& name, std::string const& description,
                     std::string const& examples) {
    auto& command = *parent.add_subcommand(name, description);
    command.formatter(std::make_shared<ExamplesFirst>(examples));
    return command;
}

void addFile(CLI::App& command, std::string& file) {
    command.add_option("FILE", file, "A scenario, YAML or JSON; - is stdin")->required();
}

void addMoment(CLI::App& command, std::optional<std::string>& at) {
    command.add_option("--at", at, "The moment before the events of T, such as 10s (default: end)")
        ->type_name("T");
}

void addJson(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "Print JSON");
}

void addRun(CLI::App& app, RunOptions& options) {
    auto& command = addCommand(
        app, "run", "Play a scenario: events, expectations, a summary",
        "  srte run examples/abilene.yaml\n  srte run scenario.yaml --until 15s --json\n");
    addFile(command, options.file);
    command.add_option("--until", options.until, "Leave out what is expected after T, such as 10s")
        ->type_name("T");
    addJson(command, options.json);
}

void addShow(CLI::App& app, ShowOptions& options) {
    auto& command = addCommand(app, "show", "Show one of the router's tables",
                               "  srte show examples/abilene.yaml policy\n"
                               "  srte show scenario.yaml lfib 100001 --at 12s --json\n");
    addFile(command, options.file);
    command.add_option("WHAT", options.word, "One of: " + showWordList())->required();
    command.add_option("KEY", options.key, "Only this row, such as \"100 192.0.2.5\" or 100001");
    addMoment(command, options.at);
    addJson(command, options.json);
    command.add_flag("--dump", options.dump, "Print the machines' own dumps")->excludes("--json");
}

void addTrace(CLI::App& app, TraceOptions& options) {
    auto& command = addCommand(app, "trace", "Show what happens to a packet",
                               "  srte trace examples/abilene.yaml --label 100001\n"
                               "  srte trace scenario.yaml --label 24001,16005 --at 12s --json\n");
    addFile(command, options.file);
    command.add_option("--label", options.labels, "The packet's labels, top first: L[,L..]")
        ->type_name("L")
        ->required();
    addMoment(command, options.at);
    addJson(command, options.json);
}

void addImport(CLI::App& app, ImportOptions& options) {
    constexpr char examples[] =
        "  srte import topohub examples/abilene.json --router IPLSng -o s.yaml\n"
        "  srte import topohub examples/geant.json --router 5 --metric hops\n";
    auto& import = addCommand(app, "import", "Make a scenario of a real network", examples);
    import.require_subcommand(1);
    auto& command =
        addCommand(import, "topohub", "A network of TopoHub, seen from one router", examples);
    command.add_option("FILE", options.file, "The network, JSON; - is stdin")->required();
    command.add_option("--router", options.router, "The name or the id of the router")
        ->type_name("R")
        ->required();
    command.add_option("--metric", options.metric, "What links count by: km (default) or hops")
        ->type_name("M")
        ->check(CLI::IsMember({"km", "hops"}));
    command.add_option("-o,--output", options.output, "Where to write (default: stdout)")
        ->type_name("S");
}

/// Colours are for a person at a terminal who has not said no to them.
bool wantsColour(std::ostream const& out) {
    auto const* const noColour = std::getenv("NO_COLOR");
    bool const refused = noColour && *noColour;
    return &out == &std::cout && isatty(STDOUT_FILENO) == 1 && !refused;
}

ExitCode dispatch(int argc, char const* const* argv, Streams const& streams) {
    CLI::App app("A segment-routing policy engine: play scenarios, look at its tables.", "srte");
    app.formatter(std::make_shared<ExamplesFirst>(
        "  srte run examples/abilene.yaml\n  srte show examples/abilene.yaml policy --at 15s\n"));
    app.set_version_flag("--version", version, "Print the version and exit");
    app.require_subcommand(1);
    RunOptions runOptions;
    ShowOptions showOptions;
    TraceOptions traceOptions;
    ImportOptions importOptions;
    addRun(app, runOptions);
    addShow(app, showOptions);
    addTrace(app, traceOptions);
    addImport(app, importOptions);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        bool const asked = app.exit(error, streams.out, streams.err) == 0;
        return asked ? ExitCode::fine : ExitCode::wrongUsage;
    }
    if (app.got_subcommand("run")) return runCommand(runOptions, streams);
    if (app.got_subcommand("show")) return showCommand(showOptions, streams);
    if (app.got_subcommand("trace")) return traceCommand(traceOptions, streams);
    return importCommand(importOptions, streams);
}

ExitCode guarded(int argc, char const* const* argv, Streams const& streams) {
    try {
        return dispatch(argc, argv, streams);
    } catch (UsageError const& error) {
        streams.err << "srte: " << error.what() << '\n';
        return ExitCode::wrongUsage;
    } catch (InputError const& error) {
        streams.err << error.what() << '\n';
        return ExitCode::wrongInput;
    } catch (std::exception const& error) {
        streams.err << "srte: internal error: " << error.what() << '\n';
        return ExitCode::internalError;
    }
}

}  // namespace

int run(int argc, char const* const* argv, std::istream& in, std::ostream& out, std::ostream& err) {
    auto code = guarded(argc, argv, {in, out, err, wantsColour(out)});
    if (!out.flush()) {
        err << "srte: the output cannot be written\n";
        code = ExitCode::internalError;
    }
    return static_cast<int>(code);
}

}  // namespace Agent
