#pragma once

#include <iosfwd>
#include <optional>
#include <stdexcept>
#include <string>

namespace Agent {

enum class ExitCode {
    fine = 0,
    expectationFailed = 1,
    wrongUsage = 2,
    wrongInput = 3,
    internalError = 4
};

/// What was typed makes no sense.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Where a command reads and writes.
struct Streams {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool colour = false;
};

// Options as they were typed; commands judge them. A file called `-` is stdin.

struct RunOptions {
    std::string file;
    std::optional<std::string> until;
    bool json = false;
};
struct ShowOptions {
    std::string file;
    std::string word;
    std::optional<std::string> key;
    std::optional<std::string> at;
    bool json = false;
    bool dump = false;
};
struct TraceOptions {
    std::string file;
    std::string labels;
    std::optional<std::string> at;
    bool json = false;
};
struct ImportOptions {
    std::string file;
    std::string router;
    std::string metric = "km";
    std::optional<std::string> output;
};

// The commands. They throw UsageError and InputError.

ExitCode runCommand(RunOptions const& options, Streams const& streams);
ExitCode showCommand(ShowOptions const& options, Streams const& streams);
ExitCode traceCommand(TraceOptions const& options, Streams const& streams);
ExitCode importCommand(ImportOptions const& options, Streams const& streams);

/// The words of `show`, for a help text.
std::string showWordList();

}  // namespace Agent
