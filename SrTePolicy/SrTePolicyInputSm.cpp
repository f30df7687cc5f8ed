#include "SrTePolicy/SrTePolicyInputSm.h"

#include <algorithm>
#include <utility>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Keel/TaskDump.h"
#include "SrTePolicy/SrTePolicyInputSyslog.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicyInputSm");

constexpr char srlbName[] = "srlb";

void addProtocol(Protocol protocol) {
    auto& protocols = policyInputProtocols();
    if (std::find(protocols.begin(), protocols.end(), protocol) == protocols.end()) {
        protocols.push_back(protocol);
    }
}

// A stack that no segment list can hold, or a label that no packet can carry.
bool isUnusable(WeightedLabels const& list) {
    auto const& stack = list.labels.stack;
    if (stack.size() > SegmentList::maxSize) return true;
    for (std::size_t i = 0; i < stack.size(); ++i) {
        if (!stack.label(i).isReal()) return true;
    }
    return false;
}

bool names(std::vector<WeightedSegmentListId> const& lists, SegmentListId id) {
    return std::any_of(lists.begin(), lists.end(),
                       [id](auto const& list) { return list.segmentListId == id; });
}

// The identities that `before` names and `after` does not, each once.
std::vector<SegmentListId> dropped(std::vector<WeightedSegmentListId> const& before,
                                   std::vector<WeightedSegmentListId> const& after) {
    std::vector<SegmentListId> ids;
    for (auto const& list : before) {
        auto const id = list.segmentListId;
        if (!names(after, id) && std::find(ids.begin(), ids.end(), id) == ids.end()) {
            ids.push_back(id);
        }
    }
    return ids;
}

}  // namespace

std::vector<Protocol>& policyInputProtocols() {
    static std::vector<Protocol> protocols;
    return protocols;
}

PolicyInputSm::Source::Source(PolicyInputSm* self, Quor::Ptr<PolicyInput const> source)
    : input(std::move(source)),
      reactor(input->policyInputEntry(), self, [](PolicyInputSm& machine, PolicyId const& id) {
          machine.handlePolicyEntry(id);
      }) {}

PolicyInputSm::PolicyInputSm(Quor::Ptr<Config const> config,
                             Quor::Ptr<PolicyInputSource const> input,
                             Quor::Ptr<Mpls::Config const> mplsConfig,
                             Quor::Ptr<Mpls::LfibStatus const> lfib,
                             Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
                             Quor::Ptr<PolicySelectionInput> policySelectionInput,
                             Quor::Ptr<CoreDedupTables const> coreDedupTables,
                             Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
                             Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap,
                             Quor::Ptr<Keel::TaskScheduler> taskScheduler,
                             Quor::Ptr<Keel::FieldlogSm> fieldlogSm)
    : config_(std::move(config)),
      input_(std::move(input)),
      mplsConfig_(std::move(mplsConfig)),
      policySelectionInput_(std::move(policySelectionInput)),
      coreDedupTables_(std::move(coreDedupTables)),
      segmentListIdToPolicyMap_(std::move(segmentListIdToPolicyMap)),
      policyKeyToIdMap_(std::move(policyKeyToIdMap)),
      taskScheduler_(taskScheduler),
      bsidUser_(std::move(lfib), lfibTrackingStatus),
      backlog_(std::move(taskScheduler), std::move(fieldlogSm)),
      inputReactor_(input_->policyInput(), this,
                    [](PolicyInputSm& self, Protocol protocol) {
                        self.handlePolicyInput(protocol);
                    }),
      labelRangeReactor_(mplsConfig_->labelRange(), this,
                         [](PolicyInputSm& self, std::string const& name) {
                             self.handleLabelRange(name);
                         }),
      routeReactor_(lfibTrackingStatus->changed(), this,
                    [](PolicyInputSm& self, Mpls::RouteKey const& key) {
                        self.handleLFibRoute(key);
                    }),
      specifiedBsidOnlyReactor_(
          config_->specifiedBsidOnly, this,
          [](PolicyInputSm& self, std::monostate) { self.handleSpecifiedBsidOnly(); }) {}

