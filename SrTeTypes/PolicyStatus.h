#pragma once

#include <string>

#include "Platform/Pooltab/FecId.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// A published policy.
struct SRTE_EXPORT PolicyStatusEntry {
    PolicyKey key;
    CandidateId candidate;           ///< the active one
    Wirex::MplsLabel bindingSid;     ///< the one that the policy holds, or null
    Pooltab::Fib::FecId labelFecId;  ///< without explicit null; 0 is none
    Pooltab::Fib::FecId v4FecId;     ///< for IPv4 traffic; `labelFecId` unless it needs a label
    Pooltab::Fib::FecId v6FecId;     ///< for IPv6 traffic, likewise
    double changeTime = 0;           ///< system clock, seconds: when `candidate` last changed

    /// Whether there is such a policy at all.
    explicit operator bool() const {
        PolicyStatusEntry const none;
        return key != none.key || bindingSid != none.bindingSid || labelFecId != none.labelFecId ||
               v4FecId != none.v4FecId || v6FecId != none.v6FecId;
    }
    friend bool operator==(PolicyStatusEntry const&, PolicyStatusEntry const&) = default;
};

/// The published policies and the FECs that they own. Written by PolicyPublishSm alone; survives a
/// restart of the agent.
class SRTE_EXPORT PolicyStatus final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<PolicyKey, PolicyStatusEntry>;
    /// One row for each distinct id among the three of every entry.
    using FecIdToPolicyKey = Quor::NotifyingDenseMap<Pooltab::Fib::FecId, PolicyKey>;

    Entries const& policyStatusEntry() const { return entries_; }
    /// The entry of `key`, or the default one.
    PolicyStatusEntry policyStatusEntry(PolicyKey const& key) const { return entries_.get(key); }
    void policyStatusEntryIs(PolicyStatusEntry const& entry) { entries_.entryIs(entry.key, entry); }
    void policyStatusEntryDel(PolicyKey const& key) { entries_.entryDel(key); }
    void policyStatusEntryDelAll() { entries_.entryDelAll(); }

    FecIdToPolicyKey const& fecIdToPolicyKey() const { return fecIdToPolicyKey_; }
    void fecIdToPolicyKeyIs(Pooltab::Fib::FecId fecId, PolicyKey const& key) {
        fecIdToPolicyKey_.entryIs(fecId, key);
    }
    void fecIdToPolicyKeyDel(Pooltab::Fib::FecId fecId) { fecIdToPolicyKey_.entryDel(fecId); }
    void fecIdToPolicyKeyDelAll() { fecIdToPolicyKey_.entryDelAll(); }

private:
    Entries entries_;
    FecIdToPolicyKey fecIdToPolicyKey_;
};

SRTE_EXPORT Quor::Ptr<PolicyStatus> policyStatusFactory();

}  // namespace SrTePolicy
