#pragma once

#include <optional>
#include <string>

#include "Platform/Bfd/BfdTables.h"
#include "Platform/Keel/DumpContext.h"
#include "SrTePolicy/SrTePolicySbfdSessions.h"
#include "SrTePolicy/SrTePolicySbfdTables.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/SegmentListStatus.h"

namespace SrTePolicy {

/// Keeps the S-BFD sessions that are configured, one for each list and remote discriminator however
/// many policies share it, and marks the lists unusable whose session is down.
///
///   reads   SbfdInputConfig; the state of our BFD peers; SegmentListIdToPolicyMap; the plain
///           SegmentListStatus; the global BFD settings
///   writes  the rows of BFD's application configuration under our name; statusWithSbfd of
///           SegmentListStatus, as its only writer
///   runs    inside its reactors: it has no task
///
/// A list that a policy uses, or that S-BFD is configured for, has a combined status while it has a
/// plain one, whether S-BFD speaks or not. Every event ends in `refresh`, so that the order in
/// which the configuration and the users of a list come and go does not matter.
class SRTE_EXPORT SbfdSessionSm final : public Quor::PtrInterface {
public:
    SbfdSessionSm(Quor::Ptr<Sbfd::SbfdInputConfig const> sbfdInputConfig, L3::VrfName vrfName,
                  std::string const& name, Quor::Ptr<Bfd::StatusPeer const> statusPeer,
                  Quor::Ptr<Bfd::AppConfig> appConfig, Quor::Ptr<Bfd::AppStatus const> appStatus,
                  Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
                  Quor::Ptr<SegmentListStatus> segmentListStatus,
                  Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal);

    /// Registers every configured key, removes what an earlier run left, then asks for the
    /// sessions: one that survived with the same timers is not touched.
    void handleInitialized();
    /// Withdraws the sessions, then empties statusWithSbfd.
    void handleDel();

    void handleSbfdInputConfig(Sbfd::SbfdKey const& sbfdKey);
    /// A list gained or lost a candidate.
    void handleSegListUser(SegmentListId segmentListId, PolicyId const& policyId);
    void handleSegmentListStatus(SegmentListId segmentListId);
    void handlePeerStatus(Bfd::Peer const& peer);
    void handleBfdGlobalCfg();

    /// What the session of the key runs with, and whether it lets the list be used; nothing for a
    /// key without a session.
    std::optional<Sbfd::SegmentListSbfdSessionConfig> sbfdSessionConfig(
        Sbfd::SbfdKey const& sbfdKey) const;
    std::optional<Sbfd::SegmentListSbfdSessionStatus> sbfdSessionStatus(
        Sbfd::SbfdKey const& sbfdKey) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    void refresh(Sbfd::SbfdKey const& sbfdKey);
    void updateStatusWithSbfd(Sbfd::SbfdKey const& sbfdKey, bool sbfdValid);
    void statusWithSbfdDel(Sbfd::SbfdKey const& sbfdKey);
    bool isUsed(Sbfd::SbfdKey const& sbfdKey) const;

    Quor::Ptr<Sbfd::SbfdInputConfig const> const sbfdInputConfig_;
    Quor::Ptr<Bfd::StatusPeer const> const statusPeer_;
    // Kept for whoever asks BFD for a session; nothing of it is read.
    Quor::Ptr<Bfd::AppStatus const> const appStatus_;
    Quor::Ptr<SegmentListIdToPolicyMap const> const segmentListIdToPolicyMap_;
    Quor::Ptr<SegmentListStatus> const segmentListStatus_;
    Quor::Ptr<Bfd::ConfigGlobal const> const bfdConfigGlobal_;

    bool initialized_ = false;
    Sbfd::SbfdSessions sessions_;

    Quor::Reactor<Sbfd::SbfdKey> inputConfigReactor_;
    Quor::Reactor<SegmentListUse> userReactor_;
    Quor::Reactor<SegmentListId> statusReactor_;
    Quor::Reactor<Bfd::Peer> peerReactor_;
    Quor::AttributeReactor globalReactor_;
};

/// `vrfName` is where the sessions run, `name` the application that asks for them.
SRTE_EXPORT Quor::Ptr<SbfdSessionSm> sbfdSessionSmFactory(
    Quor::Ptr<Sbfd::SbfdInputConfig const> sbfdInputConfig, L3::VrfName vrfName,
    std::string const& name, Quor::Ptr<Bfd::StatusPeer const> statusPeer,
    Quor::Ptr<Bfd::AppConfig> appConfig, Quor::Ptr<Bfd::AppStatus const> appStatus,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<SegmentListStatus> segmentListStatus,
    Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal);

}  // namespace SrTePolicy