void PolicyInputSm::handleInitialized() {
    SRTE_TRACE(8, "handleInitialized called with segmentListSharing: "
                      << segmentListSharingToString(config_->segmentListSharing()));
    initialized_ = true;
    backlog_.start("InputSmTask", [this] { handleTaskRun(); });
    addProtocol(Protocol::config);
    addProtocol(Protocol::bgp);
    readSrlb();
    auto const& survived = policySelectionInput_->policyIdEntry();
    for (auto row = survived.begin(); row; row.next()) backlog_.mark(row.key(), true);
    policyKeyToIdMap_->policyDelAll();
    segmentListIdToPolicyMap_->segmentListUserDelAll();

    auto const& inputs = input_->policyInput();
    for (auto row = inputs.begin(); row; row.next()) policyIs(row.key(), row.value());
    handleSpecifiedBsidOnly();
    handleLFibRoute();
    if (!backlog_.empty()) backlog_.schedule();
}

void PolicyInputSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;
    backlog_.stop();
    policy_.clear();
    inputReactor_.off();
    labelRangeReactor_.off();
    routeReactor_.off();
    specifiedBsidOnlyReactor_.off();
    bsidUser_.clear();
    policySelectionInput_->policyIdEntryDelAll();
    policyKeyToIdMap_->policyDelAll();
    segmentListIdToPolicyMap_->segmentListUserDelAll();
}

void PolicyInputSm::handlePolicyInput(Protocol protocol) {
    if (!initialized_) return;

    if (auto const input = input_->policyInput(protocol)) {
        policyIs(protocol, input);
    } else {
        policyDel(protocol);
    }
    handleProtocolSource(protocol);
}

void PolicyInputSm::policyIs(Protocol protocol, Quor::Ptr<PolicyInput const> const& input) {
    policy_[protocol] = std::make_unique<Source>(this, input);
}

void PolicyInputSm::handleProtocolSource(Protocol protocol) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Source change: add new policies");
    if (auto const source = policy_.find(protocol); source != policy_.end()) {
        auto const& entries = source->second->input->policyInputEntry();
        for (auto row = entries.begin(); row; row.next()) backlog_.mark(row.key(), true);
    }
    SRTE_TRACE(8, "Source change: cleanup of stale policies");
    auto const& held = policyKeyToIdMap_->candidate();
    for (auto row = held.begin(); row; row.next()) {
        if (row.key().candidate.protocol == protocol) backlog_.mark(row.key(), true);
    }
    backlog_.schedule();
}

void PolicyInputSm::handlePolicyEntry(PolicyId const& policyId) {
    if (!initialized_) return;

    SRTE_TRACE(8, "Policy Entry: " << policyId << " has changed");
    backlog_.markAndSchedule(policyId, true);
}

void PolicyInputSm::handleLabelRange(std::string const& name) {
    if (!initialized_ || name != srlbName) return;

    SRTE_TRACE(8, "SRLB Range has changed");
    readSrlb();
    for (auto const& [protocol, source] : policy_) {
        auto const& entries = source->input->policyInputEntry();
        for (auto row = entries.begin(); row; row.next()) backlog_.mark(row.key(), false);
    }
    backlog_.schedule();
}

// Without a range every binding SID is out of range.
void PolicyInputSm::readSrlb() {
    auto const* const range = mplsConfig_->labelRange(srlbName);
    srlbConfigRange_ = range ? *range : Mpls::LabelRange();
}

void PolicyInputSm::handleLFibRoute(Mpls::RouteKey const& routeKey) {
    if (!initialized_) return;

    if (auto const* const user = bsidUser_.recheck(routeKey.topLabel())) markUsers(*user);
}

void PolicyInputSm::handleLFibRoute() {
    if (!initialized_) return;

    bsidUser_.recheckAll([this](BindingSidUser const& user) { markUsers(user); });
}

