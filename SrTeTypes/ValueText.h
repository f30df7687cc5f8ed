#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Quor/RangeError.h"

namespace SrTePolicy {

/// The printed form of a value type: "Value('TYPE', ** {'NAME': TEXT, 'NAME': TEXT})".
struct ValueField {
    std::string_view name;
    std::string text;
};
SRTE_EXPORT std::string valueText(std::string_view type, std::initializer_list<ValueField> fields);

/// The texts of the fields of a printed form, one for each name. Lenient: what is not found is
/// empty, so that the value read has to be printed again and compared.
SRTE_EXPORT std::vector<std::string_view> valueFields(
    std::string_view text, std::string_view type, std::initializer_list<std::string_view> names);

/// Decimal; 0 for any other text.
SRTE_EXPORT std::uint32_t valueNumber(std::string_view text);

/// `value`, when it prints as `text`; else throws RangeError "TYPE: malformed text".
template <class T>
T checkedValue(T value, std::string_view text, std::string_view type) {
    if (value.stringValue() == text) return value;
    throw Quor::RangeError(std::string(type) + ": malformed text");
}

}  // namespace SrTePolicy
