#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Agent {

/// One thing that is wrong with an input file. Line and column count from 1; a line of 0 means that
/// no place in the file can be named.
struct Diagnostic {
    std::string file;
    int line = 0;
    int column = 0;
    std::string message;

    /// `file:line:column: message`, or `file: message` without a place.
    std::string text() const {
        auto const place =
            line > 0 ? ":" + std::to_string(line) + ":" + std::to_string(column) : std::string();
        return file + place + ": " + message;
    }

    bool operator==(Diagnostic const&) const = default;
};

/// The input is wrong: everything that was found, in the order of the file. `what()` is one line
/// for each.
class InputError : public std::runtime_error {
public:
    explicit InputError(std::vector<Diagnostic> found)
        : std::runtime_error(lines(found)), diagnostics(std::move(found)) {}

    std::vector<Diagnostic> diagnostics;

private:
    static std::string lines(std::vector<Diagnostic> const& found) {
        std::string text;
        for (auto const& diagnostic : found) {
            if (!text.empty()) text += '\n';
            text += diagnostic.text();
        }
        return text;
    }
};

}  // namespace Agent
