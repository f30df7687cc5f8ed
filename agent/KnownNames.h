#pragma once

#include <map>
#include <set>
#include <string>

#include "agent/Findings.h"
#include "agent/YamlTree.h"

namespace Agent {

/// The policies, candidates, lists and TI-LFA tunnels that a file has at any time, and a finding
/// for each name that it never has.
class KnownNames {
public:
    explicit KnownNames(Findings& findings) : findings_(findings) {}

    /// The start of the file, or an event.
    void learn(Node const& patch);

    /// The names in what `learn` was given: TI-LFA tunnels of routes, lists of reports and
    /// counters.
    void judge(Node const& patch) const;
    void judgeExpectation(Node const& expectation) const;

private:
    using Names = std::set<std::string>;
    using Candidates = std::map<std::string, Names>;

    void judgeTunnels(Node const& lfib) const;
    void judgeTunnel(Node const& name) const;
    /// False, with a finding at `mark`, when there is none such.
    bool policyExists(std::string const& key, Mark mark) const;
    bool candidateExists(std::string const& key, std::string const& candidate, Mark mark) const;
    bool listExists(std::string const& key, std::string const& candidate, std::string const& list,
                    Mark mark) const;
    void judgeLists(Node const& byListName) const;
    void judgeExpectedPolicy(std::string const& key, Node const& policy) const;

    Findings& findings_;
    std::map<std::string, Candidates> policies_;
    Names tunnels_;
};

}  // namespace Agent
