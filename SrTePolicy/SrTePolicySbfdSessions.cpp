#include "SrTePolicy/SrTePolicySbfdSessions.h"

#include <limits>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Quor/Assert.h"

namespace SrTePolicy::Sbfd {
namespace {

Fastlog::Facility traceFacility("SrTePolicySbfdSm");

SbfdSessionKey sessionKeyOf(SbfdKey const& key, PolicySbfdConfig const& config) {
    return {key.segmentListId, config.remoteDiscriminator};
}

char const* stateName(Bfd::OperState state) {
    switch (state) {
        case Bfd::OperState::adminDown: return "adminDown";
        case Bfd::OperState::down: return "down";
        case Bfd::OperState::init: return "init";
        case Bfd::OperState::up: return "up";
    }
    Quor::assertFail("invalid bfd operstate", __FILE__, __LINE__);
}

}  // namespace

SbfdSessions::SbfdSessions(L3::VrfName vrfName, Bfd::AppName name,
                           Quor::Ptr<Bfd::StatusPeer const> statusPeer,
                           Quor::Ptr<Bfd::AppConfig> appConfig,
                           Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal)
    : vrfName_(std::move(vrfName)),
      name_(std::move(name)),
      statusPeer_(std::move(statusPeer)),
      appConfig_(std::move(appConfig)),
      bfdConfigGlobal_(std::move(bfdConfigGlobal)) {}

void SbfdSessions::registerSession(SbfdKey const& sbfdKey, PolicySbfdConfig const& config) {
    sbfdStatusToRemoteDiscriminator_.configIs(sbfdKey, config);
    registerSessionUser(sessionKeyOf(sbfdKey, config), sbfdKey, SbfdParams::of(config));
}

void SbfdSessions::requestAll() {
    auto const& rows = appConfig_->session();
    for (auto row = rows.lowerBound({name_, {}}); row && row.key().app == name_; row.next()) {
        auto const key = sessionKey(row.key().peer);
        if (key && sbfdSessionToSbfdStatus_.session(*key)) continue;
        SRTE_TRACE(7, "delete sbfdSessConfig:" << row.key().peer);
        appConfig_->sessionDel(row.key());
    }
    auto const& sessions = sbfdSessionToSbfdStatus_.session();
    for (auto row = sessions.begin(); row; row.next()) updateSessionConfig(row.key());
}

void SbfdSessions::configIs(SbfdKey const& sbfdKey, PolicySbfdConfig const& config) {
    auto const* const held = sbfdStatusToRemoteDiscriminator_.config(sbfdKey);
    auto const sessionKey = sessionKeyOf(sbfdKey, config);
    if (held && held->remoteDiscriminator == config.remoteDiscriminator) {
        auto& user = sbfdSessionToSbfdStatus_.session(sessionKey)->user;
        user.sbfdStatusDel(sbfdKey, SbfdParams::of(*held));
        user.sbfdStatusIs(sbfdKey, SbfdParams::of(config));
        sbfdStatusToRemoteDiscriminator_.configIs(sbfdKey, config);
    } else {
        if (held) deregisterSession(sbfdKey);
        registerSession(sbfdKey, config);
    }
    updateSessionConfig(sessionKey);
}

bool SbfdSessions::configDel(SbfdKey const& sbfdKey) {
    if (!sbfdStatusToRemoteDiscriminator_.config(sbfdKey)) return false;
    deregisterSession(sbfdKey);
    return true;
}

void SbfdSessions::delAll() {
    appConfig_->sessionDelAll(name_);
    sbfdSessionToSbfdStatus_.sessionDelAll();
    sbfdStatusToRemoteDiscriminator_.configDelAll();
    globalSessions_.clear();
}

SbfdSessions::Keys SbfdSessions::updateStatus(Bfd::Peer const& peer) {
    Keys keys;
    // Only the state of a peer of ours is looked at: what others have is not ours to judge.
    auto const key = sessionKey(peer);
    auto* const session = key ? sbfdSessionToSbfdStatus_.session(*key) : nullptr;
    if (!session) {
        SRTE_TRACE(8, "sbfdSessionToSbfdStatus no key=" << peer);
        return keys;
    }
    bool const valid = isPeerStatusValid(peer);
    if (std::exchange(session->valid, valid) == valid) return keys;
    session->user.forEachSbfdStatus([&keys, valid](SbfdKey const& user) {
        SRTE_TRACE(7, "update SegmentListSbfdSessionStatus "
                          << SegmentListSbfdSessionStatus({user, valid}));
        keys.push_back(user);
    });
    return keys;
}

void SbfdSessions::handleBfdGlobalCfg() {
    for (auto row = globalSessions_.begin(); row; row.next()) updateSessionConfig(row.key());
}

SbfdSession const* SbfdSessions::session(SbfdKey const& sbfdKey) const {
    auto const* const config = sbfdStatusToRemoteDiscriminator_.config(sbfdKey);
    return config ? sbfdSessionToSbfdStatus_.session(sessionKeyOf(sbfdKey, *config)) : nullptr;
}

SbfdSessions::Keys SbfdSessions::keys(SegmentListId segmentListId) const {
    Keys keys;
    auto const& sessions = sbfdSessionToSbfdStatus_.session();
    for (auto row = sessions.lowerBound({segmentListId, {}});
         row && row.key().segmentListId == segmentListId; row.next()) {
        row.value()->user.forEachSbfdStatus([&keys](SbfdKey const& key) { keys.push_back(key); });
    }
    return keys;
}

void SbfdSessions::deregisterSession(SbfdKey const& sbfdKey) {
    auto const config = *sbfdStatusToRemoteDiscriminator_.config(sbfdKey);
    sbfdStatusToRemoteDiscriminator_.configDel(sbfdKey);
    deregisterSessionUser(sessionKeyOf(sbfdKey, config), sbfdKey, SbfdParams::of(config));
}

void SbfdSessions::registerSessionUser(SbfdSessionKey const& sessionKey, SbfdKey const& sbfdKey,
                                       SbfdParams const& params) {
    SRTE_TRACE(7, "add user=" << sbfdKey << " sskey=" << sessionKey);
    auto const [session, created] = sbfdSessionToSbfdStatus_.sessionIs(sessionKey);
    session->user.sbfdStatusIs(sbfdKey, params);
    if (created) session->valid = isPeerStatusValid(appPeer(sessionKey).peer);
    SRTE_TRACE(7, "init SegmentListSbfdSessionStatus "
                      << SegmentListSbfdSessionStatus({sbfdKey, session->valid}));
}

void SbfdSessions::deregisterSessionUser(SbfdSessionKey const& sessionKey, SbfdKey const& sbfdKey,
                                         SbfdParams const& params) {
    SRTE_TRACE(7, "delete user=" << sbfdKey << " sskey=" << sessionKey);
    auto* const session = sbfdSessionToSbfdStatus_.session(sessionKey);
    session->user.sbfdStatusDel(sbfdKey, params);
    if (session->user.empty()) {
        deleteSessionConfig(sessionKey);
    } else {
        updateSessionConfig(sessionKey);
    }
}

void SbfdSessions::updateSessionConfig(SbfdSessionKey const& sessionKey) {
    auto* const session = sbfdSessionToSbfdStatus_.session(sessionKey);
    if (session->user.hasGlobal()) {
        globalSessions_.tryEmplace(sessionKey);
    } else {
        globalSessions_.erase(sessionKey);
    }
    auto const params = computeSbfdParams(*session);
    if (std::exchange(session->params, params) == params) return;
    SRTE_TRACE(7, "update sbfdSessConfig:" << sessionKey << " params: " << params);
    appConfig_->sessionIs(appPeer(sessionKey), params.timers());
}

void SbfdSessions::deleteSessionConfig(SbfdSessionKey const& sessionKey) {
    SRTE_TRACE(7, "delete sbfdSessConfig:" << sessionKey);
    globalSessions_.erase(sessionKey);
    sbfdSessionToSbfdStatus_.sessionDel(sessionKey);
    appConfig_->sessionDel(appPeer(sessionKey));
}

SbfdParams SbfdSessions::computeSbfdParams(SbfdSession const& session) const {
    return session.user.fastest(SbfdParams::of(bfdConfigGlobal_->timers()));
}

// Only a session that is down is held against its lists: not one that an administrator has stopped,
// that is coming up or that nobody has reported yet.
bool SbfdSessions::isPeerStatusValid(Bfd::Peer const& peer) const {
    auto const* const state = statusPeer_->operState(peer);
    if (!state) {
        SRTE_TRACE(8, "no peerStatus. peer=" << peer);
        return true;
    }
    auto const* const name = stateName(*state);
    SRTE_TRACE(8, "tunnelId " << peer.tunnelId << " peer:" << peer << " " << name);
    return *state != Bfd::OperState::down;
}

Bfd::AppPeer SbfdSessions::appPeer(SbfdSessionKey const& sessionKey) const {
    auto const tunnelId = sessionKey.segmentListId.getTunnelId();
    return {name_, {vrfName_, tunnelId, sessionKey.remoteDiscriminator}};
}

// The reverse of `appPeer`; nothing for a peer that no session of ours can have.
std::optional<SbfdSessionKey> SbfdSessions::sessionKey(Bfd::Peer const& peer) const {
    if (peer.vrf != vrfName_ ||
        peer.tunnelId.type() != Tunnel::TunnelTable::TunnelType::srTeSegmentList ||
        peer.tunnelId.index() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    SegmentListId const list(static_cast<std::uint32_t>(peer.tunnelId.index()));
    return SbfdSessionKey{list, peer.remoteDiscriminator};
}

void SbfdSessions::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    sbfdStatusToRemoteDiscriminator_.dumpState(ctx, indentCount);
    sbfdSessionToSbfdStatus_.dumpState(ctx, indentCount);
}

}  // namespace SrTePolicy::Sbfd
