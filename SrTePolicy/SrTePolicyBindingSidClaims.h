#pragma once

#include <optional>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// The policies that want one binding SID: the one that holds it, and those that wait.
struct SRTE_EXPORT ConflictingPolicies {
    explicit ConflictingPolicies(Wirex::MplsLabel label) : bsid(label) {}

    Wirex::MplsLabel bsid;
    std::optional<PolicyKey> chosen;  ///< nobody, between a release and the next request
    Quor::OrderedSet<PolicyKey> competitor;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;
};

/// Which policy holds which binding SID (RFC 9256, 6.2). A label has one holder, which keeps it
/// until it lets go, whoever asks later.
///
/// A policy has at most one label on record. It may ask for a new one before it releases the old.
class SRTE_EXPORT BindingSidClaims {
public:
    /// Puts `bsid` on record for the policy. Whether the policy holds it now; if not, it waits.
    bool request(Wirex::MplsLabel bsid, PolicyKey const& key);

    /// Ends what the policy has on `bsid`, as holder or as competitor. Returns the first competitor
    /// that is left: it has to ask again. The null label is a programming error.
    std::optional<PolicyKey> release(Wirex::MplsLabel bsid, PolicyKey const& key);

    /// The label on record for the policy, held or waited for; null when there is none.
    Wirex::MplsLabel bindingSid(PolicyKey const& key) const;
    std::optional<PolicyKey> chosen(Wirex::MplsLabel bsid) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::DenseMap<Wirex::MplsLabel, ConflictingPolicies> bindingSidPolicyMap_;
    Quor::OrderedMap<PolicyKey, Wirex::MplsLabel> policyBindingSidMap_;
};

}  // namespace SrTePolicy
