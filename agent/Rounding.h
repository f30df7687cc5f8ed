#pragma once

#include <cstdint>
#include <string>

namespace Agent::Topohub {

/// `numerator` / `denominator` to the nearest whole number, halves up. Neither is negative, and the
/// denominator is not 0.
constexpr std::int64_t roundedQuotient(std::int64_t numerator, std::int64_t denominator) {
    auto const rest = numerator % denominator;
    return numerator / denominator + (rest >= denominator - rest ? 1 : 0);
}

/// The share `part` / `whole` in percent with at most two decimals, halves up and no trailing
/// zeros: "75 %", "12.5 %", "66.67 %".
std::string percentText(std::int64_t part, std::int64_t whole);

}  // namespace Agent::Topohub
