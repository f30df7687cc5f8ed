#include "agent/FlowText.h"

namespace Agent {

namespace {

void separate(std::string& text) {
    if (text.size() > 1) text += ", ";
}

}  // namespace

std::string scalarText(Json const& scalar) {
    return scalar.is_string() ? scalar.get<std::string>() : scalar.dump();
}

std::string flowText(Json const& value) {
    if (value.is_array()) {
        std::string text = "[";
        for (auto const& element : value) {
            separate(text);
            text += flowText(element);
        }
        return text + "]";
    }
    if (!value.is_object()) return scalarText(value);
    std::string text = "{";
    for (auto const& [key, member] : value.items()) {
        separate(text);
        text += key + ": " + flowText(member);
    }
    return text + "}";
}

std::string flowText(Node const& value) {
    if (value.isNull()) return "null";
    if (value.isSequence()) {
        std::string text = "[";
        for (auto const& item : value.items) {
            separate(text);
            text += flowText(item);
        }
        return text + "]";
    }
    if (!value.isMapping()) return value.text;
    std::string text = "{";
    for (auto const& member : value.members) {
        separate(text);
        text += member.key + ": " + flowText(member.value);
    }
    return text + "}";
}

}  // namespace Agent
