#include "agent/Story.h"

#include <utility>

#include "agent/ScenarioValues.h"
#include "agent/ShowForwarding.h"
#include "agent/ShowPolicies.h"

namespace Agent {

namespace {

using Pooltab::Fib::FecId;
using SrTePolicy::PolicyKey;
using Tunnel::TunnelTable::TunnelId;

/// The machines have not come to the policy yet, and no table will tell when they do.
bool isUnseen(Json const& summary) {
    return summary.is_object() && summary["state"] == "down" && !summary.contains("reason");
}

}  // namespace

Story::Story(Host const& host)
    : host_(host),
      statusReactor_(host.tables().policyStatus->policyStatusEntry(), this,
                     [](Story& self, PolicyKey const& key) { self.mark(key); }),
      selectedReactor_(host.tables().ecPolicy->policySubject(), this,
                       [](Story& self, PolicyKey const& key) { self.mark(key); }),
      activeReactor_(host.tables().ecPolicy->activeSubject(), this,
                     [](Story& self, PolicyKey const& key) { self.mark(key); }),
      activeEntryReactor_(host.tables().ecPolicy->activeEntrySubject(), this,
                          [](Story& self, PolicyKey const& key) { self.mark(key); }),
      fecReactor_(host.tables().forwarding->fec(), this,
                  [](Story& self, FecId const& fecId) { self.markFec(fecId); }),
      tunnelReactor_(host.tables().segmentListTunnels->entry(), this,
                     [](Story& self, TunnelId const& id) { self.markTunnel(id); }) {
    chapters_.push_back({});
    for (auto const& write : host.scenario().initial.policies.written) mark(write.policy.key());
}

void Story::eventComes(Step const& event) {
    chapters_.push_back({event.at, &event, {}, {}});
    for (auto const& write : event.policies.written) mark(write.policy.key());
    for (auto const& key : event.policies.removed) mark(key);
    // Nobody watches TI-LFA tunnels, and a stop or a crash is about every policy.
    if (!event.tiLfa.empty() || event.life != Life::unchanged) markAll();
}

void Story::markAll() {
    for (auto const* const record : host_.filePolicies().present()) mark(record->key());
    for (auto const& [key, summary] : known_) mark(key);
}

void Story::markFec(FecId fecId) {
    if (auto const* const key = host_.tables().policyStatus->fecIdToPolicyKey().find(fecId)) {
        mark(*key);
    }
}

void Story::markTunnel(TunnelId tunnelId) {
    auto const* const list = host_.tables().exportedLists->segmentList(segmentListOf(tunnelId));
    if (list && list->distinguisherId.isPolicyList()) mark(list->policyId.key);
}

void Story::settled() {
    if (chapters_.back().at != host_.now()) chapters_.push_back({host_.now(), nullptr, {}, {}});
    if (host_.machines() && host_.machines()->inputSettled()) changed_.merge(unseen_);
    auto& chapter = chapters_.back();
    for (auto const& key : std::exchange(changed_, {})) {
        auto after = summary(host_, key);
        if (isUnseen(after)) unseen_.insert(key);
        auto& known = known_[key];
        if (known == after) continue;
        chapter.changes.push_back({key, known, after});
        known = std::move(after);
    }
    auto const labels = gribiLabels(host_.tables());
    if (std::exchange(gribiLabels_, labels) != labels) chapter.gribi = labels;
    bool const nothingToTell = !chapter.event && chapter.changes.empty() && !chapter.gribi;
    if (nothingToTell && chapters_.size() > 1) chapters_.pop_back();
}

Json Story::summary(Host const& host, PolicyKey const& key) {
    Rows rows(policyKeyText(key));
    showPolicies(host, rows);
    if (rows.empty()) return nullptr;
    Json summary = rows.begin()->second;
    auto const* const status = host.tables().policyStatus->policyStatusEntry().find(key);
    if (status) {
        summary.erase("candidates");
        summary["paths"] = pathsJson(traceFec(host.tables(), status->labelFecId));
    } else if (summary.contains("candidates")) {
        for (auto& candidate : summary["candidates"]) candidate = candidate["reason"];
    }
    return summary;
}

Story::GribiLabels Story::gribiLabels(Tables const& tables) {
    return {tables.gribiAfts->mplsAft->mplsAftEntry().size(), tables.gribiLfib->rows().size()};
}

}  // namespace Agent
