#include "SrTePolicy/SrTePolicySbfdSessionSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace SrTePolicy {

using Sbfd::SbfdKey;
using Sbfd::SegmentListSbfdSessionConfig;
using Sbfd::SegmentListSbfdSessionStatus;

namespace {

Fastlog::Facility traceFacility("SrTePolicySbfdSm");

}  // namespace

SbfdSessionSm::SbfdSessionSm(Quor::Ptr<Sbfd::SbfdInputConfig const> sbfdInputConfig,
                             L3::VrfName vrfName, std::string const& name,
                             Quor::Ptr<Bfd::StatusPeer const> statusPeer,
                             Quor::Ptr<Bfd::AppConfig> appConfig,
                             Quor::Ptr<Bfd::AppStatus const> appStatus,
                             Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
                             Quor::Ptr<SegmentListStatus> segmentListStatus,
                             Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal)
    : sbfdInputConfig_(std::move(sbfdInputConfig)),
      statusPeer_(std::move(statusPeer)),
      appStatus_(std::move(appStatus)),
      segmentListIdToPolicyMap_(std::move(segmentListIdToPolicyMap)),
      segmentListStatus_(std::move(segmentListStatus)),
      bfdConfigGlobal_(std::move(bfdConfigGlobal)),
      sessions_(std::move(vrfName), Bfd::AppName(name), statusPeer_, std::move(appConfig),
                bfdConfigGlobal_),
      inputConfigReactor_(
          sbfdInputConfig_->config(), this,
          [](SbfdSessionSm& self, SbfdKey const& key) { self.handleSbfdInputConfig(key); }),
      userReactor_(segmentListIdToPolicyMap_->useSubject(), this,
                   [](SbfdSessionSm& self, SegmentListUse const& use) {
                       self.handleSegListUser(use.segmentListId, use.policyId);
                   }),
      statusReactor_(
          segmentListStatus_->status(), this,
          [](SbfdSessionSm& self, SegmentListId id) { self.handleSegmentListStatus(id); }),
      peerReactor_(statusPeer_->peer(), this,
                   [](SbfdSessionSm& self, Bfd::Peer const& peer) { self.handlePeerStatus(peer); }),
      globalReactor_(bfdConfigGlobal_->timers, this,
                     [](SbfdSessionSm& self, std::monostate) { self.handleBfdGlobalCfg(); }) {}

void SbfdSessionSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    // No session is asked for before all its users are known: it runs with the fastest pair.
    auto const& configs = sbfdInputConfig_->config();
    for (auto row = configs.begin(); row; row.next()) {
        sessions_.registerSession(row.key(), row.value());
    }
    auto const& combined = segmentListStatus_->statusWithSbfd();
    for (auto row = combined.begin(); row; row.next()) {
        if (!sessions_.session(row.key()) && !isUsed(row.key())) statusWithSbfdDel(row.key());
    }
    sessions_.requestAll();

    for (auto row = configs.begin(); row; row.next()) refresh(row.key());
    auto const& users = segmentListIdToPolicyMap_->segmentListUser();
    for (auto row = users.begin(); row; row.next()) {
        for (auto const& policyKey : segmentListIdToPolicyMap_->policies(row.key())) {
            auto const key = SbfdKey::of(policyKey, row.key());
            if (!sessions_.session(key)) refresh(key);
        }
    }
}

void SbfdSessionSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;

    inputConfigReactor_.off();
    userReactor_.off();
    statusReactor_.off();
    peerReactor_.off();
    globalReactor_.off();
    sessions_.delAll();
    segmentListStatus_->statusWithSbfdDelAll();
}

void SbfdSessionSm::handleSbfdInputConfig(SbfdKey const& sbfdKey) {
    if (!initialized_) return;

    auto const* const row = sbfdInputConfig_->config().find(sbfdKey);
    if (row) {
        SRTE_TRACE(8, "handleSbfdInputConfig: " << sbfdKey);
        sessions_.configIs(sbfdKey, PolicySbfdConfig(*row));
    } else {
        SRTE_TRACE(8, "sbfdConfig removed " << sbfdKey);
        if (!sessions_.configDel(sbfdKey)) return;
    }
    refresh(sbfdKey);
}

void SbfdSessionSm::handleSegListUser(SegmentListId segmentListId, PolicyId const& policyId) {
    if (!initialized_) return;

    auto const key = SbfdKey::of(policyId.key, segmentListId);
    SRTE_TRACE(8, "handleSegListUser: " << key);
    if (!segmentListIdToPolicyMap_->segmentListUser(segmentListId))
        SRTE_TRACE(8, "no user " << key);
    refresh(key);
}

