#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/YamlTree.h"

namespace Agent {

/// What a part of a file must look like: checks a node, reports what is wrong with it, and spells
/// keys and values the one way in which the rest of the reader compares them. What cannot be used
/// becomes invalid. Shapes are put together from the functions below.
using Shape = std::function<void(Node&, Findings&)>;

/// A kind of word: what to call it when another is found, and its one spelling; nothing when a text
/// is no such word.
struct Word {
    std::string expected;
    std::function<std::optional<std::string>(std::string const&)> spelling;
};

/// A word made by `parse` (text -> optional value) and spelled by `print` (value -> text).
template <class Parse, class Print>
Word word(std::string expected, Parse parse, Print print) {
    return {std::move(expected), [=](std::string const& text) -> std::optional<std::string> {
                if (auto const value = parse(text)) return print(*value);
                return std::nullopt;
            }};
}
/// One of `words`.
Word oneOf(std::vector<std::string> words);

Shape scalar(Word word);

struct Count {
    std::size_t min;
    std::size_t max;
};
/// A list of `min` to `max` items, which are called `items`.
Shape sequence(std::string items, Count count, Shape item);

struct Field {
    enum class Null { allowed, refused };

    std::string key;
    Shape shape;
    Null null = Null::allowed;  ///< allowed where the absence of a value has a meaning
};
/// A mapping with fixed keys; `what` says whose.
Shape record(std::string what, std::vector<Field> fields);

/// A mapping with keys of the file's own. Two keys with the same spelling are one key twice.
Shape table(std::string what, Word key, Shape value);

/// `list` for a list, `other` for anything else.
Shape listOr(Shape list, Shape other);

/// "`text`", "null", "a list" or "a mapping".
std::string describe(Node const& node);

}  // namespace Agent
