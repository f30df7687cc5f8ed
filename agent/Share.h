#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Agent {

/// A natural number of any size: shares are products and sums of weights, and exact.
class Natural {
public:
    Natural(std::uint64_t value = 0);

    friend Natural operator+(Natural const& a, Natural const& b);
    friend Natural operator*(Natural const& a, Natural const& b);
    friend std::strong_ordering operator<=>(Natural const& a, Natural const& b);
    friend bool operator==(Natural const& a, Natural const& b) = default;

private:
    void trim();
    std::vector<std::uint32_t> digits_;  // least significant first, the last one not 0
};

/// A part of the traffic, `numerator` of `denominator`.
struct Fraction {
    Natural numerator = 1;
    Natural denominator = 1;

    Fraction part(Natural const& weight, Natural const& total) const {
        return {numerator * weight, denominator * total};
    }
};

/// The sum of many parts.
class Share {
public:
    void add(Fraction const& part);
    /// With at most two decimals, rounded half up, without trailing zeros: "66.67 %".
    std::string percentText() const;

private:
    // By denominator: parts of equal denominators, nearly all of them, add up without growing.
    std::map<Natural, Natural> numerators_;
};

}  // namespace Agent