// A candidate that is pending already keeps what it is pending for.
void PolicyInputSm::markUsers(BindingSidUser const& user) {
    user.policyId().forEach([this](PolicyId const& id) { backlog_.mark(id, false); });
    backlog_.schedule();
}

void PolicyInputSm::handleSpecifiedBsidOnly() {
    if (!initialized_) return;

    auto const& protocols = policyInputProtocols();
    for (auto const protocol : protocols) handleProtocolSource(protocol);
    for (auto const& [protocol, source] : policy_) {
        if (std::find(protocols.begin(), protocols.end(), protocol) == protocols.end()) {
            handleProtocolSource(protocol);
        }
    }
}

void PolicyInputSm::handleTaskRun() {
    if (!initialized_) return;

    auto const run = backlog_.drain(
        [this](PolicyId const& id, bool changed) { processPolicyEntry(id, changed); },
        [](PolicyId const& id, Quor::RangeError const& error) {
            SRTE_TRACE(6, "handleTaskRun: " << id << ": " << error.what());
        },
        [](PolicyId const&) {});
    SRTE_TRACE(9, "Processed " << run.count << " input policy entries, delay task: "
                               << run.delayed);
}

// Before a candidate leaves the selection input, what else waits for its policy is looked at: two
// candidates that swap roles in one burst never leave the policy without any.
void PolicyInputSm::processPolicyEntry(PolicyId const& policyId, bool changed) {
    auto const first = updateCandidate(policyId, changed);
    if (!first) return;
    std::vector<Departure> departures{*first};
    auto const& pending = backlog_.pending();
    PolicyId id;
    for (bool more = pending.atOrAfter(PolicyId::lowest(policyId.key), id);
         more && id.key == policyId.key; more = pending.after(id, id)) {
        auto const flag = backlog_.take(id);
        if (auto const departure = updateCandidate(id, *flag)) departures.push_back(*departure);
    }
    for (auto const& departure : departures) depart(departure);
}

// All but the removal of an unusable candidate from the selection input.
std::optional<PolicyInputSm::Departure> PolicyInputSm::updateCandidate(PolicyId const& policyId,
                                                                       bool changed) {
    SRTE_TRACE(8, "Processing policy entry: " << policyId);
    // Nobody writes a source from inside a machine: the entry stays where it is.
    auto const* const entry = sourceEntry(policyId);
    if (!entry) {
        deregisterForBindingSid(getBindingSidOfPolicy(policyId), policyId);
        deleteFromPolicyKeyToIdMap(policyId.key, policyId.candidate);
        return Departure{policyId, changed, std::nullopt, {}};
    }
    registerForBindingSid(entry->bindingSid, policyId);
    auto const reason = isPolicyEntryValid(*entry);
    if (reason != PolicyInvalidReason::usable) {
        return Departure{policyId, changed, reason, entry->bindingSid};
    }
    // Nothing but the verdict of a candidate that did not change can have become another one.
    if (changed || !policySelectionInput_->policyIdEntry(policyId)) {
        addOrUpdatePolicyIdEntry(*entry);
    }
    addInPolicyKeyToIdMap(policyId.key, policyId.candidate, changed, reason, entry->bindingSid);
    return std::nullopt;
}

void PolicyInputSm::depart(Departure const& departure) {
    auto const& id = departure.policyId;
    deletePolicyIdEntry(id);
    if (departure.reason) {
        addInPolicyKeyToIdMap(id.key, id.candidate, departure.changed, *departure.reason,
                              departure.bindingSid);
    }
}

// Null when the source of the id's protocol holds no such candidate.
PolicyInputEntry const* PolicyInputSm::sourceEntry(PolicyId const& policyId) const {
    auto const source = policy_.find(policyId.candidate.protocol);
    if (source == policy_.end()) return nullptr;
    auto const* const entry = source->second->input->policyInputEntry(policyId);
    return entry && *entry != PolicyInputEntry(policyId) ? entry : nullptr;
}

