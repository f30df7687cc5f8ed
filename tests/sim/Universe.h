#pragma once

#include <cstdint>

#include "agent/Scenario.h"

namespace Sim {

/// A sequence of numbers that follows from a seed, the same with every library.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next();
    /// Below `count`.
    std::uint32_t operator()(std::uint32_t count) {
        return static_cast<std::uint32_t>(next() % count);
    }
    bool percent(std::uint32_t chance) { return (*this)(100) < chance; }

private:
    std::uint64_t state_;
};

// The few things that a run is about, so that they collide often. Each is a small number; a place
// says which, a content what is written there. Any number is a valid one.

inline constexpr std::uint32_t endpointCount = 4;
inline constexpr std::uint32_t policyCount = 2 * endpointCount;
inline constexpr std::uint32_t candidatesOfPolicy = 7;
inline constexpr std::uint32_t candidateCount = policyCount * candidatesOfPolicy;
inline constexpr std::uint32_t protocolCount = 4;
inline constexpr std::uint32_t labelCount = 14;
inline constexpr std::uint32_t tunnelCount = 3;
inline constexpr std::uint32_t routeContents = 12 * 16;
inline constexpr std::uint32_t tunnelContents = 24;

/// What is written of a candidate, taken apart so that one part can change alone.
struct CandidateContent {
    static constexpr std::uint32_t bsids = 8, enlps = 5, preferences = 3, originators = 4;
    static constexpr std::uint32_t listSets = 64;
    static constexpr std::uint32_t count = bsids * enlps * preferences * originators * listSets;

    explicit CandidateContent(std::uint32_t number);
    std::uint32_t number() const;

    std::uint32_t bsid, enlp, preference, originator, listSet;
};

SrTePolicy::Protocol protocolAt(std::uint32_t place);
SrTePolicy::PolicyId policyIdAt(std::uint32_t place);
SrTePolicy::PolicyInputEntry entryAt(std::uint32_t place, CandidateContent const& content);

Mpls::RouteKey routeKeyAt(std::uint32_t place);
Mpls::ConsolidatedLfibRoute routeAt(std::uint32_t place, std::uint32_t content);

Tunnel::TunnelTable::TunnelId tiLfaAt(std::uint32_t place);
Tunnel::TunnelTable::TiLfaTunnelTableEntry tiLfaEntryAt(std::uint32_t place, std::uint32_t content);

Agent::Srlb srlbAt(std::uint32_t content);
Agent::MaxSidDepth depthAt(std::uint32_t content);

}  // namespace Sim
