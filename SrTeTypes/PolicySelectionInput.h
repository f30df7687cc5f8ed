#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"
#include "SrTeTypes/SegmentListId.h"

namespace SrTePolicy {

/// A valid candidate on its way to selection. Preference and originator are fixed for the entry's
/// life: a candidate that changes them gets a new entry.
struct SRTE_EXPORT PolicyIdEntry {
    PolicyIdEntry() = default;
    PolicyIdEntry(PolicyId const& id, Preference rank, Originator const& source)
        : policyId(id), preference(rank), originator(source) {}

    PolicyId policyId;
    Preference preference;
    Originator originator;
    Wirex::MplsLabel bindingSid;
    Enlp enlp;
    std::vector<WeightedSegmentListId> wSegmentList;  ///< in the source's order
    /// Grows with every change, so that a reader tells a rewrite from none.
    std::uint32_t version = 0;

    void versionInc() { ++version; }
    std::string stringValue() const;
    std::uint64_t hash(std::uint64_t seed = 0) const;
    friend bool operator==(PolicyIdEntry const&, PolicyIdEntry const&) = default;
};

/// The valid candidates, by `PolicyId`. Written by PolicyInputSm alone; survives a restart of the
/// agent.
///
/// Watched apart: membership and version (`policyIdEntry`), and the binding SID of an entry that
/// stays.
class SRTE_EXPORT PolicySelectionInput final : public Quor::PtrInterface {
public:
    using Entries = Quor::OrderedMap<PolicyId, PolicyIdEntry>;

    Entries const& policyIdEntry() const { return entries_; }
    PolicyIdEntry const* policyIdEntry(PolicyId const& id) const { return entries_.find(id); }

    /// Inserts or replaces the entry as a whole; an equal one is no write. A changed binding SID is
    /// told first.
    void policyIdEntryIs(PolicyIdEntry entry);
    void policyIdEntryDel(PolicyId const& id);
    void policyIdEntryDelAll();

    /// The key of every entry that was added, rewritten or removed.
    Quor::Subject<PolicyId> const& entrySubject() const { return entrySubject_; }
    /// The key of every entry whose binding SID was rewritten in place.
    Quor::Subject<PolicyId> const& bindingSidSubject() const { return bindingSidSubject_; }

private:
    Entries entries_;
    Quor::Subject<PolicyId> entrySubject_;
    Quor::Subject<PolicyId> bindingSidSubject_;
};

SRTE_EXPORT Quor::Ptr<PolicySelectionInput> policySelectionInputFactory();

}  // namespace SrTePolicy
