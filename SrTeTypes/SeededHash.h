#pragma once

#include <concepts>
#include <cstdint>

namespace SrTePolicy {

/// Mixes the numbers into `seed`, one after the other. Numbers that are hashes themselves chain
/// values into one hash.
template <std::unsigned_integral... Numbers>
constexpr std::uint64_t seededHash(std::uint64_t seed, Numbers... numbers) {
    auto const mix = [&seed](std::uint64_t number) {
        auto mixed = (seed ^ number) * 0x9E3779B97F4A7C15u;
        mixed ^= mixed >> 32;
        seed = mixed * 0xD6E8FEB86659FD93u;
    };
    (mix(numbers), ...);
    return seed;
}

}  // namespace SrTePolicy
