#include "SrTePolicy/SrTePolicyLfibGenSm.h"

#include <utility>

#include "Platform/Fastlog/Trace.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicyLfibGenSm");

Mpls::ConsolidatedLfibRoute bindingSidRoute(PolicyStatusEntry const& entry) {
    Mpls::ConsolidatedLfibRoute route;
    route.key = Mpls::RouteKey::fromLabel(entry.bindingSid);
    route.source = Mpls::LFib::Source::srTePolicy;
    route.metric = Mpls::RouteMetric(1);
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = Mpls::LfibExtFecVia::popInto(entry.labelFecId);
    return route;
}

}  // namespace

SrTePolicyLfibGenSm::SrTePolicyLfibGenSm(Quor::Ptr<PolicyStatus const> policyStatus,
                                         Quor::Ptr<Mpls::LfibStatus> lfibStatus)
    : policyStatus_(std::move(policyStatus)),
      lfibStatus_(std::move(lfibStatus)),
      statusReactor_(policyStatus_->policyStatusEntry(), this,
                     [](auto& self, auto const& key) { self.handlePolicy(key); }) {}

void SrTePolicyLfibGenSm::handleInitialized() {
    if (std::exchange(initialized_, true)) return;

    lfibWriterIs();
    auto const& routes = lfibStatus_->rows();
    for (auto route = routes.begin(); route; route.next()) unusedLfibRoute_.insert(route.key());
    auto const& entries = policyStatus_->policyStatusEntry();
    for (auto entry = entries.begin(); entry; entry.next()) handlePolicy(entry.key());
    cleanupLfibEntries();
}

void SrTePolicyLfibGenSm::handleDel() {
    if (!std::exchange(initialized_, false)) return;

    statusReactor_.off();
    lfibWriter_->lfibRouteDelAll();
    SRTE_TRACE(8, "SrTePolicyLfibGenSm is to be deleted");
}

void SrTePolicyLfibGenSm::handlePolicy(PolicyKey const& key) {
    if (!initialized_) return;

    SRTE_TRACE(8, "change in policy: " << key);
    auto const* const entry = policyStatus_->policyStatusEntry().find(key);
    if (!entry || entry->bindingSid.isNull()) {
        deleteLfib(key);
        return;
    }
    // Another binding SID: the old route goes before the new one comes.
    auto const* const recorded = policyKeyBindingSidMap_.find(key);
    if (recorded && *recorded != entry->bindingSid) deleteLfib(key);
    addOrUpdateLfib(key);
}

void SrTePolicyLfibGenSm::addOrUpdateLfib(PolicyKey const& key) {
    auto const entry = policyStatus_->policyStatusEntry(key);
    auto const routeKey = Mpls::RouteKey::fromLabel(entry.bindingSid);
    lfibWriter_->lfibRouteIs(bindingSidRoute(entry));
    SRTE_TRACE(7, "Added the LFIB entry for policy: " << key << " BSID: " << entry.bindingSid);
    *policyKeyBindingSidMap_.tryEmplace(key, entry.bindingSid).first = entry.bindingSid;
    routeOwnerIs(routeKey, key);
    unusedLfibRoute_.erase(routeKey);
}

void SrTePolicyLfibGenSm::deleteLfib(PolicyKey const& key) {
    auto const* const recorded = policyKeyBindingSidMap_.find(key);
    if (!recorded) return;

    auto const bsid = *recorded;
    auto const routeKey = Mpls::RouteKey::fromLabel(bsid);
    SRTE_TRACE(7, "Removing the LFIB entry for policy: " << key << " BSID: " << bsid);
    policyKeyBindingSidMap_.erase(key);
    unusedLfibRoute_.erase(routeKey);
    routeOwnerDel(routeKey, key);
}

void SrTePolicyLfibGenSm::routeOwnerIs(Mpls::RouteKey routeKey, PolicyKey const& key) {
    auto const [owner, isNew] = routeOwner_.tryEmplace(routeKey, key);
    if (isNew || *owner == key) return;
    overridden_.tryEmplace({routeKey, *owner});
    overridden_.erase({routeKey, key});
    *owner = key;
}

void SrTePolicyLfibGenSm::routeOwnerDel(Mpls::RouteKey routeKey, PolicyKey const& key) {
    auto const* const owner = routeOwner_.find(routeKey);
    if (!owner || *owner != key) {
        overridden_.erase({routeKey, key});
        return;
    }
    routeOwner_.erase(routeKey);
    for (auto row = overridden_.lowerBound({routeKey, PolicyKey{{}, 0}});
         row && row.key().routeKey == routeKey; row.next()) {
        auto const heir = row.key();
        overridden_.erase(heir);
        if (policyStatus_->policyStatusEntry(heir.key).bindingSid != routeKey.topLabel()) continue;
        addOrUpdateLfib(heir.key);
        return;
    }
    lfibWriter_->lfibRouteDel(routeKey);
}

void SrTePolicyLfibGenSm::cleanupLfibEntries() {
    Mpls::RouteKey routeKey;
    for (bool more = unusedLfibRoute_.first(routeKey); more;
         more = unusedLfibRoute_.after(routeKey, routeKey)) {
        lfibWriter_->lfibRouteDel(routeKey);
        SRTE_TRACE(7, "Removed LFIB entry for BSID: " << routeKey.topLabel());
    }
    unusedLfibRoute_.clear();
}

void SrTePolicyLfibGenSm::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cpolicyKeyBindingSidMap #%u \n", indentCount, ' ',
              static_cast<unsigned>(policyKeyBindingSidMap_.size()));
    for (auto row = policyKeyBindingSidMap_.begin(); row; row.next()) {
        ctx.print("%*c(%s, %u)\n", indentCount, ' ', row.key().stringValue().c_str(),
                  row.value().value());
    }
    ctx.print("%*cunusedLfibRoute #%u \n", indentCount, ' ',
              static_cast<unsigned>(unusedLfibRoute_.size()));
}

Quor::Ptr<SrTePolicyLfibGenSm> srTePolicyLfibGenSmFactory(
    Quor::Ptr<PolicyStatus const> policyStatus, Quor::Ptr<Mpls::LfibStatus> lfibStatus) {
    return Quor::makePtr<SrTePolicyLfibGenSm>(std::move(policyStatus), std::move(lfibStatus));
}

}  // namespace SrTePolicy
