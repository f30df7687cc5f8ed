#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SrTeTypes/PolicyKey.h"
#include "agent/Scenario.h"

namespace Agent {

// How files and the command line write values. Every reader gives nothing for any other text.

/// Decimal digits, leading zeros allowed, for a number from `min` to `max`.
std::optional<std::uint64_t> parseNumber(
    std::string_view text, std::uint64_t min = 0,
    std::uint64_t max = std::numeric_limits<std::uint64_t>::max());

/// A label that a packet can carry.
std::optional<std::uint32_t> parseLabel(std::string_view text);

/// "10s", "11.2s", "50ms": exact to the nanosecond, less than 300 years.
std::optional<Time> parseDuration(std::string_view text);
/// In seconds, without needless zeros: "11.2s".
std::string durationText(Time time);

/// A name of the file's own: letters, digits, `.`, `_` and `-`.
bool isName(std::string_view text);

/// "100 192.0.2.5": color, endpoint.
std::optional<SrTePolicy::PolicyKey> parsePolicyKey(std::string_view text);
std::string policyKeyText(SrTePolicy::PolicyKey const& key);

/// "100 192.0.2.5 main l1": color, endpoint, candidate, list.
std::optional<ListName> parseListName(std::string_view text);

/// "bgp 65001 192.0.2.9 7": protocol, AS, originator, discriminator.
std::optional<SrTePolicy::CandidateId> parseCandidateId(std::string_view text);
std::string candidateIdText(SrTePolicy::CandidateId const& id);

/// "24001,16005": at least one label, the first on top.
std::optional<std::vector<std::uint32_t>> parseLabelStack(std::string_view text);
std::string labelStackText(std::vector<std::uint32_t> const& labels);

/// "100000-100999".
std::optional<Mpls::LabelRange> parseLabelRange(std::string_view text);

/// "10-77": type, index.
std::optional<Tunnel::TunnelTable::TunnelId> parseTunnelId(std::string_view text);

/// The words of `text` between runs of blanks.
std::vector<std::string_view> splitAtBlanks(std::string_view text);

}  // namespace Agent
