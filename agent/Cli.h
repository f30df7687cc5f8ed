#pragma once

#include <iosfwd>

namespace Agent {

/// The program `srte`: data on `out`, messages on `err`, and a file called `-` is `in`.
///
/// Returns its exit code: 0 fine, 1 an expectation failed, 2 wrong usage, 3 the input is wrong,
/// 4 internal error.
int run(int argc, char const* const* argv, std::istream& in, std::ostream& out, std::ostream& err);

}  // namespace Agent
