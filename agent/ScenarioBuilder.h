#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/ForwardingRecords.h"
#include "agent/PolicyRecords.h"
#include "agent/Scenario.h"

namespace Agent {

/// Turns the merge patches of a file, the start being the first of them, into steps. It keeps the
/// state as a tree, so that a step has every record that its patch names as it is afterwards.
class ScenarioBuilder {
public:
    explicit ScenarioBuilder(Findings& findings) : findings_(findings), policies_(findings) {}

    /// The writes of `patch`, a mapping whose form was checked. Members that are no state sections
    /// are left alone.
    Step take(Node const& patch);

    std::vector<std::string> const& tiLfaNames() const { return tiLfaNames_.names(); }

private:
    using Keys = std::vector<std::string>;
    struct Named {
        Keys router, lfib, tiLfa, counters, nextHops, groups, mpls;
        std::vector<std::pair<std::string, Keys>> policies;  // with the candidates of each
    };

    Named namesIn(Node const& patch) const;
    void merge(Node const& patch);
    Node const* stateAt(std::vector<std::string_view> const& path) const;

    void addRouter(Keys const& named, Step& step) const;
    void addForwarding(Named const& named, Step& step);
    void addBfd(Node const& patch, Step& step) const;
    void addPolicies(Named const& named, Step& step);
    void addCounters(Keys const& named, Step& step) const;
    void addGribiEntries(Named const& named, GribiChanges& changes) const;

    Findings& findings_;
    Node state_;
    TiLfaNames tiLfaNames_;
    PolicyRecords policies_;
};

}  // namespace Agent
