#include "agent/YamlTree.h"

#include <optional>
#include <sstream>
#include <utility>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

namespace Agent {

Node const* Node::find(std::string_view key) const {
    auto const* const found = isMapping() ? member(key) : nullptr;
    return found && !found->value.isNull() ? &found->value : nullptr;
}

Node::Member* Node::member(std::string_view key) {
    auto const place = places_.find(key);
    return place == places_.end() ? nullptr : &members[place->second];
}

Node::Member const* Node::member(std::string_view key) const {
    auto const place = places_.find(key);
    return place == places_.end() ? nullptr : &members[place->second];
}

Node::Member& Node::add(std::string const& key, Mark keyMark, Node value) {
    places_.emplace(key, members.size());
    members.push_back({key, keyMark, std::move(value)});
    return members.back();
}

namespace {

/// The bytes of the character of UTF-8 (RFC 3629) that `text` begins with; 0 when it is none.
std::size_t characterSize(std::string_view text) {
    auto const byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    auto const first = byte(0);
    std::size_t const size = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if (size == 1) return 1;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    // Longer than need be, a surrogate, or beyond the last character.
    bool const misused = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
                         (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F);
    return misused ? 0 : size;
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        auto const size = characterSize(text);
        if (size == 0) return false;
        text.remove_prefix(size);
    }
    return true;
}

Mark markOf(YAML::Mark const& mark) {
    return {mark.line + 1, mark.column + 1};
}

/// Builds the tree from the parser's events. Only the first document counts.
class TreeBuilder final : public YAML::EventHandler {
public:
    TreeBuilder(std::string const& text, Findings& findings) : text_(text), findings_(findings) {
        root_.mark = {1, 1};
    }

    Node takeRoot() { return std::move(root_); }

    void OnDocumentStart(YAML::Mark const& mark) override {
        if (++documents_ == 2) findings_.add(markOf(mark), "a second document, expected only one");
    }
    void OnDocumentEnd() override {}
    void OnNull(YAML::Mark const& mark, YAML::anchor_t anchor) override {
        take(begin(mark, "?", anchor, Node::Kind::null));
    }
    void OnAlias(YAML::Mark const& mark, YAML::anchor_t) override {
        refuse(mark, "aliases are");
        take(begin(mark, "?", 0, Node::Kind::invalid));
    }
    void OnScalar(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t anchor,
                  std::string const& value) override {
        auto node = begin(mark, tag, anchor, Node::Kind::scalar);
        if (isUtf8(value)) {
            node.text = value;
        } else {
            refuse(mark, "bytes that are no UTF-8 are");
            node.kind = Node::Kind::invalid;
        }
        take(std::move(node));
    }
    void OnSequenceStart(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value) override {
        open_.push_back({begin(mark, tag, anchor, Node::Kind::sequence), std::nullopt});
    }
    void OnSequenceEnd() override { close(); }
    void OnMapStart(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value) override {
        open_.push_back({begin(mark, tag, anchor, Node::Kind::mapping), std::nullopt});
    }
    void OnMapEnd() override { close(); }

private:
    struct Open {
        Node node;
        std::optional<Node> key;  // of the member that is being read
    };

    void refuse(YAML::Mark const& mark, std::string const& what) {
        if (documents_ == 1) {
            findings_.add(markOf(mark), what + " not allowed, expected the value itself");
        }
    }

    Node begin(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t anchor,
               Node::Kind kind) {
        // "?" is no tag; "!" is what quoted text has, unless the file itself says so.
        auto const at = static_cast<std::size_t>(mark.pos);
        bool const spelledOut = at < text_.size() && text_[at] == '!';
        if (!tag.empty() && tag != "?" && (tag != "!" || spelledOut)) refuse(mark, "tags are");
        if (anchor != 0) refuse(mark, "anchors are");
        Node node;
        node.kind = kind;
        node.mark = markOf(mark);
        return node;
    }

    void close() {
        auto node = std::move(open_.back().node);
        open_.pop_back();
        take(std::move(node));
    }

    void take(Node node) {
        if (open_.empty()) {
            if (documents_ == 1) root_ = std::move(node);
        } else if (auto& parent = open_.back(); parent.node.isSequence()) {
            parent.node.items.push_back(std::move(node));
        } else if (!parent.key) {
            parent.key = std::move(node);
        } else {
            addMember(parent.node, *std::exchange(parent.key, std::nullopt), std::move(node));
        }
    }

    void addMember(Node& parent, Node const& key, Node value) {
        if (documents_ > 1 || key.isInvalid()) return;
        if (!key.isScalar()) {
            auto const* const found = key.isNull()      ? "null"
                                      : key.isMapping() ? "a mapping"
                                                        : "a list";
            findings_.add(key.mark, std::string("found ") + found + " as a key, expected text");
        } else if (auto const* const first = parent.member(key.text)) {
            findings_.add(key.mark, "duplicate key `" + key.text + "`, first in line " +
                                        std::to_string(first->keyMark.line));
        } else {
            parent.add(key.text, key.mark, std::move(value));
        }
    }

    std::string const& text_;
    Findings& findings_;
    int documents_ = 0;
    std::vector<Open> open_;
    Node root_;
};

}  // namespace

Node readYamlTree(std::string const& text, Findings& findings) {
    TreeBuilder builder(text, findings);
    try {
        std::istringstream input(text);
        YAML::Parser parser(input);
        // Not to the end: where a comma follows the document, the parser finds documents for ever.
        if (parser.HandleNextDocument(builder)) parser.HandleNextDocument(builder);
    } catch (YAML::Exception const& fault) {
        findings.add(markOf(fault.mark), "not YAML: " + fault.msg);
        findings.throwIfAny();
    }
    return builder.takeRoot();
}

}  // namespace Agent
