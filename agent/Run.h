#pragma once

#include <map>
#include <optional>
#include <vector>

#include "agent/Expectations.h"
#include "agent/Playback.h"
#include "agent/Story.h"

namespace Agent {

/// A scenario from its start to its end, with every expectation judged at its time.
class Run final : public Spectator {
public:
    /// Plays `scenario`, which outlives the run; what is expected after `until` is left out.
    Run(Scenario const& scenario, std::optional<Time> until);

    bool held() const { return mismatches_.empty(); }
    std::size_t heldCount() const { return judged_ - failed_; }
    std::size_t failedCount() const { return failed_; }
    std::size_t leftOutCount() const { return host_.scenario().expectations.size() - judged_; }
    std::vector<Mismatch> const& mismatches() const { return mismatches_; }

    Host const& host() const { return host_; }
    Story const& story() const { return story_; }

private:
    void eventComes(Step const& event) override { story_.eventComes(event); }
    void momentCame() override;

    Host host_;
    PresenceLog const presence_;
    Story story_;
    std::multimap<Time, Expectation const*> expectations_;  // of equal times in the file's order
    std::vector<Mismatch> mismatches_;
    std::size_t judged_ = 0;
    std::size_t failed_ = 0;
};

}  // namespace Agent
