#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "agent/PolicyForecast.h"

namespace Agent::Topohub {

// Pieces of a scenario's YAML, each of them on one line.

/// `[16005, 24001]`
std::string labelsText(std::vector<Label> const& labels);
/// `[{nh: 10.0.0.2, if: to-A, out: [16005]}, {nh: 10.0.0.5, if: to-B, out: pop}]`
std::string viasText(RouterView const& view, std::vector<Via> const& vias);
/// `[{if: to-A, nh: 10.0.0.2, out: [16005], share: 100 %}]`
std::string wireText(RouterView const& view, std::vector<WireEntry> const& wire);
/// `100 10.255.0.5`
std::string policyKey(RouterView const& view, PlannedPolicy const& policy);

/// A number of things: "1 list", "2 lists".
std::string counted(std::size_t number, std::string const& thing);
/// A length in words: "590 km", "1 hop", "2 hops".
std::string lengthText(std::int64_t length, Metric metric);
/// A name from elsewhere as it may stand in a comment: in one line, without control characters.
std::string commentName(std::string_view name);
/// A name from elsewhere as a word of a shell's command line.
std::string shellWord(std::string const& word);
/// Names as comment lines of at most 100 columns, the first one begun by `lead`.
std::string commentList(std::string const& lead, std::vector<std::string> const& names);

}  // namespace Agent::Topohub
