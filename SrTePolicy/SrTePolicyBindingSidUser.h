#pragma once

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
    /// Mostly the candidates of one policy.
    using PolicyIds = Quor::SmallSet<PolicyId, 1>;

    explicit BindingSidUser(Wirex::MplsLabel bsid) : bsid_(bsid) {}

    Wirex::MplsLabel bsid() const { return bsid_; }
    /// The label is free in the LFIB, or held by this system's own route.
    bool available() const { return available_; }
    void availableIs(bool available) { available_ = available; }

    PolicyIds const& policyId() const { return policyIds_; }
    void policyIdIs(PolicyId const& id) { policyIds_.insert(id); }
    void policyIdDel(PolicyId const& id) { policyIds_.erase(id); }
    void policyIdDelAll() { policyIds_.clear(); }

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    Wirex::MplsLabel bsid_;
    bool available_ = false;
    PolicyIds policyIds_;
};

/// Who asks for which binding SID, and whether each label can be had. Owned by PolicyInputSm.
class SRTE_EXPORT BindingSidUsers {
public:
    /// `lfib` is the merged LFIB. `lfibTrackingStatus` is asked first, and may be null.
    BindingSidUsers(Quor::Ptr<Mpls::LfibStatus const> lfib,
                    Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus);

    /// What tells of changed routes.
    Quor::Subject<Mpls::RouteKey> const& routeSubject() const;

    /// Null when nobody asks for the label.
    BindingSidUser const* bsidUser(Wirex::MplsLabel bsid) const { return users_.find(bsid); }

    /// Adds the candidate to the users of `bsid`; the null label has none.
    void policyIdIs(Wirex::MplsLabel bsid, PolicyId const& policyId);
    /// The last candidate takes its label's row along.
    void policyIdDel(Wirex::MplsLabel bsid, PolicyId const& policyId);
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

    void dumpState(Keel::DumpContext& ctx, int indentCount) const;

private:
    bool isLabelAvailableInLfib(Wirex::MplsLabel label) const;

    Quor::Ptr<Mpls::LfibStatus const> const lfib_;
    Quor::Ptr<Mpls::LfibTrackingStatus const> const lfibTrackingStatus_;
    Quor::DenseMap<Wirex::MplsLabel, BindingSidUser> users_;
};

}  // namespace SrTePolicy
