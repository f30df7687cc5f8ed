#include "agent/ScenarioText.h"

#include <algorithm>

namespace Agent::Topohub {

namespace {

template <typename Items, typename ToText>
std::string flowList(Items const& items, ToText const& toText) {
    std::string text;
    for (auto const& item : items) text += (text.empty() ? "" : ", ") + toText(item);
    return "[" + text + "]";
}

}  // namespace

std::string labelsText(std::vector<Label> const& labels) {
    return flowList(labels, [](Label label) { return std::to_string(label); });
}

std::string viasText(RouterView const& view, std::vector<Via> const& vias) {
    return flowList(vias, [&](Via const& via) {
        auto const out = via.out ? labelsText({*via.out}) : "pop";
        return "{nh: " + view.nextHop(via.link) + ", if: " + view.interface(via.link) +
               ", out: " + out + "}";
    });
}

std::string wireText(RouterView const& view, std::vector<WireEntry> const& wire) {
    return flowList(wire, [&](WireEntry const& entry) {
        return "{if: " + view.interface(entry.link) + ", nh: " + view.nextHop(entry.link) +
               ", out: " + labelsText(entry.out) + ", share: " + entry.share + "}";
    });
}

std::string policyKey(RouterView const& view, PlannedPolicy const& policy) {
    return "100 " + view.loopback(policy.demand.destination);
}

std::string counted(std::size_t number, std::string const& thing) {
    auto const many = thing.back() == 'y' ? thing.substr(0, thing.size() - 1) + "ies" : thing + "s";
    return std::to_string(number) + " " + (number == 1 ? thing : many);
}

std::string lengthText(std::int64_t length, Metric metric) {
    if (metric == Metric::Km) return std::to_string(length) + " km";
    return counted(static_cast<std::size_t>(length), "hop");
}

std::string commentName(std::string_view name) {
    std::string text(name);
    auto const isControl = [](unsigned char character) {
        return character < ' ' || character == 127;
    };
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    return text;
}

std::string shellWord(std::string const& word) {
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-/+:,@=";
    if (!word.empty() && word.find_first_not_of(plain) == word.npos) return word;
    std::string quoted;
    for (auto const character : word) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return "'" + quoted + "'";
}

std::string commentList(std::string const& lead, std::vector<std::string> const& names) {
    constexpr std::size_t columns = 100;
    std::string text;
    std::string line = "# " + lead;
    for (std::size_t index = 0; index < names.size(); ++index) {
        auto const word = " " + names[index] + (index + 1 < names.size() ? "," : "");
        if (line.size() + word.size() > columns) {
            text += line + "\n";
            line = "#    ";
        }
        line += word;
    }
    return text + line + "\n";
}

}  // namespace Agent::Topohub
