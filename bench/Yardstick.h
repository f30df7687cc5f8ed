#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Pooltab/Fec.h"
#include "Platform/Tunnel/SrTePolicyTunnelTable.h"
#include "Platform/Tunnel/SrTeSegmentListTunnelTable.h"
#include "SrTePolicy/SrTePolicySegment.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/EcPolicy.h"
#include "SrTeTypes/ExportedSegmentList.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"
#include "SrTeTypes/PolicyStatus.h"
#include "SrTeTypes/SegmentListStatus.h"
#include "bench/Load.h"

namespace Bench {

/// The yardstick: the finished rows of the load, built in a loop and stored into one
/// `std::unordered_map` per table without reserving. It derives, watches and schedules nothing;
/// what the machines cost is told as a ratio to it.
class Yardstick {
public:
    explicit Yardstick(Load const& load);
    /// Writes every row.
    void fill();
    /// Overwrites tunnel and status of the first `lists` lists.
    void overwriteLists(std::uint32_t lists, std::uint32_t variant);

private:
    using TunnelId = Tunnel::TunnelTable::TunnelId;
    using FecId = Pooltab::Fib::FecId;
    struct IdHash {
        std::size_t operator()(auto const& id) const {
            return std::hash<std::uint64_t>()(id.value());
        }
    };
    struct RouteHash {
        std::size_t operator()(Mpls::RouteKey key) const { return key.topLabel().value(); }
    };
    using Candidates =
        std::vector<std::pair<SrTePolicy::CandidateId, SrTePolicy::PolicyCandidateInfo>>;

    void fillSegments();
    void fillCandidate(std::uint32_t policy, std::uint32_t candidate);
    void fillList(std::uint32_t policy, std::uint32_t list, SrTePolicy::PolicyId const& id);
    void fillPolicy(std::uint32_t policy);
    Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry tunnel(std::uint32_t policy,
                                                                std::uint32_t list,
                                                                std::uint32_t variant) const;

    Load const load_;
    SrTePolicy::Policy selected_;  // as selection leaves it, but for its key

    std::unordered_map<SrTePolicy::PolicyKey, Candidates> keyMap_;
    std::unordered_map<SrTePolicy::PolicyId, SrTePolicy::PolicyIdEntry> selectionInput_;
    std::unordered_map<SrTePolicy::SegmentListId, SrTePolicy::SegmentListUser> users_;
    std::unordered_map<SrTePolicy::SegmentListId, SrTePolicy::SegmentListResolveError> status_;
    std::unordered_map<SrTePolicy::SegmentListId, SrTePolicy::Export::SegmentList> exported_;
    std::unordered_map<TunnelId, Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry> tunnels_;
    std::unordered_map<SrTePolicy::PolicyKey, SrTePolicy::Policy> ecPolicy_;
    std::unordered_map<FecId, Pooltab::Fib::Fec> fecs_;
    std::unordered_map<SrTePolicy::PolicyKey, SrTePolicy::PolicyStatusEntry> policyStatus_;
    std::unordered_map<FecId, SrTePolicy::PolicyKey> fecIdToPolicyKey_;
    std::unordered_map<TunnelId, Tunnel::TunnelTable::SrTePolicyTunnelTableEntry> policyTunnels_;
    std::unordered_map<Mpls::RouteKey, Quor::Ptr<Mpls::LfibRow const>, RouteHash> bsidRoutes_;
    std::unordered_map<SrTePolicy::SegmentId, Quor::Ptr<SrTePolicy::SegmentResolve const>, IdHash>
        segments_;
};

}  // namespace Bench
