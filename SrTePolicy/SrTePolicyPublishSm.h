#pragma once

#include <optional>

#include "Platform/Keel/Backlog.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/PendingKeys.h"
#include "Platform/Pooltab/ForwardingStatus.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Tunnel/SrTePolicyTunnelTable.h"
#include "SrTePolicy/SrTePolicyBindingSidClaims.h"
#include "SrTePolicy/SrTePolicyFecIdRange.h"
#include "SrTePolicy/SrTePolicyFecWriter.h"
#include "SrTeTypes/Config.h"
#include "SrTeTypes/EcPolicy.h"
#include "SrTeTypes/PolicyStatus.h"

namespace SrTePolicy {

/// Turns the active candidate of every policy into forwarding state.
///
///   reads   EcPolicy; of Config the colored-RIB flag and its preference
///   writes  PolicyStatus, the policy tunnel table and the FECs of its range, as their only writer
///   runs    in its task, a policy at a time; handlers only mark
///
/// A policy without an active candidate, with one that no FEC can express, or whose binding SID
/// another policy holds is withdrawn as a whole. After every policy this holds: a policy is the
/// chosen one of a binding SID exactly when its status entry names that binding SID.
///
/// `handleDel` empties status, policy tunnels, FECs and the index of FECs, in this order.
class SRTE_EXPORT PolicyPublishSm final : public Quor::PtrInterface {
public:
    PolicyPublishSm(FecIdRange fecIdRange, Quor::Ptr<EcPolicy const> ecPolicy,
                    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<PolicyStatus> status,
                    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus,
                    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> policyTunnelTable,
                    Quor::Ptr<Config const> config);

    // Life: inert until handleInitialized, which takes over what an earlier run published.
    void handleInitialized();
    void handleDel();
    /// Nothing is left to do until the next event.
    bool drained() const { return backlog_.empty() && !coloredRibBookmark_; }

    // Events.
    void handlePolicy(PolicyKey const& key);
    void handlePopulateColoredRib();
    void handleTaskRun();

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    /// What publishing needs of an active candidate. A copy: EcPolicy may change under the writes.
    struct Publishable {
        CandidateId candidate;
        Wirex::MplsLabel bindingSid;
        Enlp enlp;
    };

    void rebuildLocalCache();
    void sweepPolicyTunnels();

    void processPolicy(PolicyKey const& key);
    std::optional<Publishable> publishable(PolicyKey const& key);
    void publish(PolicyKey const& key, Publishable const& active, PolicyStatusEntry const& old);
    void withdraw(PolicyStatusEntry const& old);
    void releaseBindingSid(Wirex::MplsLabel bsid, PolicyKey const& key);
    void emitBsidConflictSyslog(PolicyKey const& key, Publishable const& refused) const;
    void updateFecIdToPolicyKey(PolicyStatusEntry const& entry);

    void handlePopulateColoredRib(PolicyStatusEntry const& entry, bool add);
    void walkColoredRib();

    Quor::Ptr<EcPolicy const> const ecPolicy_;
    Quor::Ptr<Keel::TaskScheduler> const taskScheduler_;
    Quor::Ptr<PolicyStatus> const status_;
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> const fwdStatus_;
    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> const policyTunnelTable_;
    Quor::Ptr<Config const> const staticCfg_;

    PolicyFecWriter fecWriter_;
    BindingSidClaims claims_;
    Keel::Backlog<Keel::PendingKeys<PolicyKey>> backlog_;
    /// The entry with which the walk goes on that a change of the colored-RIB settings began.
    std::optional<PolicyKey> coloredRibBookmark_;
    bool initialized_ = false;

    Quor::Reactor<PolicyKey> policyReactor_;
    Quor::Reactor<PolicyKey> activeReactor_;
    Quor::Reactor<PolicyKey> activeEntryReactor_;
    Quor::AttributeReactor coloredRibReactor_;
    Quor::AttributeReactor coloredRibPreferenceReactor_;
};

/// Publishes `ecPolicy` with FEC identifiers of `fecIdRange`, which is this machine's alone: at its
/// start it deletes every FEC of the range that no entry of `status` names.
SRTE_EXPORT Quor::Ptr<PolicyPublishSm> policyPublishSmFactory(
    FecIdRange fecIdRange, Quor::Ptr<EcPolicy const> ecPolicy,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler, Quor::Ptr<PolicyStatus> status,
    Quor::Ptr<Pooltab::Fib::ForwardingStatus> fwdStatus,
    Quor::Ptr<Tunnel::TunnelTable::SrTePolicyTunnelTable> policyTunnelTable,
    Quor::Ptr<Config const> config);

}  // namespace SrTePolicy
