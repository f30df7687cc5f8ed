#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "agent/InputError.h"

namespace Agent {

/// A place in the input; both count from 1.
struct Mark {
    int line = 0;
    int column = 0;

    friend auto operator<=>(Mark const&, Mark const&) = default;
};

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

    /// The value of `key`; null when there is none, or when it is the null value.
    Node const* find(std::string_view key) const;
    /// The member of `key`, also when its value is null.
    Member* member(std::string_view key);
    Member const* member(std::string_view key) const;
    /// Adds a member whose key must be new.
    Member& add(std::string key, Mark keyMark, Node value);

private:
    std::map<std::string, std::size_t, std::less<>> places_;
};

struct Node::Member {
    std::string key;
    Mark keyMark;
    Node value;
    bool keyIsNull = false;
};

/// Reads the one document of a YAML or JSON text.
///
/// What a scenario may not use, though YAML has it (a key twice, a second document, anchors,
/// aliases, tags), goes to `found` with its place, as does the first fault of the syntax, at which
/// reading ends. The tree is then what was read until there.
Node readYamlTree(std::string const& text, std::string const& fileName,
                  std::vector<Diagnostic>& found);

}  // namespace Agent
