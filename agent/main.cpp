#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "Platform/Fastlog/RingSink.h"
#include "Platform/Quor/Assert.h"
#include "agent/Cli.h"
#include "agent/Commands.h"

namespace {

/// A failed assertion is an internal error: the newest traces, then what was found to be wrong.
void stopWithExitCode(char const* text, char const* unit, int line) {
    for (auto const piece : Duallog::ring().pieces()) {
        std::fwrite(piece.data(), 1, piece.size(), stderr);
    }
    std::fprintf(stderr, "srte: internal error: %s:%d: %s\n", unit, line, text);
    std::_Exit(static_cast<int>(Agent::ExitCode::internalError));
}

}  // namespace

int main(int argc, char** argv) {
    Quor::stopHookIs(stopWithExitCode);
    std::ios::sync_with_stdio(false);
    return Agent::run(argc, argv, std::cin, std::cout, std::cerr);
}
