#include "SrTePolicy/SrTePolicyInputSyslog.h"

#include "Platform/Syslog/Syslog.h"

namespace SrTePolicy {
namespace {

Syslog::Message const bsidOutOfRange(
    "SRTE_POLICY_INVALID_BSID_OUT_OF_RANGE",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable: "
    "BSID(%u) is outside SRLB [%u, %u]",
    "BSID in policy is not within the configured SRLB range",
    "The configuration needs be changed so that the BSID within the allowed SRLB range");

Syslog::Message const bsidMissing(
    "SRTE_POLICY_INVALID_BSID_MISSING",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable",
    "Policy is unusable as it does not have a binding SID",
    "The configuration needs to be changed so that policy has a Binding SID");

Syslog::Message const bsidInUseOtherApplication(
    "SRTE_POLICY_INVALID_BSID_IN_USE_OTHER_APPLICATION",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable: "
    "BSID(%u) already in use by another application",
    "Policy is unusable as binding SID is used by another application",
    "The configuration needs to be changed so that Binding SID is unique acrossall users of SRLB "
    "range");

Syslog::Message const noSegmentLists(
    "SRTE_POLICY_INVALID_NO_SEGMENT_LISTS",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable",
    "Policy is unusable as it does not have a segment-list",
    "The configuration needs to be changed so that policy has at least one segment list");

// Every message begins with the six parts of the candidate's identity.
template <class... More>
void emitFor(PolicyId const& id, Syslog::Message const& message, More... more) {
    auto const& [key, candidate] = id;
    Syslog::emit(message, key.endpoint.stringValue(), key.color,
                 protocolEnumToString(candidate.protocol), candidate.originator.stringValue(),
                 candidate.originatorAs, candidate.discriminator, more...);
}

}  // namespace

void emitInvalidPolicySyslog(PolicyInputEntry const& entry, PolicyInvalidReason reason,
                             Mpls::LabelRange const& srlb) {
    auto const& id = entry.policyId;
    auto const bsid = entry.bindingSid.value();
    switch (reason) {
        case PolicyInvalidReason::usable: break;
        case PolicyInvalidReason::bsidOutOfRange:
            emitFor(id, bsidOutOfRange, bsid, srlb.base(), srlb.max());
            break;
        case PolicyInvalidReason::bsidMissing: emitFor(id, bsidMissing); break;
        case PolicyInvalidReason::bsidInUse: emitFor(id, bsidInUseOtherApplication, bsid); break;
        case PolicyInvalidReason::noSegmentLists:
            if (id.candidate.protocol != Protocol::config) emitFor(id, noSegmentLists);
            break;
    }
}

}  // namespace SrTePolicy
