#include "agent/PresenceLog.h"

#include "agent/ScenarioValues.h"

namespace Agent {

namespace {

Mpls::RouteKey routeKeyOf(KeptKey const& kept) {
    return Mpls::RouteKey::fromLabel(Wirex::MplsLabel(parseLabel(kept.key).value()));
}

}  // namespace

PresenceLog::PresenceLog(Host const& host)
    : host_(host),
      routeReactor_(host.tables().lfib().rows(), this,
                    [](PresenceLog& self, Mpls::RouteKey const& key) { self.handleRoute(key); }),
      policyReactor_(
          host.tables().policyStatus->policyStatusEntry(), this,
          [](PresenceLog& self, SrTePolicy::PolicyKey const& key) { self.handlePolicy(key); }) {
    for (auto const& expectation : host.scenario().expectations) {
        for (auto const& kept : expectation.neverWithdrawn) {
            if (kept.table == "lfib") routes_[routeKeyOf(kept)];
            if (kept.table == "policy") policies_[parsePolicyKey(kept.key).value()];
        }
    }
}

void PresenceLog::note(History& history, bool present) const {
    bool const before = !history.empty() && history.back().present;
    if (present != before) history.push_back({host_.now(), present});
}

void PresenceLog::handleRoute(Mpls::RouteKey key) {
    auto const found = routes_.find(key);
    if (found != routes_.end()) note(found->second, host_.tables().lfib().rows().has(key));
}

void PresenceLog::handlePolicy(SrTePolicy::PolicyKey const& key) {
    auto const found = policies_.find(key);
    if (found == policies_.end()) return;
    note(found->second, host_.tables().policyStatus->policyStatusEntry().has(key));
}

PresenceLog::History const& PresenceLog::history(KeptKey const& kept) const {
    return kept.table == "lfib" ? routes_.at(routeKeyOf(kept))
                                : policies_.at(parsePolicyKey(kept.key).value());
}

std::optional<std::string> PresenceLog::lapse(KeptKey const& kept, Time from, Time until) const {
    auto const& changes = history(kept);
    for (auto const& change : changes) {
        bool const inWindow = change.at >= from && change.at < until;
        if (inWindow && !change.present) return "withdrawn at " + durationText(change.at);
    }
    bool const present = !changes.empty() && changes.back().present;
    if (!present) return "absent at " + durationText(until);
    return std::nullopt;
}

}  // namespace Agent
