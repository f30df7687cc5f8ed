#pragma once

#include <gtest/gtest.h>
#include <random>

/// A machine under random inputs, one run for each seed, whose outputs are compared with a
/// brute-force function of the inputs.
template <class Fixture>
class ModelTest : public Fixture, public testing::WithParamInterface<unsigned> {
protected:
    /// Below `count`.
    std::uint32_t random(std::uint32_t count) {
        return static_cast<std::uint32_t>(engine_() % count);
    }
    auto anyOf(auto const& rows) {
        return std::next(rows.begin(), random(static_cast<std::uint32_t>(rows.size())));
    }

private:
    std::mt19937 engine_{GetParam()};
};
