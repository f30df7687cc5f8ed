#include "SrTePolicy/SrTePolicyInputSyslog.h"

#include "Platform/Syslog/Syslog.h"

namespace SrTePolicy {
namespace {

Syslog::Message const bsidOutOfRangeMessage(
    "SRTE_POLICY_INVALID_BSID_OUT_OF_RANGE",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable: "
    "BSID(%u) is outside SRLB [%u, %u]",
    "BSID in policy is not within the configured SRLB range",
    "The configuration needs be changed so that the BSID within the allowed SRLB range");

Syslog::Message const bsidMissingMessage(
    "SRTE_POLICY_INVALID_BSID_MISSING",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable",
    "Policy is unusable as it does not have a binding SID",
    "The configuration needs to be changed so that policy has a Binding SID");

Syslog::Message const bsidInUseMessage(
    "SRTE_POLICY_INVALID_BSID_IN_USE_OTHER_APPLICATION",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable: "
    "BSID(%u) already in use by another application",
    "Policy is unusable as binding SID is used by another application",
    "The configuration needs to be changed so that Binding SID is unique acrossall users of SRLB "
    "range");

Syslog::Message const noSegmentListsMessage(
    "SRTE_POLICY_INVALID_NO_SEGMENT_LISTS",
    "Endpoint %s, color %u, protocol %s, originator %s(AS%u), discriminator %u is unusable",
    "Policy is unusable as it does not have a segment-list",
    "The configuration needs to be changed so that policy has at least one segment list");

// Every message begins with the six parts of the candidate's identity.
template <class... More>
void emitFor(PolicyId const& id, Syslog::Message const& message, More... more) {
    Syslog::emit(message, id.key.endpoint.stringValue(), id.key.color,
                 protocolEnumToString(id.candidate.protocol),
                 id.candidate.originator.stringValue(), id.candidate.originatorAs,
                 id.candidate.discriminator, more...);
}

}  // namespace

std::uint32_t lastLabel(Mpls::LabelRange const& range) {
    return range.empty() ? 0 : range.base() + range.size() - 1;
}

void emitInvalidPolicySyslog(PolicyInputEntry const& entry, PolicyInvalidReason reason,
                             Mpls::LabelRange const& srlb) {
    auto const& id = entry.policyId;
    auto const bsid = entry.bindingSid.value();
    switch (reason) {
        case PolicyInvalidReason::bsidOutOfRange:
            emitFor(id, bsidOutOfRangeMessage, bsid, srlb.empty() ? 0u : srlb.base(),
                    lastLabel(srlb));
            break;
        case PolicyInvalidReason::bsidMissing: emitFor(id, bsidMissingMessage); break;
        case PolicyInvalidReason::bsidInUse: emitFor(id, bsidInUseMessage, bsid); break;
        case PolicyInvalidReason::noSegmentLists:
            if (id.candidate.protocol != Protocol::config) emitFor(id, noSegmentListsMessage);
            break;
        case PolicyInvalidReason::usable: break;
    }
}

}  // namespace SrTePolicy
