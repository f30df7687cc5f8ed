#pragma once

#include <optional>

#include "Platform/Bfd/BfdTables.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/InlineVector.h"
#include "Platform/Quor/OrderedMap.h"
#include "SrTePolicy/SrTePolicySbfdTables.h"

namespace SrTePolicy::Sbfd {

/// The sessions of the session machine: who uses which, what they run with, and whether their peers
/// are heard. Writes the rows of BFD's application configuration under our name, in which BFD must
/// not see a session go while it has a user: it would be down until it has come up again.
class SRTE_EXPORT SbfdSessions {
public:
    using Keys = Quor::InlineVector<SbfdKey, 1>;

    SbfdSessions(L3::VrfName vrfName, Bfd::AppName name,
                 Quor::Ptr<Bfd::StatusPeer const> statusPeer, Quor::Ptr<Bfd::AppConfig> appConfig,
                 Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal);

    /// Registers a key of the configuration that is not registered yet, without asking BFD for
    /// anything: the first start does that when all users are known.
    void registerSession(SbfdKey const& sbfdKey, PolicySbfdConfig const& config);
    /// Removes the rows of our name that have no session, then asks for every session.
    void requestAll();

    /// A configuration that is new or has changed; the key leaves the session of another remote
    /// discriminator.
    void configIs(SbfdKey const& sbfdKey, PolicySbfdConfig const& config);
    /// False when the key was not registered.
    bool configDel(SbfdKey const& sbfdKey);
    /// Removes the rows of our name, and everything here.
    void delAll();

    /// Looks at the state of a peer of ours again. The keys whose session became usable or
    /// unusable.
    Keys updateStatus(Bfd::Peer const& peer);
    /// Rewrites the timers that the global settings change.
    void handleBfdGlobalCfg();

    /// Null when S-BFD is not configured for the key; holds until the session goes.
    SbfdSession const* session(SbfdKey const& sbfdKey) const;
    /// The registered keys of a list.
    Keys keys(SegmentListId segmentListId) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    void deregisterSession(SbfdKey const& sbfdKey);
    void registerSessionUser(SbfdSessionKey const& sessionKey, SbfdKey const& sbfdKey,
                             SbfdParams const& params);
    void deregisterSessionUser(SbfdSessionKey const& sessionKey, SbfdKey const& sbfdKey,
                               SbfdParams const& params);
    void updateSessionConfig(SbfdSessionKey const& sessionKey);
    void deleteSessionConfig(SbfdSessionKey const& sessionKey);
    SbfdParams computeSbfdParams(SbfdSession const& session) const;
    bool isPeerStatusValid(Bfd::Peer const& peer) const;
    Bfd::AppPeer appPeer(SbfdSessionKey const& sessionKey) const;
    std::optional<SbfdSessionKey> sessionKey(Bfd::Peer const& peer) const;

    L3::VrfName const vrfName_;
    Bfd::AppName const name_;
    Quor::Ptr<Bfd::StatusPeer const> const statusPeer_;
    Quor::Ptr<Bfd::AppConfig> const appConfig_;
    Quor::Ptr<Bfd::ConfigGlobal const> const bfdConfigGlobal_;

    // Configuration and status of a key are those of its session, which holds them for all its
    // users.
    SbfdSessionToSbfdStatus sbfdSessionToSbfdStatus_;
    SbfdStatusToRemoteDiscriminator sbfdStatusToRemoteDiscriminator_;
    // The sessions whose timers a global change can change.
    Quor::OrderedSet<SbfdSessionKey> globalSessions_;
};

}  // namespace SrTePolicy::Sbfd
