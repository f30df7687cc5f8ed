#pragma once

#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "Platform/Quor/Reactor.h"
#include "agent/Host.h"
#include "agent/ShowRows.h"

namespace Agent {

/// What became of the policies: who came, changed or went at each event, and when tasks that had to
/// wait went on. Only policies whose tables changed are looked at again.
class Story {
public:
    using PolicyKey = SrTePolicy::PolicyKey;

    struct Change {
        PolicyKey key;
        Json before;  ///< as `summary`; null when it was not there
        Json after;   ///< null when it is not there any more
    };
    /// The labels of gRIBI's clients.
    struct GribiLabels {
        std::size_t all = 0;
        std::size_t installed = 0;

        friend bool operator==(GribiLabels const&, GribiLabels const&) = default;
    };
    struct Chapter {
        Time at{0};
        Step const* event = nullptr;       ///< null for the start, and when only time went by
        std::vector<Change> changes;       ///< in the order of the keys
        std::optional<GribiLabels> gribi;  ///< when their numbers changed
    };

    explicit Story(Host const& host);

    /// What follows belongs to `event`.
    void eventComes(Step const& event);
    /// Everything has come to rest.
    void settled();

    std::vector<Chapter> const& chapters() const { return chapters_; }
    /// How a policy is now: its state; when it is up what is active, and how its packets leave
    /// (`paths`); when it is down the reasons, its own and that of each candidate. Null when there
    /// is no such policy.
    static Json summary(Host const& host, PolicyKey const& key);
    static GribiLabels gribiLabels(Tables const& tables);

private:
    void markAll();
    void mark(PolicyKey const& key) { changed_.insert(key); }
    void markFec(Pooltab::Fib::FecId fecId);
    void markTunnel(Tunnel::TunnelTable::TunnelId tunnelId);

    Host const& host_;
    std::vector<Chapter> chapters_;
    std::unordered_map<PolicyKey, Json> known_;
    std::set<PolicyKey> changed_;
    std::set<PolicyKey> unseen_;
    GribiLabels gribiLabels_;

    Quor::Reactor<PolicyKey> statusReactor_;
    Quor::Reactor<PolicyKey> selectedReactor_;
    Quor::Reactor<PolicyKey> activeReactor_;
    Quor::Reactor<PolicyKey> activeEntryReactor_;
    Quor::Reactor<Pooltab::Fib::FecId> fecReactor_;
    Quor::Reactor<Tunnel::TunnelTable::TunnelId> tunnelReactor_;
};

}  // namespace Agent
