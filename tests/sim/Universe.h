#pragma once

#include <cstdint>

#include "agent/Scenario.h"

namespace Sim {

/// A sequence of numbers that follows from a seed, the same with every library.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    /// Below `count`.
    std::uint32_t operator()(std::uint32_t count);
    bool percent(std::uint32_t chance) { return (*this)(100) < chance; }

private:
    std::uint64_t state_;
};

// The few things that a run is about, so that they collide often. Each is a small number; a place
// says which, a content what is written there. Any number is a valid one.
using Number = std::uint32_t;

inline constexpr Number endpointCount = 4;
inline constexpr Number policyCount = 2 * endpointCount;
inline constexpr Number candidatesOfPolicy = 7;
inline constexpr Number candidateCount = policyCount * candidatesOfPolicy;
inline constexpr Number protocolCount = 4;
inline constexpr Number labelCount = 14;
inline constexpr Number tunnelCount = 3;
inline constexpr Number plainRoutes = 4;  ///< the first contents of routes: one next hop each
inline constexpr Number routeContents = 12 * 16;
inline constexpr Number tunnelContents = 24;
inline constexpr Number sbfdSettings = 9;
inline constexpr Number nextHopCount = 7;
inline constexpr Number groupCount = 3;
inline constexpr Number incomingLabelCount = 8;

/// What is written of a candidate, taken apart so that one part can change alone.
struct CandidateContent {
    static constexpr Number bsids = 8, enlps = 5, preferences = 3, originators = 4, listSets = 64;
    static constexpr Number count = 1024 * listSets;

    explicit CandidateContent(Number number);
    Number number() const;

    Number bsid, enlp, preference, originator, listSet;
};

SrTePolicy::Protocol protocolAt(Number place);
SrTePolicy::PolicyId policyIdAt(Number place);
SrTePolicy::PolicyInputEntry entryAt(Number place, Number content);

Mpls::RouteKey routeKeyAt(Number place);
Mpls::ConsolidatedLfibRoute routeAt(Number place, Number content);
Tunnel::TunnelTable::TunnelId tiLfaAt(Number place);
Tunnel::TunnelTable::TiLfaTunnelTableEntry tiLfaEntryAt(Number place, Number content);

Agent::Srlb srlbAt(Number content);
Agent::MaxSidDepth depthAt(Number content);

/// The S-BFD settings of a policy; nothing when it has none.
std::optional<SrTePolicy::PolicySbfdConfig> settingsAt(Number content);
Agent::BfdSettings globalSettingsAt(Number content);

std::uint64_t nextHopIdAt(Number place);
Agent::GribiNextHop nextHopAt(Number place, Number content);
std::uint64_t groupIdAt(Number place);
Agent::GribiNextHopGroup groupAt(Number place, Number content);
Number incomingLabelAt(Number place);
Agent::GribiMplsEntry mplsEntryAt(Number place, Number content);

}  // namespace Sim
