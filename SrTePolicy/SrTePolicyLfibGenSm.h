#pragma once

#include <compare>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/IdSet.h"
#include "Platform/Mpls/LfibStatus.h"
#include "Platform/Mpls/LfibWriter.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "SrTeTypes/PolicyStatus.h"

namespace SrTePolicy {

/// Keeps one label route per published binding SID, into the policy's FEC without explicit null.
///
///   reads   PolicyStatus
///   writes  the routes of an LFIB table of its own
///   runs    inside its reactor: it has no task
///
/// Should two policies name one binding SID, the route is that of the one written last, and falls
/// to the other when that one goes: no policy ever takes away a route that is not its own.
class SRTE_EXPORT SrTePolicyLfibGenSm final : public Quor::PtrInterface {
public:
    SrTePolicyLfibGenSm(Quor::Ptr<PolicyStatus const> policyStatus,
                        Quor::Ptr<Mpls::LfibStatus> lfibStatus);

    // Life: inert until handleInitialized, which removes the routes that no policy claims any more
    // after the others were written; handleDel empties the table.
    void handleInitialized();
    void handleDel();

    // The one event.
    void handlePolicy(PolicyKey const& key);

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    /// A policy whose binding SID has another policy's route.
    struct Overridden {
        Mpls::RouteKey routeKey;
        PolicyKey key;
        friend auto operator<=>(Overridden const&, Overridden const&) = default;
    };

    void lfibWriterIs() { lfibWriter_ = Quor::makePtr<Mpls::LfibWriter>(lfibStatus_); }
    void addOrUpdateLfib(PolicyKey const& key);
    void deleteLfib(PolicyKey const& key);
    void routeOwnerIs(Mpls::RouteKey routeKey, PolicyKey const& key);
    void routeOwnerDel(Mpls::RouteKey routeKey, PolicyKey const& key);
    void cleanupLfibEntries();

    Quor::Ptr<PolicyStatus const> const policyStatus_;
    Quor::Ptr<Mpls::LfibStatus> const lfibStatus_;
    Quor::Ptr<Mpls::LfibWriter> lfibWriter_;

    Quor::OrderedMap<PolicyKey, Wirex::MplsLabel> policyKeyBindingSidMap_;
    Quor::DenseMap<Mpls::RouteKey, PolicyKey> routeOwner_;
    Quor::OrderedSet<Overridden> overridden_;
    Keel::IdSet<Mpls::RouteKey> unusedLfibRoute_;
    bool initialized_ = false;

    Quor::Reactor<PolicyKey> statusReactor_;
};

/// `lfibStatus` is this machine's alone: whatever else it holds goes at the start.
SRTE_EXPORT Quor::Ptr<SrTePolicyLfibGenSm> srTePolicyLfibGenSmFactory(
    Quor::Ptr<PolicyStatus const> policyStatus, Quor::Ptr<Mpls::LfibStatus> lfibStatus);

}  // namespace SrTePolicy
