#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/Findings.h"
#include "agent/Scenario.h"

namespace Agent {

/// The policies of the file as they are after the steps so far, in typed form.
class PolicyRecords {
public:
    explicit PolicyRecords(Findings& findings) : findings_(findings) {}

    /// Takes over policy `key` as `policy` describes it after an event that names `candidates`, or
    /// removes it when that is null. What must be written to its tables goes to `step`.
    void take(SrTePolicy::PolicyKey const& key, Node const& policy,
              std::vector<std::string> const& candidates, Step& step);

private:
    PolicyRecord record(SrTePolicy::PolicyKey const& key, Node const& policy,
                        std::vector<std::string> const& named);

    Findings& findings_;
    std::map<SrTePolicy::PolicyKey, PolicyRecord> present_;
};

}  // namespace Agent
