#pragma once

#include <cstdint>
#include <memory>

#include "Platform/Keel/Task.h"
#include "agent/Machines.h"
#include "agent/Tables.h"
#include "bench/Load.h"

namespace Bench {

/// The host's tables and machines under the load, on the real clock with time slices of 1 ms, and
/// one counting observer per output table.
class Pipeline {
public:
    explicit Pipeline(Load const& load);
    ~Pipeline();

    /// Sources, configuration and the LFIB of the load; no machine runs yet.
    void fillSources();
    /// Cold start in the agent's order, until nothing waits.
    void converge();
    void topRouteIs(std::uint32_t top, std::uint32_t variant);
    void otherRouteIs(Mpls::ConsolidatedLfibRoute const& route);
    void entryIs(SrTePolicy::PolicyInputEntry const& entry) { input_->policyInputEntryIs(entry); }
    /// Runs what waits; returns the longest single run of a task in seconds.
    double drain();

    /// The rows written or deleted since the last call.
    std::uint64_t takeChanges();
    std::uint64_t publishedPolicies() const {
        return tables_.policyStatus->policyStatusEntry().size();
    }

private:
    struct Observers;

    Load const load_;
    Keel::RealClock clock_;
    Quor::Ptr<Keel::TaskScheduler> const scheduler_ = Quor::makePtr<Keel::TaskScheduler>(clock_);
    Agent::Tables const tables_;
    Quor::Ptr<SrTePolicy::PolicyInput> const input_ =
        SrTePolicy::policyInputFactory(SrTePolicy::Protocol::config);
    std::unique_ptr<Agent::Machines> machines_;
    std::unique_ptr<Observers> observers_;
};

}  // namespace Bench
