#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Platform/Bfd/Peer.h"

namespace Sim {

/// `for (auto const& [key, row] : each(table))`.
template <class Table>
auto each(Table const& table) {
    struct Walk {
        auto operator*() const { return std::tie(position.key(), position.value()); }
        void operator++() { position.next(); }
        bool operator!=(Walk const&) const { return static_cast<bool>(position); }
        Walk begin() const { return *this; }
        Walk end() const { return *this; }
        decltype(table.begin()) position;
    };
    return Walk{table.begin()};
}

/// The key of some row, or nothing when there is none.
template <class Table>
auto keyIn(Table const& table, std::uint32_t pick) {
    std::optional<typename Table::Key> found;
    auto left = table.size() ? pick % table.size() : 0;
    for (auto const& [key, row] : each(table)) {
        found = key;
        if (left-- == 0) break;
    }
    return found;
}

inline std::string_view textOf(std::string_view text) {
    return text;
}
inline std::string textOf(Bfd::AppPeer const& session) {
    return session.peer.stringValue();
}
template <class Value>
requires requires(Value value) {
    value.stringValue();
}
std::string textOf(Value const& value) {
    return value.stringValue();
}

/// Something that must hold does not.
struct Violation {
    std::string what;
};

/// Throws the violation `what`, with what it is about, unless the condition holds.
void hold(bool condition, char const* what, auto const&... about) {
    if (condition) return;
    std::string text = what;
    ((text.append(" ").append(textOf(about))), ...);
    throw Violation{text};
}

}  // namespace Sim
