#include "SrTeTypes/PolicySelectionInput.h"

#include <utility>

#include "SrTeTypes/SeededHash.h"

namespace SrTePolicy {

std::string PolicyIdEntry::stringValue() const {
    auto text = policyId.stringValue() + " preference " + preference.stringValue() +
                " originator " + originator.stringValue() + " bindingSid " +
                bindingSid.stringValue() + " enlp " + enlp.stringValue() + " wSegmentList #" +
                std::to_string(wSegmentList.size());
    for (auto const& list : wSegmentList) text.append(" ").append(list.stringValue());
    return text + " version " + std::to_string(version);
}

std::uint64_t PolicyIdEntry::hash(std::uint64_t seed) const {
    seed = originator.hash(policyId.hash(seed));
    seed = seededHash(seed, preference.value(), bindingSid.value(), enlp.value(), version);
    for (auto const& list : wSegmentList) seed = list.hash(seed);
    return seed;
}

void PolicySelectionInput::policyIdEntryIs(PolicyIdEntry entry) {
    PolicyId const id = entry.policyId;
    auto const [row, inserted] = entries_.tryEmplace(id, std::move(entry));
    if (!inserted) {
        // An emplace that found the row left `entry` alone.
        if (*row == entry) return;  // NOLINT(bugprone-use-after-move)
        bool const sameEntry =
            row->preference == entry.preference && row->originator == entry.originator;
        bool const bindingSidChanged = sameEntry && row->bindingSid != entry.bindingSid;
        std::swap(*row, entry);
        if (bindingSidChanged) bindingSidSubject_.notify(id);
    }
    entrySubject_.notify(id);
}

void PolicySelectionInput::policyIdEntryDel(PolicyId const& id) {
    PolicyId const unlinked = id;
    if (entries_.erase(unlinked)) entrySubject_.notify(unlinked);
}

void PolicySelectionInput::policyIdEntryDelAll() {
    for (auto row = entries_.begin(); row; row.next()) policyIdEntryDel(row.key());
}

}  // namespace SrTePolicy
