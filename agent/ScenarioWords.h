#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "agent/Shape.h"

namespace Agent::Words {

// The kinds of words in a scenario, spelled as `show` and `trace` print them.

inline constexpr std::uint64_t max32 = std::numeric_limits<std::uint32_t>::max();

Word text(std::string const& expected);  ///< anything but nothing
Word name();
Word boolean();
Word number(std::string const& what, std::uint64_t min, std::uint64_t max);
Word number32(std::string const& what);
Word number64(std::string const& what);
Word label();
Word gribiLabel();  ///< also the first number that is no label
Word labelStack();
Word labelRange();
Word address();
Word tunnelId();
Word time();
Word interval();  ///< spelled in milliseconds, without the unit
Word policyKey();
Word listName();
Word candidateId();

}  // namespace Agent::Words
