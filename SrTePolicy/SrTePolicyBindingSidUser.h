#pragma once

#include <optional>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Mpls/LfibTrackingStatus.h"
#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/SmallSet.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTeTypes/PolicyKey.h"

namespace SrTePolicy {

/// The candidates that ask for one binding SID, whatever their verdict.
class SRTE_EXPORT BindingSidUser {
public:
    using PolicyIds = Quor::SmallSet<PolicyId, 2>;

    explicit BindingSidUser(Wirex::MplsLabel bsid) : bsid_(bsid) {}

    Wirex::MplsLabel bsid() const { return bsid_; }
    /// The label is free in the LFIB, or held by this system's own route.
    bool available() const { return available_; }
    void availableIs(bool available) { available_ = available; }
    PolicyIds const& policyId() const { return policyIds_; }
    void policyIdIs(PolicyId const& id) { policyIds_.insert(id); }
    void policyIdDel(PolicyId const& id) { policyIds_.erase(id); }
    void policyIdDelAll() { policyIds_.clear(); }

private:
    Wirex::MplsLabel bsid_;
    bool available_ = false;
    PolicyIds policyIds_;
};

/// Who asks for which binding SID, and whether each label can be had. Owned by the input machine.
class SRTE_EXPORT BindingSidUsers {
public:
    BindingSidUsers(Quor::Ptr<Mpls::LfibStatus const> lfib,
                    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus);

    /// Null when nobody asks for the label.
    BindingSidUser const* bsidUser(Wirex::MplsLabel bsid) const { return users_.find(bsid); }

    /// Adds the candidate to the users of `bsid`; the null label has none.
    void registerUser(Wirex::MplsLabel bsid, PolicyId const& policyId);
    void deregisterUser(Wirex::MplsLabel bsid, PolicyId const& policyId);
    void clear() { users_.clear(); }

    /// Looks at the LFIB again. The user when its availability changed, else null.
    BindingSidUser const* recheck(Wirex::MplsLabel bsid);
    /// Likewise for every label: calls `changed(user)`.
    template <class F>
    void recheckAll(F const& changed) {
        for (auto row = users_.begin(); row; row.next()) {
            if (auto const* const user = recheck(row.key())) changed(*user);
        }
    }

    /// No route, or one of this system's own binding-SID routes.
    bool isLabelAvailableInLfib(Wirex::MplsLabel label) const;

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Quor::Ptr<Mpls::LfibStatus const> const lfib_;
    Quor::Ptr<Mpls::LfibTrackingStatus const> const lfibTrackingStatus_;
    Quor::DenseMap<Wirex::MplsLabel, BindingSidUser> users_;
};

}  // namespace SrTePolicy
