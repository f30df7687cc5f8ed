#include "agent/Shape.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Agent {

namespace {

void refuse(Node& node, std::string const& expected, Findings& findings) {
    if (!node.isInvalid()) {
        findings.add(node.mark, "found " + describe(node) + ", expected " + expected);
    }
    node.kind = Node::Kind::invalid;
}

std::string range(Count count) {
    if (count.max == std::numeric_limits<std::size_t>::max()) {
        return std::to_string(count.min) + " or more";
    }
    return std::to_string(count.min) + " to " + std::to_string(count.max);
}

void refuseUnknownKey(Node::Member& member, std::string const& what,
                      std::vector<std::string> const& known, Findings& findings) {
    auto hint = didYouMean(member.key, known);
    if (hint.empty()) hint = ", expected one of " + quotedList(known);
    findings.add(member.keyMark, "unknown key `" + member.key + "` in " + what + hint);
    // Elsewhere the key may be known, so that whoever reads the record would take the value for
    // checked.
    member.value.kind = Node::Kind::invalid;
}

}  // namespace

std::string describe(Node const& node) {
    if (node.isScalar()) return "`" + node.text + "`";
    if (node.isNull()) return "null";
    return node.isSequence() ? "a list" : "a mapping";
}

Word oneOf(std::vector<std::string> words) {
    auto const expected = quotedList(words);
    return {words.size() > 1 ? "one of " + expected : expected,
            [words = std::move(words)](std::string const& text) -> std::optional<std::string> {
                if (std::find(words.begin(), words.end(), text) == words.end()) return {};
                return text;
            }};
}

Shape scalar(Word word) {
    return [word = std::move(word)](Node& node, Findings& findings) {
        auto spelling = node.isScalar() ? word.spelling(node.text) : std::nullopt;
        if (!spelling) return refuse(node, word.expected, findings);
        node.text = *std::move(spelling);
    };
}

Shape sequence(std::string items, Count count, Shape item) {
    return [=](Node& node, Findings& findings) {
        if (!node.isSequence()) return refuse(node, "a list of " + items, findings);
        for (auto& each : node.items) item(each, findings);
        auto const size = node.items.size();
        if (size >= count.min && size <= count.max) return;
        auto const number = size == 0 ? "no" : std::to_string(size);
        findings.add(node.mark, "found " + number + " " + items + ", expected " + range(count));
        node.kind = Node::Kind::invalid;
    };
}

Shape record(std::string what, std::vector<Field> fields) {
    std::vector<std::string> known;
    for (auto const& field : fields) known.push_back(field.key);
    return [what = std::move(what), fields = std::move(fields), known = std::move(known)](
               Node& node, Findings& findings) {
        if (!node.isMapping()) return refuse(node, what + " as a mapping", findings);
        for (auto& member : node.members) {
            auto const field = std::find_if(fields.begin(), fields.end(), [&](auto const& each) {
                return each.key == member.key;
            });
            if (field == fields.end()) {
                refuseUnknownKey(member, what, known, findings);
            } else if (!member.value.isNull() || field->null == Field::Null::refused) {
                field->shape(member.value, findings);
            }
        }
    };
}

Shape table(std::string what, Word key, Shape value) {
    return [what = std::move(what), key = std::move(key), value = std::move(value)](
               Node& node, Findings& findings) {
        if (!node.isMapping()) return refuse(node, what + " as a mapping", findings);
        Node spelled;
        spelled.kind = node.kind;
        spelled.mark = node.mark;
        for (auto& member : node.members) {
            auto const spelling = key.spelling(member.key);
            if (!member.value.isNull()) value(member.value, findings);
            if (!spelling) {
                findings.add(member.keyMark,
                             "found `" + member.key + "` as a key, expected " + key.expected);
            } else if (auto const* const first = spelled.member(*spelling)) {
                findings.add(member.keyMark, "duplicate key `" + member.key +
                                                 "`, the same as in line " +
                                                 std::to_string(first->keyMark.line));
            } else {
                spelled.add(*spelling, member.keyMark, std::move(member.value));
            }
        }
        node = std::move(spelled);
    };
}

Shape listOr(Shape list, Shape other) {
    return [list = std::move(list), other = std::move(other)](Node& node, Findings& findings) {
        (node.isSequence() ? list : other)(node, findings);
    };
}

}  // namespace Agent
