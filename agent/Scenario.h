#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Bfd/BfdTypes.h"
#include "Platform/Mpls/Config.h"
#include "Platform/Mpls/ConsolidatedLfibRoute.h"
#include "Platform/Tunnel/TiLfaTunnelTable.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKey.h"
#include "agent/YamlTree.h"

namespace Agent {

/// Of the scenario's own clock, from its start.
using Time = std::chrono::nanoseconds;

/// What a step does to one table: first the writes, in this order, then the removals. A record that
/// an event names is written whole, and also when it is equal to what is there.
template <class Record, class Key>
struct Changes {
    std::vector<Record> written;
    std::vector<Key> removed;

    bool empty() const { return written.empty() && removed.empty(); }
};

// The router's settings, each with its default: what it is when it is absent, or removed.

struct AgentEnabled {
    bool value = true;
};
struct Srlb {
    std::optional<Mpls::LabelRange> value;
};
struct MaxSidDepth {
    std::optional<std::uint8_t> value;  ///< without a value there is no hardware status
};
struct SpecifiedBsidOnly {
    bool value = false;
};
struct ColoredRib {
    bool value = false;
};
struct ColoredRibPreference {
    std::uint8_t value = 0;
};
struct TieBreaking {
    std::uint32_t value = 0;
};
using RouterSetting = std::variant<AgentEnabled, Srlb, MaxSidDepth, SpecifiedBsidOnly, ColoredRib,
                                   ColoredRibPreference, TieBreaking>;

/// The application that the routes of `lfib` come from.
inline constexpr Mpls::LFib::Source otherApplication{2};

/// A candidate as the file names and describes it, ready for its source.
struct CandidateRecord {
    std::string name;
    SrTePolicy::PolicyInputEntry entry;
    std::vector<std::string> listNames;  ///< of `entry.segmentList`, place by place

    SrTePolicy::PolicyId const& id() const { return entry.policyId; }
    /// The labels of list number `place`, top first.
    Wirex::BoundedMplsLabelStack const& labels(std::size_t place) const {
        return entry.segmentList[place].labels.stack;
    }
};

/// A policy of the file. Candidates and their lists are in the order in which the file first names
/// them.
struct PolicyRecord {
    SrTePolicy::StaticPolicy settings;
    std::vector<CandidateRecord> candidates;

    SrTePolicy::PolicyKey const& key() const { return settings.key; }
    /// Null when there is none of that name.
    CandidateRecord const* candidate(std::string const& name) const;
};

/// A policy that an event names, whole as it is afterwards.
struct PolicyWrite {
    PolicyRecord policy;
    /// The candidates that are written to their source, as places in `policy.candidates`.
    std::vector<std::size_t> written;
};

/// A segment list by the file's own names.
struct ListName {
    SrTePolicy::PolicyKey policy;
    std::string candidate;
    std::string list;

    /// As files write it: "100 192.0.2.5 main l1".
    std::string text() const;
    friend auto operator<=>(ListName const&, ListName const&) = default;
};

enum class SessionState { down, up, init, adminDown };

struct SessionReport {
    ListName list;
    SessionState state = SessionState::down;
};

/// The global BFD settings; what is zero is not set.
struct BfdSettings {
    Bfd::BfdInterval interval;
    Bfd::BfdMultiplier multiplier;
};

/// gRIBI entries are as a client can send them, in plain numbers: labels, for one, go one beyond
/// the largest label.
struct GribiNextHop {
    std::uint64_t id = 0;
    std::vector<std::uint32_t> pushedLabels;  ///< top first
};
struct GribiNextHopGroup {
    std::uint64_t id = 0;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> nextHopWeights;  ///< in the file's order
};
struct GribiMplsEntry {
    std::uint32_t label = 0;
    std::uint64_t nextHopGroup = 0;
};
struct GribiConfiguration {
    bool enabled = true;
};

struct GribiChanges {
    /// Set when the configuration is written; without a value inside, it is removed.
    std::optional<std::optional<GribiConfiguration>> configuration;
    // Removals come last of all: mpls, nhg, nh.
    Changes<GribiNextHop, std::uint64_t> nextHop;
    Changes<GribiNextHopGroup, std::uint64_t> nextHopGroup;
    Changes<GribiMplsEntry, std::uint32_t> mpls;
};

/// What an event does to the agent itself, after its tables are written (`restart`: the agent has
/// died before).
enum class Life { unchanged, restart, stop, start };

/// The start or an event: writes to the tables, in the order of the members.
struct Step {
    Time at{0};
    Mark mark;  ///< of the event
    std::vector<RouterSetting> router;
    Changes<Mpls::ConsolidatedLfibRoute, Mpls::RouteKey> lfib;
    /// The routes over what changes here are touched afterwards.
    Changes<Tunnel::TunnelTable::TiLfaTunnelTableEntry, Tunnel::TunnelTable::TunnelId> tiLfa;
    std::optional<BfdSettings> bfd;
    Changes<PolicyWrite, SrTePolicy::PolicyKey> policies;
    /// Removed from their sources after the writes of `policies`: candidates that are gone, and the
    /// old identities of those that have a new one.
    std::vector<SrTePolicy::PolicyId> removedCandidates;
    Changes<SessionReport, ListName> sbfdSession;  ///< removed: not reported any more
    Changes<ListName, ListName> counters;
    GribiChanges gribi;
    std::optional<bool> clog;
    Life life = Life::unchanged;
};

/// A key that must not be withdrawn, as `show` writes it.
struct KeptKey {
    std::string table;  ///< "lfib" or "policy"
    std::string key;
    Mark mark;
};

struct ExpectedSyslog {
    std::vector<std::string> identifiers;
    Mark mark;
};

/// What must hold: at a time, or within a window from `from`, included, to `until`, excluded.
struct Expectation {
    Time from{0};
    Time until{0};  ///< equal to `from` when there is no window
    Mark mark;
    /// Of an expectation at a time: word -> key -> the tree that `show` or `trace` must match. Keys
    /// are spelled as those commands print them; null means that nothing may be there.
    Node words;
    // Of a window.
    std::vector<KeptKey> neverWithdrawn;
    std::optional<ExpectedSyslog> syslog;
};

/// A scenario file, read and checked.
struct Scenario {
    std::string title;
    Step initial;
    std::vector<Step> events;  ///< in time order
    std::vector<Expectation> expectations;
    std::vector<std::string> tiLfaNames;  ///< that of the tunnel with index N stands at N - 1

    /// The latest time that an event or an expectation names.
    Time end() const;
    /// The name that the file gives a TI-LFA tunnel; null for any other tunnel.
    std::string const* tiLfaName(Tunnel::TunnelTable::TunnelId tunnelId) const;
};

}  // namespace Agent
