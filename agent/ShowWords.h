#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Keel/DumpContext.h"
#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// One word of `show`: a view of the tables.
struct ShowWord {
    std::string_view name;
    /// The key as the view writes it; nothing for a text that is no such key.
    std::optional<std::string> (*canonicalKey)(std::string const& text);
    char const* keyForm;  ///< what a key looks like, for a person
    void (*show)(Host const& host, Rows& rows);
    /// What the machines behind the view print about themselves; null when there is no machine.
    void (*dump)(Machines const& machines, Keel::DumpContext& context);
};

/// Null for any other word.
ShowWord const* showWord(std::string_view name);
std::vector<ShowWord> const& showWords();

/// The view of a packet's way, which `trace` prints; its key is a stack of labels.
ShowWord const& traceWord();

}  // namespace Agent
