#pragma once

#include <cstdint>
#include <map>
#include <set>

#include "tests/sim/Messages.h"
#include "tests/sim/Model.h"

namespace Sim {

/// What an agent does, against what the model says of its inputs: its tables at rest, its messages,
/// and what has to stay from one rest to the next. Throws `Violation`s.
class AgainstModel {
public:
    using PolicyKey = SrTePolicy::PolicyKey;

    explicit AgainstModel(World const& world) : world_(world), messages_(world) {}

    void agentBegins();
    void inputsWritten();
    /// Rows go for another reason than that the inputs say so.
    void nothingNeedsToStay();
    /// `withdrawn`: the policies that lost their status, label FEC or route since the last rest, if
    /// only for a moment. `wrote`: whether any table was written since then.
    void rested(std::set<PolicyKey> const& withdrawn, bool wrote);

    std::uint64_t comparisons() const { return comparisons_; }

private:
    /// What a policy has to keep, and why.
    struct Reason {
        Wirex::MplsLabel bindingSid;
        std::set<ListContent> usable;
    };

    static std::map<PolicyKey, Reason> publishedBy(Expected::Outcome const& now);
    void whatTheInputsKeepStays(std::set<PolicyKey> const& withdrawn) const;
    void aListKeepsItsIdentity(Expected::Outcome const& now) const;

    World const& world_;
    Messages messages_;
    std::uint64_t comparisons_ = 0;
    bool changed_ = true;  // what there is to compare, since the last rest
    // Asked for by the inputs ever since the last rest.
    std::map<PolicyKey, Reason> published_;
    std::map<ListContent, SrTePolicy::SegmentListId> listIds_;
};

/// Throws a `Violation` unless the tables of an agent at rest are those of the model.
void tablesAreThoseOfTheModel(World const& world);

}  // namespace Sim
