#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "agent/Findings.h"

namespace Agent {

/// A value of the input with its place. Scalars are kept as text; whoever knows what is meant turns
/// them into numbers.
struct Node {
    struct Member;
    enum class Kind {
        null,
        scalar,
        sequence,
        mapping,
        invalid  ///< it was reported, and what hangs on it cannot be judged
    };

    Kind kind = Kind::null;
    Mark mark;
    std::string text;             ///< of a scalar
    std::vector<Node> items;      ///< of a sequence
    std::vector<Member> members;  ///< of a mapping, in the file's order; keys differ

    bool isNull() const { return kind == Kind::null; }
    bool isScalar() const { return kind == Kind::scalar; }
    bool isSequence() const { return kind == Kind::sequence; }
    bool isMapping() const { return kind == Kind::mapping; }
    bool isInvalid() const { return kind == Kind::invalid; }

    /// The value of `key` in a mapping; null when there is none, or when it is the null value.
    Node const* find(std::string_view key) const;
    /// The member of `key`, whatever its value; null when there is none.
    Member* member(std::string_view key);
    Member const* member(std::string_view key) const;
    /// Adds a member, whose key must be new.
    Member& add(std::string const& key, Mark keyMark, Node value);

private:
    std::map<std::string, std::size_t, std::less<>> places_;
};

struct Node::Member {
    std::string key;
    Mark keyMark;
    Node value;
};

/// Reads the one document of a YAML or JSON text.
///
/// What a scenario may not use, though YAML has it (a key twice, a second document, anchors,
/// aliases, tags), goes to `findings`. Throws InputError with all findings at the first fault of
/// the syntax, which ends the reading.
Node readYamlTree(std::string const& text, Findings& findings);

}  // namespace Agent
