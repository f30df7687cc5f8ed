#include "agent/SessionReports.h"

#include <set>

namespace Agent {

namespace {

using SrTePolicy::Export::SegmentList;

Bfd::OperState operState(SessionState state) {
    switch (state) {
        case SessionState::down: return Bfd::OperState::down;
        case SessionState::up: return Bfd::OperState::up;
        case SessionState::init: return Bfd::OperState::init;
        case SessionState::adminDown: break;
    }
    return Bfd::OperState::adminDown;
}

}  // namespace

SessionReports::SessionReports(Tables const& tables, FilePolicies const& filePolicies)
    : tables_(tables),
      filePolicies_(filePolicies),
      sessionReactor_(
          tables.bfdSessions->session(), this,
          [](SessionReports& self, Bfd::AppPeer const& session) { self.handleSession(session); }) {}

void SessionReports::take(Step const& step) {
    std::set<PolicyKey> touched;
    for (auto const& policyWrite : step.policies.written) touched.insert(policyWrite.policy.key());
    touched.insert(step.policies.removed.begin(), step.policies.removed.end());
    for (auto const& key : touched) forgetOutdated(key);
    for (auto const& report : step.sbfdSession.written) {
        write(report);
        touched.insert(report.list.policy);
    }
    for (auto const& name : step.sbfdSession.removed) {
        reports_.erase(name);
        touched.insert(name.policy);
    }
    for (auto const& key : touched) answerAll(key);
}

// A session that goes takes what is known of its peer along.
void SessionReports::handleSession(Bfd::AppPeer const& session) {
    if (tables_.bfdSessions->session(session)) {
        answer(session.peer);
    } else {
        tables_.bfdPeers->operStateDel(session.peer);
    }
}

void SessionReports::forgetOutdated(PolicyKey const& key) {
    auto row = reports_.lower_bound({key, {}, {}});
    while (row != reports_.end() && row->first.policy == key) {
        auto const list = filePolicies_.list(row->first);
        bool const holds = list && list->labels() == row->second.labels;
        row = holds ? std::next(row) : reports_.erase(row);
    }
}

void SessionReports::write(SessionReport const& report) {
    auto const list = filePolicies_.list(report.list);
    if (list) reports_[report.list] = {list->labels(), report.state, ++lastNumber_};
}

void SessionReports::answerAll(PolicyKey const& key) {
    using SrTePolicy::Sbfd::SbfdKey;
    auto const& asked = tables_.sbfdInputConfig->config();
    for (auto row = asked.lowerBound(SbfdKey::of(key, {})); row; row.next()) {
        if (row.key().policyKey() != key) return;
        auto const session = sbfdSession(row.key().segmentListId, row.value().remoteDiscriminator);
        if (tables_.bfdSessions->session(session)) answer(session.peer);
    }
}

void SessionReports::answer(Bfd::Peer const& peer) {
    auto const* const list = tables_.exportedLists->segmentList(segmentListOf(peer.tunnelId));
    if (auto const state = list ? stateOf(*list) : std::nullopt) {
        tables_.bfdPeers->operStateIs(peer, operState(*state));
    } else {
        tables_.bfdPeers->operStateDel(peer);
    }
}

/// Of the names that a candidate has for one list, the report that prevails.
std::optional<SessionState> SessionReports::stateOf(SegmentList const& list) const {
    auto const* const policy = filePolicies_.policy(list.policyId.key);
    if (!policy) return std::nullopt;
    auto const labels = labelsOf(list);
    Report const* prevailing = nullptr;
    for (auto const& candidate : policy->candidates) {
        if (candidate.id() != list.policyId) continue;
        for (auto const& name : candidate.listNames) {
            auto const* const report = reportOn({policy->key(), candidate.name, name}, labels);
            bool const prevails = report && (!prevailing || report->prevailsOver(*prevailing));
            if (prevails) prevailing = report;
        }
    }
    return prevailing ? std::optional(prevailing->state) : std::nullopt;
}

/// Null when nothing is reported about `name` with the labels that it has now, or those are not
/// `labels`.
SessionReports::Report const* SessionReports::reportOn(
    ListName const& name, Wirex::BoundedMplsLabelStack const& labels) const {
    auto const found = reports_.find(name);
    if (found == reports_.end() || found->second.labels != labels) return nullptr;
    auto const list = filePolicies_.list(name);
    return list && list->labels() == labels ? &found->second : nullptr;
}

bool SessionReports::Report::prevailsOver(Report const& other) const {
    bool const isDown = state == SessionState::down;
    bool const otherIsDown = other.state == SessionState::down;
    return isDown == otherIsDown ? number > other.number : isDown;
}

}  // namespace Agent
