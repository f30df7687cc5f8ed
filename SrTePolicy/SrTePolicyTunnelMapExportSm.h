#pragma once

#include <compare>
#include <optional>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Keel/IdSet.h"
#include "Platform/Keel/Task.h"
#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Tunnel/CounterTable.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"
#include "SrTeTypes/TunnelIdToPolicyKey.h"

namespace SrTePolicy {

/// The tunnels that one candidate uses, ascending, each once.
using PolicyTunnelInfo = Quor::InlineVector<Tunnel::TunnelTable::TunnelId, 1>;

/// Tells other agents which policy the tunnel of a segment list belongs to.
///
///   reads   PolicySelectionInput; the tunnel counters, one tunnel at a time
///   writes  TunnelIdToPolicyKey, as its only writer
///   runs    inside its reactors; its task ("TunnelExportSmTask") runs once a second while tunnels
///           that nobody uses have a counter
///
/// A row names a policy that uses the tunnel, and keeps that name while it holds true. When several
/// policies share a tunnel and the named one lets go, the row passes to the lowest key. The row of
/// an unused tunnel goes with the tunnel's counter.
class SRTE_EXPORT TunnelMapExportSm final : public Quor::PtrInterface {
public:
    using TunnelId = Tunnel::TunnelTable::TunnelId;

    TunnelMapExportSm(Quor::Ptr<PolicySelectionInput const> policySelectionInput,
                      Quor::Ptr<TunnelIdToPolicyKey> tunnelIdToPolicyKey,
                      Quor::Ptr<Tunnel::CounterTable const> counterTable,
                      Quor::Ptr<Keel::TaskScheduler> taskScheduler);
    ~TunnelMapExportSm() override;

    /// Maps the tunnels of every candidate, then looks for rows that only an earlier run knew.
    void handleInitialized();
    /// Empties TunnelIdToPolicyKey.
    void handleDel();
    /// Always: tunnels that wait for the end of their counter are no pending work.
    bool drained() const { return true; }

    /// A candidate that came, went, or has a new version.
    void handlePolicyEntry(PolicyId const& policyId);
    void handleTaskRun();

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    struct PolicyTunnelChange {
        PolicyTunnelInfo added;
        PolicyTunnelInfo dropped;
    };

    // Ordered so that the users of a tunnel stand together, and among them those of one policy.
    struct TunnelUse {
        TunnelId tunnelId;
        PolicyId policyId;
        friend auto operator<=>(TunnelUse const&, TunnelUse const&) = default;
    };

    PolicyTunnelChange updatePolicyTunnelInfo(PolicyId const& policyId);
    void processTunnel(TunnelId tunnelId);
    std::optional<PolicyKey> rightfulKey(TunnelId tunnelId) const;
    std::optional<PolicyKey> lowestUser(TunnelId tunnelId, PolicyKey const& from) const;
    void checkAndRemoveTunnel(TunnelId tunnelId);
    void pendingTunnelDel(TunnelId tunnelId);
    void handlePendingTunnelEntry();

    Quor::Ptr<PolicySelectionInput const> const policySelectionInput_;
    Quor::Ptr<TunnelIdToPolicyKey> const tunnelIdToPolicyKey_;
    Quor::Ptr<Tunnel::CounterTable const> const tunnelCounter_;
    Quor::Ptr<Keel::TaskScheduler> const taskScheduler_;

    Quor::Ptr<Keel::TimerTask> task_;
    Quor::OrderedMap<PolicyId, PolicyTunnelInfo> policyTunnelInfo_;
    Quor::OrderedSet<TunnelUse> tunnelUse_;
    Keel::IdSet<TunnelId> pendingTunnel_;  // unused, and with a counter when last looked at
    std::optional<TunnelId> pendingBookmark_;
    bool initialized_ = false;

    // Declared last, destroyed first: no event reaches a half-destroyed machine.
    Quor::Reactor<PolicyId> policyIdEntryReactor_;
};

/// The map of verdicts is not read: the machine's own index of tunnels knows the users of a tunnel
/// in every policy, where the candidates of one policy would have to be searched.
SRTE_EXPORT Quor::Ptr<TunnelMapExportSm> tunnelMapExportSmFactory(
    Quor::Ptr<PolicySelectionInput const> policySelectionInput,
    Quor::Ptr<PolicyKeyToIdMap const> policyKeyToIdMap,
    Quor::Ptr<TunnelIdToPolicyKey> tunnelIdToPolicyKey,
    Quor::Ptr<Tunnel::CounterTable const> counterTable,
    Quor::Ptr<Keel::TaskScheduler> taskScheduler);

}  // namespace SrTePolicy
