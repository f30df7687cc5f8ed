#include "SrTeTypes/Config.h"
#include "SrTeTypes/EcPolicy.h"
#include "SrTeTypes/ExportedSegmentList.h"
#include "SrTeTypes/InitStage.h"
#include "SrTeTypes/PolicyInput.h"
#include "SrTeTypes/PolicyKeyToIdMap.h"
#include "SrTeTypes/PolicySelectionInput.h"
#include "SrTeTypes/PolicyStatus.h"
#include "SrTeTypes/SegmentListStatus.h"
#include "SrTeTypes/TunnelIdToPolicyKey.h"

namespace SrTePolicy {

std::string segmentListSharingToString(SegmentListSharing mode) {
    return mode == SegmentListSharing::none ? "none"
                                            : std::to_string(static_cast<std::uint32_t>(mode));
}

std::string PolicySbfdConfig::stringValue() const {
    return "interval " + interval.stringValue() + " multiplier " + multiplier.stringValue() +
           " remoteDiscriminator " + remoteDiscriminator.stringValue();
}

std::uint64_t PolicySbfdConfig::hash(std::uint64_t seed) const {
    return seededHash(seed, interval.value(), multiplier.value(), remoteDiscriminator.value());
}

Quor::Ptr<Config> configFactory() {
    return Quor::makePtr<Config>();
}
Quor::Ptr<EcPolicy> ecPolicyFactory() {
    return Quor::makePtr<EcPolicy>();
}
Quor::Ptr<InitStage> initStageFactory() {
    return Quor::makePtr<InitStage>();
}
Quor::Ptr<PolicyInput> policyInputFactory(Protocol protocol) {
    return Quor::makePtr<PolicyInput>(protocol);
}
Quor::Ptr<PolicyInputSource> policyInputSourceFactory() {
    return Quor::makePtr<PolicyInputSource>();
}
Quor::Ptr<PolicyKeyToIdMap> policyKeyToIdMapFactory() {
    return Quor::makePtr<PolicyKeyToIdMap>();
}
Quor::Ptr<PolicySelectionInput> policySelectionInputFactory() {
    return Quor::makePtr<PolicySelectionInput>();
}
Quor::Ptr<PolicyStatus> policyStatusFactory() {
    return Quor::makePtr<PolicyStatus>();
}
Quor::Ptr<SegmentListStatus> segmentListStatusFactory() {
    return Quor::makePtr<SegmentListStatus>();
}
Quor::Ptr<TunnelIdToPolicyKey> tunnelIdToPolicyKeyFactory() {
    return Quor::makePtr<TunnelIdToPolicyKey>();
}
Quor::Ptr<Export::SegmentListCollection> Export::segmentListCollectionFactory() {
    return Quor::makePtr<SegmentListCollection>();
}

}  // namespace SrTePolicy
