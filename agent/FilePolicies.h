#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "agent/Scenario.h"

namespace Agent {

/// A list of the file.
struct FileList {
    CandidateRecord const* candidate = nullptr;
    std::size_t place = 0;  ///< in the candidate

    Wirex::BoundedMplsLabelStack const& labels() const { return candidate->labels(place); }
};

/// The names that the file gives to policies, candidates and lists: as the file is now, and as the
/// machines last saw it. The two differ while the input machine has to wait.
///
/// It points into the steps that it is shown, which outlive it.
class FilePolicies {
public:
    using PolicyKey = SrTePolicy::PolicyKey;
    using PolicyId = SrTePolicy::PolicyId;

    /// The step is written to the tables.
    void take(Step const& step);
    /// The input machine has gone through everything that was written.
    void seen();

    /// The policies of the file, in the order in which it first names them.
    std::vector<PolicyRecord const*> present() const;
    /// Those that it ever had, in the same order.
    std::vector<PolicyKey> everNamed() const;
    PolicyRecord const* policy(PolicyKey const& key) const;
    /// Nothing when the file does not have the list now.
    std::optional<FileList> list(ListName const& name) const;
    /// The candidates of a policy as the machines last saw them, in the order of the file.
    std::vector<CandidateRecord const*> seenCandidates(PolicyKey const& key) const;
    /// One of them, or null.
    CandidateRecord const* seenCandidate(PolicyId const& id) const;
    /// The file's name for the candidate, or its identity when there is none.
    std::string candidateName(PolicyId const& id) const;

private:
    struct Place {
        std::size_t order = 0;
        PolicyRecord const* record = nullptr;  // null once the policy has gone
        std::vector<CandidateRecord const*> seen;
    };

    std::unordered_map<PolicyKey, Place> policies_;
    std::vector<PolicyKey> unseen_;
};

}  // namespace Agent
