#include "SrTeTypes/ValueText.h"

#include <charconv>

namespace SrTePolicy {
namespace {

constexpr std::string_view end = "})";

std::string opening(std::string_view type) {
    return std::string("Value('").append(type).append("', ** {");
}
std::string label(std::string_view name, bool first) {
    return std::string(first ? "'" : ", '").append(name).append("': ");
}

}  // namespace

std::string valueText(std::string_view type, std::initializer_list<ValueField> fields) {
    auto text = opening(type);
    for (auto const& field : fields) {
        text.append(label(field.name, &field == fields.begin())).append(field.text);
    }
    return text.append(end);
}

std::vector<std::string_view> valueFields(std::string_view text, std::string_view type,
                                          std::initializer_list<std::string_view> names) {
    std::vector<std::string_view> fields(names.size());
    auto at = opening(type).size() + label(*names.begin(), true).size();
    if (text.size() < at + end.size()) return fields;
    text.remove_suffix(end.size());
    std::size_t index = 0;
    for (auto const* name = names.begin(); name != names.end(); ++name) {
        bool const last = name + 1 == names.end();
        auto const next = last ? std::string() : label(name[1], false);
        auto const stop = last ? text.size() : text.find(next, at);
        if (stop == text.npos) return fields;
        fields[index++] = text.substr(at, stop - at);
        at = stop + next.size();
    }
    return fields;
}

std::uint32_t valueNumber(std::string_view text) {
    std::uint32_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

}  // namespace SrTePolicy