PolicyInvalidReason PolicyInputSm::isPolicyEntryValid(PolicyInputEntry const& entry) const {
    auto reason = bindingSidVerdict(entry.bindingSid);
    auto const& lists = entry.segmentList;
    if (lists.empty() || (reason == PolicyInvalidReason::usable &&
                          std::any_of(lists.begin(), lists.end(), isUnusable))) {
        reason = PolicyInvalidReason::noSegmentLists;
    }
    if (reason != PolicyInvalidReason::usable) {
        emitInvalidPolicySyslog(entry, reason, srlbConfigRange_);
    }
    return reason;
}

PolicyInvalidReason PolicyInputSm::bindingSidVerdict(Wirex::MplsLabel bindingSid) const {
    if (bindingSid.isNull()) {
        return config_->specifiedBsidOnly() ? PolicyInvalidReason::bsidMissing
                                            : PolicyInvalidReason::usable;
    }
    if (!srlbConfigRange_.contains(bindingSid)) return PolicyInvalidReason::bsidOutOfRange;
    auto const* const bsidUserInfo = bsidUser_.bsidUser(bindingSid);
    if (!bsidUserInfo) {
        SRTE_TRACE(6, "BindingSid: " << bindingSid
                                     << "is not available in reverse mapping collection");
    }
    QUOR_ASSERT(bsidUserInfo, "bsidUserInfo");
    return bsidUserInfo->available() ? PolicyInvalidReason::usable : PolicyInvalidReason::bsidInUse;
}

void PolicyInputSm::addInPolicyKeyToIdMap(PolicyKey const& key, CandidateId const& candidateId,
                                          bool changed, PolicyInvalidReason reason,
                                          Wirex::MplsLabel bindingSid) {
    auto policyInfo = policyKeyToIdMap_->policyIs(key);
    auto const* const listed = policyInfo.candidate(candidateId);
    auto const creationTime =
        listed && !changed ? listed->creationTime : taskScheduler_->clock().systemTime();
    policyInfo.candidateIs(candidateId, {creationTime, reason, bindingSid});
}

void PolicyInputSm::deleteFromPolicyKeyToIdMap(PolicyKey const& key,
                                               CandidateId const& candidateId) {
    policyKeyToIdMap_->policyIs(key).candidateDel(candidateId);
}

void PolicyInputSm::registerForBindingSid(Wirex::MplsLabel bindingSid, PolicyId const& policyId) {
    auto const previous = getBindingSidOfPolicy(policyId);
    if (previous != bindingSid) deregisterForBindingSid(previous, policyId);
    bsidUser_.registerUser(bindingSid, policyId);
}

void PolicyInputSm::deregisterForBindingSid(Wirex::MplsLabel bindingSid,
                                            PolicyId const& policyId) {
    bsidUser_.deregisterUser(bindingSid, policyId);
}

Wirex::MplsLabel PolicyInputSm::getBindingSidOfPolicy(PolicyId const& policyId) const {
    auto const* const info = policyKeyToIdMap_->candidate(policyId);
    return info ? info->bindingSid : Wirex::MplsLabel();
}

void PolicyInputSm::addOrUpdatePolicyIdEntry(PolicyInputEntry const& entry) {
    auto const& id = entry.policyId;
    PolicyIdEntry next(id, entry.preference, entry.originator);
    next.bindingSid = entry.bindingSid;
    next.enlp = entry.enlp;
    next.wSegmentList.reserve(entry.segmentList.size());
    for (auto const& [labels, weight] : entry.segmentList) {
        auto const list = coreDedupTables_->segmentList(labels, id, DistinguisherId());
        registerSegmentListForPolicy(list, id);
        next.wSegmentList.push_back({list->segmentListId(), weight});
    }

    auto const* const before = policySelectionInput_->policyIdEntry(id);
    if (!before) {
        next.versionInc();
        policySelectionInput_->policyIdEntryIs(std::move(next));
        return;
    }
    next.version = before->version;
    if (before->bindingSid != next.bindingSid || before->enlp != next.enlp ||
        before->wSegmentList != next.wSegmentList) {
        next.versionInc();
    }
    for (auto const list : dropped(before->wSegmentList, next.wSegmentList)) {
        deregisterSegmentListForPolicy(list, id);
    }
    policySelectionInput_->policyIdEntryIs(std::move(next));
}

