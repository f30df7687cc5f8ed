#include "agent/Share.h"

#include <algorithm>

namespace Agent {

namespace {

constexpr int digitBits = 32;
constexpr std::uint64_t wholeInHundredths = 10000;  // of a percent

Fraction sum(Fraction const& a, Natural const& numerator, Natural const& denominator) {
    return {a.numerator * denominator + numerator * a.denominator, a.denominator * denominator};
}

}  // namespace

Natural::Natural(std::uint64_t value) {
    for (; value > 0; value >>= digitBits) digits_.push_back(static_cast<std::uint32_t>(value));
}

Natural operator+(Natural const& a, Natural const& b) {
    Natural result;
    std::uint64_t carry = 0;
    for (std::size_t i = 0; i < std::max(a.digits_.size(), b.digits_.size()) || carry > 0; ++i) {
        if (i < a.digits_.size()) carry += a.digits_[i];
        if (i < b.digits_.size()) carry += b.digits_[i];
        result.digits_.push_back(static_cast<std::uint32_t>(carry));
        carry >>= digitBits;
    }
    return result;
}

Natural operator*(Natural const& a, Natural const& b) {
    Natural result;
    result.digits_.resize(a.digits_.size() + b.digits_.size());
    for (std::size_t i = 0; i < a.digits_.size(); ++i) {
        std::uint64_t carry = 0;
        for (std::size_t j = 0; j < b.digits_.size() || carry > 0; ++j) {
            carry += result.digits_[i + j];
            if (j < b.digits_.size()) carry += std::uint64_t{a.digits_[i]} * b.digits_[j];
            result.digits_[i + j] = static_cast<std::uint32_t>(carry);
            carry >>= digitBits;
        }
    }
    result.trim();
    return result;
}

std::strong_ordering operator<=>(Natural const& a, Natural const& b) {
    if (auto const bySize = a.digits_.size() <=> b.digits_.size(); bySize != 0) return bySize;
    return std::lexicographical_compare_three_way(a.digits_.rbegin(), a.digits_.rend(),
                                                  b.digits_.rbegin(), b.digits_.rend());
}

void Natural::trim() {
    while (!digits_.empty() && digits_.back() == 0) digits_.pop_back();
}

void Share::add(Fraction const& part) {
    auto& numerator = numerators_[part.denominator];
    numerator = numerator + part.numerator;
}

std::string Share::percentText() const {
    Fraction total{0, 1};
    for (auto const& [denominator, numerator] : numerators_) {
        total = sum(total, numerator, denominator);
    }
    // The largest count of hundredths that is not above total + 1/2, found without dividing.
    auto const limit = total.numerator * (2 * wholeInHundredths) + total.denominator;
    std::uint64_t hundredths = 0;
    for (std::uint64_t bit = 1u << 14; bit > 0; bit /= 2) {
        if (total.denominator * (2 * (hundredths + bit)) <= limit) hundredths += bit;
    }
    auto text = std::to_string(hundredths / 100);
    if (auto const decimals = hundredths % 100; decimals > 0) {
        text += decimals < 10 ? ".0" : ".";
        text += std::to_string(decimals % 10 == 0 ? decimals / 10 : decimals);
    }
    return text + " %";
}

}  // namespace Agent
