#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "tests/sim/World.h"

namespace Sim {

void forEach(auto const& table, auto const& action) {
    for (auto row = table.begin(); row; row.next()) action(row.key(), row.value());
}

/// The key of some row, or nothing when there is none.
auto keyIn(auto const& table, std::uint32_t pick) {
    auto row = table.begin();
    using Key = std::decay_t<decltype(row.key())>;
    std::optional<Key> key;
    for (auto left = table.size() ? pick % table.size() : 0; row; row.next()) {
        key = row.key();
        if (left-- == 0) break;
    }
    return key;
}

inline std::string const& textOf(std::string const& text) {
    return text;
}
std::string textOf(auto const& value) {
    return value.stringValue();
}

/// Throws the violation `what`, with what it is about, unless the condition holds.
void hold(bool condition, char const* what, auto const&... about) {
    if (condition) return;
    std::string text = what;
    ((text += ' ' + textOf(about)), ...);
    throw Violation{text};
}

}  // namespace Sim