void PolicyInputSm::deletePolicyIdEntry(PolicyId const& policyId) {
    SRTE_TRACE(8, "Policy Id " << policyId << " will be removed");
    auto const* const entry = policySelectionInput_->policyIdEntry(policyId);
    if (!entry) return;
    for (auto const list : dropped(entry->wSegmentList, {})) {
        deregisterSegmentListForPolicy(list, policyId);
    }
    policySelectionInput_->policyIdEntryDel(policyId);
}

void PolicyInputSm::registerSegmentListForPolicy(Quor::Ptr<SegmentList const> const& segmentList,
                                                 PolicyId const& policyId) {
    auto const id = segmentList->segmentListId();
    SRTE_TRACE(8, "Registration of SegmentList Id: " << id << " for Policy Id: " << policyId);
    segmentListIdToPolicyMap_->segmentListUserIs(id, segmentList);
    segmentListIdToPolicyMap_->policyIdIs(id, policyId);
}

// After a restart the entry may name a list that has no user: the old registrations are gone.
void PolicyInputSm::deregisterSegmentListForPolicy(SegmentListId segmentListId,
                                                   PolicyId const& policyId) {
    SRTE_TRACE(8, "Removing registration of SegmentList Id: " << segmentListId
                                                              << " for Policy Id: " << policyId);
    segmentListIdToPolicyMap_->policyIdDel(segmentListId, policyId);
    auto const* const user = segmentListIdToPolicyMap_->segmentListUser(segmentListId);
    if (user && user->policyId().empty()) {
        segmentListIdToPolicyMap_->segmentListUserDel(segmentListId);
    }
}

void PolicyInputSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cTask Dump:\n", indentCount, ' ');
    if (auto const* const task = backlog_.task()) Keel::dumpTaskTimer(ctx, indentCount + 2, *task);
    auto const& srlb = srlbConfigRange_;
    ctx.print("%*csrlbConfigRange \n", indentCount, ' ');
    ctx.print("%*csrlbConfigRangeBase: %u\n", indentCount, ' ', srlb.empty() ? 0 : srlb.base());
    ctx.print("%*csrlbConfigRangeSize: %u\n", indentCount, ' ', srlb.size());
    ctx.print("%*csrlbConfigRangeMax: %u\n", indentCount, ' ', lastLabel(srlb));
    bsidUser_.dumpState(ctx, indentCount);
}

Quor::Ptr<PolicyInputSm> policyInputSmFactory(
    Quor::Ptr<Config const> config, Quor::Ptr<PolicyInputSource const> input,
    Quor::Ptr<Mpls::Config const> mplsConfig, Quor::Ptr<Mpls::LfibStatus const> lfib,
    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus,
    Quor::Ptr<PolicySelectionInput> policySelectionInput,
    Quor::Ptr<CoreDedupTables const> coreDedupTables,
    Quor::Ptr<SegmentListIdToPolicyMap> segmentListIdToPolicyMap,
    Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMap, Quor::Ptr<Keel::TaskScheduler> taskScheduler,
    Quor::Ptr<Keel::FieldlogSm> fieldlogSm) {
    return Quor::makePtr<PolicyInputSm>(
        std::move(config), std::move(input), std::move(mplsConfig), std::move(lfib),
        std::move(lfibTrackingStatus), std::move(policySelectionInput), std::move(coreDedupTables),
        std::move(segmentListIdToPolicyMap), std::move(policyKeyToIdMap), std::move(taskScheduler),
        std::move(fieldlogSm));
}

}  // namespace SrTePolicy