void SbfdSessionSm::handleSegmentListStatus(SegmentListId segmentListId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "handleSegmentListStatus slId:" << segmentListId);
    auto const policies = segmentListIdToPolicyMap_->policies(segmentListId);
    if (policies.empty()) SRTE_TRACE(8, "no user slId:" << segmentListId);
    for (auto const& policyKey : policies) refresh(SbfdKey::of(policyKey, segmentListId));
    // S-BFD may be configured for a list before its user comes and after it has gone.
    for (auto const& key : sessions_.keys(segmentListId)) {
        if (!isUsed(key)) refresh(key);
    }
}

void SbfdSessionSm::handlePeerStatus(Bfd::Peer const& peer) {
    if (!initialized_) return;

    for (auto const& key : sessions_.updateStatus(peer)) refresh(key);
}

void SbfdSessionSm::handleBfdGlobalCfg() {
    if (!initialized_) return;

    auto const& timers = bfdConfigGlobal_->timers();
    SRTE_TRACE(8, "handleBfdGlobalCfg: I:" << timers.interval << " M:" << timers.multiplier);
    sessions_.handleBfdGlobalCfg();
}

// The end of every event: the row of the key as the inputs have it now.
void SbfdSessionSm::refresh(SbfdKey const& sbfdKey) {
    if (!initialized_) return;  // an earlier row of the same event ended the machine

    if (auto const* const session = sessions_.session(sbfdKey)) {
        updateStatusWithSbfd(sbfdKey, session->valid);
    } else if (isUsed(sbfdKey)) {
        updateStatusWithSbfd(sbfdKey, true);
    } else {
        statusWithSbfdDel(sbfdKey);
    }
}

void SbfdSessionSm::updateStatusWithSbfd(SbfdKey const& sbfdKey, bool sbfdValid) {
    auto const* const plain = segmentListStatus_->status().find(sbfdKey.segmentListId);
    if (!plain) {
        SRTE_TRACE(8, "no segmentListStatus " << sbfdKey);
        statusWithSbfdDel(sbfdKey);
        return;
    }
    bool const down = *plain == SegmentListResolveError::noError && !sbfdValid;
    auto const combined = down ? SegmentListResolveError::sbfdDown : *plain;
    if (segmentListStatus_->statusWithSbfd(sbfdKey) == combined) return;
    SRTE_TRACE(7, "set statusWithSbfd " << sbfdKey << ": " << static_cast<unsigned>(combined));
    segmentListStatus_->statusWithSbfdIs(sbfdKey, combined);
}

void SbfdSessionSm::statusWithSbfdDel(SbfdKey const& sbfdKey) {
    if (!segmentListStatus_->statusWithSbfd().has(sbfdKey)) return;
    SRTE_TRACE(7, "delete statusWithSbfd " << sbfdKey);
    segmentListStatus_->statusWithSbfdDel(sbfdKey);
}

bool SbfdSessionSm::isUsed(SbfdKey const& sbfdKey) const {
    return segmentListIdToPolicyMap_->hasPolicy(sbfdKey.segmentListId, sbfdKey.policyKey());
}

std::optional<SegmentListSbfdSessionConfig> SbfdSessionSm::sbfdSessionConfig(
    SbfdKey const& sbfdKey) const {
    auto const* const session = sessions_.session(sbfdKey);
    if (!session || !session->params) return std::nullopt;
    return SegmentListSbfdSessionConfig{sbfdKey, *session->params};
}

std::optional<SegmentListSbfdSessionStatus> SbfdSessionSm::sbfdSessionStatus(
    SbfdKey const& sbfdKey) const {
    auto const* const session = sessions_.session(sbfdKey);
    if (!session) return std::nullopt;
    return SegmentListSbfdSessionStatus{sbfdKey, session->valid};
}

void SbfdSessionSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    sessions_.dumpState(ctx, indentCount);
}

Quor::Ptr<SbfdSessionSm> sbfdSessionSmFactory(
    Quor::Ptr<Sbfd::SbfdInputConfig const> sbfdInputConfig, L3::VrfName vrfName,
    std::string const& name, Quor::Ptr<Bfd::StatusPeer const> statusPeer,
    Quor::Ptr<Bfd::AppConfig> appConfig, Quor::Ptr<Bfd::AppStatus const> appStatus,
    Quor::Ptr<SegmentListIdToPolicyMap const> segmentListIdToPolicyMap,
    Quor::Ptr<SegmentListStatus> segmentListStatus,
    Quor::Ptr<Bfd::ConfigGlobal const> bfdConfigGlobal) {
    return Quor::makePtr<SbfdSessionSm>(std::move(sbfdInputConfig), std::move(vrfName), name,
                                        std::move(statusPeer), std::move(appConfig),
                                        std::move(appStatus), std::move(segmentListIdToPolicyMap),
                                        std::move(segmentListStatus), std::move(bfdConfigGlobal));
}

}  // namespace SrTePolicy
