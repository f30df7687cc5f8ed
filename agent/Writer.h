#pragma once

#include "agent/Scenario.h"
#include "agent/Tables.h"

namespace Agent {

/// Writes what a step of the scenario says to the input tables, in the order in which the file
/// format promises it.
class Writer {
public:
    explicit Writer(Inputs const& inputs) : inputs_(inputs) {}

    /// All of it but session reports and counters, which are told by the names of lists.
    void write(Step const& step) const {
        writeRouting(step);
        writeGribi(step.gribi);
    }
    /// What comes before reports and counters, and what comes after.
    void writeRouting(Step const& step) const;
    void writeGribi(GribiChanges const& changes) const;

private:
    void writeRouter(std::vector<RouterSetting> const& settings) const;
    void writeLfib(decltype(Step::lfib) const& changes) const;
    void writeTiLfa(decltype(Step::tiLfa) const& changes) const;
    void writePolicies(Step const& step) const;

    void candidateIs(CandidateRecord const& candidate) const;
    void candidateDel(SrTePolicy::PolicyId const& id) const;

    Inputs const& inputs_;
};

}  // namespace Agent
