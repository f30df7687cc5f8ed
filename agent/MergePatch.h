#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/YamlTree.h"

namespace Agent {

/// Applies a merge patch (RFC 7396). What the patch removes stays in its place as a null value, so
/// that members keep the order in which they were first named, whatever becomes of them.
void applyMergePatch(Node& target, Node const& patch);

/// The keys at `path` that `patch` names: those that it spells out, in its order, or, where it
/// removes the whole of `path`, those that have a value in `state`.
std::vector<std::string> namedKeys(Node const& patch, Node const& state,
                                   std::vector<std::string_view> const& path);

/// The keys of a mapping whose value is not null, in order.
std::vector<std::string> presentKeys(Node const& mapping);

/// Whether nothing in `node` was found to be wrong.
bool isSound(Node const& node);

}  // namespace Agent
