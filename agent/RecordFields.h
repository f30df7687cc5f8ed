#pragma once

#include <cstdint>
#include <string_view>

#include "agent/ScenarioValues.h"
#include "agent/YamlTree.h"

namespace Agent {

// The values of records whose form was checked: their texts are known to be what they must be.

inline std::uint64_t numberOf(Node const& scalar) {
    return parseNumber(scalar.text).value();
}

template <class Number>
Number numberAt(Node const& record, std::string_view key, Number absent) {
    auto const* const value = record.find(key);
    return value ? static_cast<Number>(numberOf(*value)) : absent;
}

inline bool booleanAt(Node const& record, std::string_view key, bool absent) {
    auto const* const value = record.find(key);
    return value ? value->text == "true" : absent;
}

}  // namespace Agent
