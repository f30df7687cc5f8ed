#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Quor/Reactor.h"
#include "agent/Host.h"

namespace Agent {

/// Remembers when the keys that the scenario wants kept came and went: routes of the merged LFIB
/// and published policies. Made before the agent starts, it has seen everything.
class PresenceLog {
public:
    explicit PresenceLog(Host const& host);

    /// What became of `kept` in a window that ends now: nothing when it is there and was not
    /// deleted in the window after it first was there, else what was found.
    std::optional<std::string> lapse(KeptKey const& kept, Time from, Time until) const;

private:
    struct Change {
        Time at;
        bool present;
    };
    using History = std::vector<Change>;

    void note(History& history, bool present) const;
    void handleRoute(Mpls::RouteKey key);
    void handlePolicy(SrTePolicy::PolicyKey const& key);
    History const& history(KeptKey const& kept) const;

    Host const& host_;
    std::map<Mpls::RouteKey, History> routes_;
    std::map<SrTePolicy::PolicyKey, History> policies_;

    Quor::Reactor<Mpls::RouteKey> routeReactor_;
    Quor::Reactor<SrTePolicy::PolicyKey> policyReactor_;
};

}  // namespace Agent
