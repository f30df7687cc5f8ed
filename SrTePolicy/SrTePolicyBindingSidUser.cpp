#include "SrTePolicy/SrTePolicyBindingSidUser.h"

#include <utility>

namespace SrTePolicy {

void BindingSidUser::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cbsid: %u available: %d policies #%u\n", indentCount, ' ', bsid_.value(),
              available_ ? 1 : 0, static_cast<unsigned>(policyIds_.size()));
    policyIds_.forEach([&ctx, indentCount](PolicyId const& id) {
        ctx.print("%*c%s\n", indentCount + 2, ' ', id.stringValue().c_str());
    });
}

BindingSidUsers::BindingSidUsers(Quor::Ptr<Mpls::LfibStatus const> lfib,
                                 Quor::Ptr<Mpls::LfibTrackingStatus const> lfibTrackingStatus)
    : lfib_(std::move(lfib)), lfibTrackingStatus_(std::move(lfibTrackingStatus)) {}

Quor::Subject<Mpls::RouteKey> const& BindingSidUsers::routeSubject() const {
    if (lfibTrackingStatus_) return lfibTrackingStatus_->changed();
    return lfib_->rows();
}

void BindingSidUsers::policyIdIs(Wirex::MplsLabel bsid, PolicyId const& policyId) {
    if (bsid.isNull()) return;
    auto const [user, isNew] = users_.tryEmplace(bsid, bsid);
    if (isNew) user->availableIs(isLabelAvailableInLfib(bsid));
    user->policyIdIs(policyId);
}

void BindingSidUsers::policyIdDel(Wirex::MplsLabel bsid, PolicyId const& policyId) {
    if (bsid.isNull()) return;
    auto* const user = users_.find(bsid);
    if (!user) return;
    user->policyIdDel(policyId);
    if (user->policyId().empty()) users_.erase(bsid);
}

BindingSidUser const* BindingSidUsers::recheck(Wirex::MplsLabel bsid) {
    auto* const user = users_.find(bsid);
    if (!user) return nullptr;
    bool const available = isLabelAvailableInLfib(bsid);
    if (available == user->available()) return nullptr;
    user->availableIs(available);
    return user;
}

bool BindingSidUsers::isLabelAvailableInLfib(Wirex::MplsLabel label) const {
    auto const key = Mpls::RouteKey::fromLabel(label);
    auto const route = lfibTrackingStatus_ ? lfibTrackingStatus_->route(key) : lfib_->route(key);
    return route == Mpls::LfibRoute() || route.source == Mpls::LFib::Source::srTePolicy;
}

void BindingSidUsers::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    for (auto row = users_.begin(); row; row.next()) row.value().dumpState(ctx, indentCount);
}

}  // namespace SrTePolicy
