#pragma once

#include <map>
#include <optional>
#include <string>

#include "Platform/Quor/Reactor.h"
#include "agent/FilePolicies.h"
#include "agent/Tables.h"

namespace Agent {

/// The agent that counts traffic, as the scenario has it: a counter that is written for a list goes
/// on the tunnel of that list, at once or when the list gets one, and stays there until it is
/// removed, whatever becomes of the list.
class TrafficCounters {
public:
    TrafficCounters(Tables const& tables, FilePolicies const& filePolicies);

    /// The counters of a step whose policies the file has by now.
    void take(Step const& step);

private:
    using PolicyKey = SrTePolicy::PolicyKey;
    using TunnelId = Tunnel::TunnelTable::TunnelId;
    /// Nothing while the list has had no tunnel.
    using Counters = std::map<ListName, std::optional<TunnelId>>;

    Counters::iterator firstOf(PolicyKey const& key) {
        return counters_.lower_bound({key, {}, {}});
    }
    void placeWaiting(PolicyKey const& key);
    std::optional<TunnelId> tunnelOf(ListName const& name) const;
    void remove(ListName const& name);

    Tables const& tables_;
    FilePolicies const& filePolicies_;
    Counters counters_;

    Quor::Reactor<SrTePolicy::PolicyId> candidateReactor_;
};

}  // namespace Agent
