#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "agent/Cli.h"

/// What one call of the program left behind.
struct Ended {
    int code = 0;
    std::string out;
    std::string err;
};

/// Calls `srte` with `arguments`; `input` is its stdin.
inline Ended srte(std::vector<std::string> const& arguments, std::string const& input = {}) {
    std::vector<char const*> argv{"srte"};
    for (auto const& argument : arguments) argv.push_back(argument.c_str());
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    auto const code = Agent::run(static_cast<int>(argv.size()), argv.data(), in, out, err);
    return {code, out.str(), err.str()};
}
