#include "SrTePolicy/SrTePolicyBindingSidClaims.h"

#include <string>

#include "Platform/Fastlog/Trace.h"
#include "Platform/Quor/Assert.h"

namespace SrTePolicy {
namespace {

Fastlog::Facility traceFacility("SrTePolicyBindingSidClaims");

void printRow(Keel::DumpContext& ctx, int indentCount, PolicyKey const& key,
              Wirex::MplsLabel bsid) {
    ctx.print("%*c(%s, %u)\n", indentCount, ' ', key.stringValue().c_str(), bsid.value());
}

}  // namespace

void ConflictingPolicies::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    std::string waiting;
    for (auto row = competitor.begin(); row; row.next()) {
        if (!waiting.empty()) waiting += ", ";
        waiting += row.key().stringValue();
    }
    ctx.print("%*cbsid: %u, chosen: %s, competitors #%u: %s\n", indentCount, ' ', bsid.value(),
              chosen.value_or(PolicyKey()).stringValue().c_str(),
              static_cast<unsigned>(competitor.size()), waiting.c_str());
}

bool BindingSidClaims::request(Wirex::MplsLabel bsid, PolicyKey const& key) {
    *policyBindingSidMap_.tryEmplace(key, bsid).first = bsid;
    auto& policies = *bindingSidPolicyMap_.tryEmplace(bsid, bsid).first;
    if (!policies.chosen) {
        policies.chosen = key;
        policies.competitor.erase(key);
    }
    if (*policies.chosen == key) return true;

    policies.competitor.tryEmplace(key);
    SRTE_TRACE(7, "Policy: " << key << ", binding-sid " << bsid << " is unavailable");
    return false;
}

std::optional<PolicyKey> BindingSidClaims::release(Wirex::MplsLabel bsid, PolicyKey const& key) {
    QUOR_ASSERT(!bsid.isNull(), "bsid != Wirex::MplsLabel(): Cannot release invalid binding-sid");
    // A new label may be on record already.
    auto const* const recorded = policyBindingSidMap_.find(key);
    if (recorded && *recorded == bsid) policyBindingSidMap_.erase(key);

    auto* const policies = bindingSidPolicyMap_.find(bsid);
    if (!policies) {
        SRTE_TRACE(7,
                   "Binding-sid " << bsid << " is not available when expected for policy: " << key);
        return std::nullopt;
    }
    if (policies->chosen == key) {
        policies->chosen.reset();
    } else {
        policies->competitor.erase(key);
    }
    if (auto const first = policies->competitor.begin()) return first.key();
    if (!policies->chosen) bindingSidPolicyMap_.erase(bsid);
    return std::nullopt;
}

Wirex::MplsLabel BindingSidClaims::bindingSid(PolicyKey const& key) const {
    auto const* const recorded = policyBindingSidMap_.find(key);
    return recorded ? *recorded : Wirex::MplsLabel();
}

std::optional<PolicyKey> BindingSidClaims::chosen(Wirex::MplsLabel bsid) const {
    auto const* const policies = bindingSidPolicyMap_.find(bsid);
    return policies ? policies->chosen : std::nullopt;
}

void BindingSidClaims::dumpState(Keel::DumpContext& ctx, int indentCount) const {
    ctx.print("%*cbindingSidPolicyMap #%u \n", indentCount, ' ',
              static_cast<unsigned>(bindingSidPolicyMap_.size()));
    for (auto row = bindingSidPolicyMap_.begin(); row; row.next()) {
        printRow(ctx, indentCount, row.value().chosen.value_or(PolicyKey()), row.key());
        row.value().dumpState(ctx, indentCount);
    }
    ctx.print("%*cpolicyBindingSidMap #%u \n", indentCount, ' ',
              static_cast<unsigned>(policyBindingSidMap_.size()));
    for (auto row = policyBindingSidMap_.begin(); row; row.next()) {
        printRow(ctx, indentCount, row.key(), row.value());
    }
}

}  // namespace SrTePolicy
