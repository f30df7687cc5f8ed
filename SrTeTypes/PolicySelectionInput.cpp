#include "SrTeTypes/PolicySelectionInput.h"

#include <utility>

namespace SrTePolicy {

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
