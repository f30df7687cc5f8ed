#include "tests/sim/Model.h"

namespace Sim::Expected {

namespace {

using SrTePolicy::PolicyInvalidReason;
using SrTePolicy::SegmentListResolveError;

std::string endpointText(SrTePolicy::PolicyId const& id) {
    auto const number = [](std::uint32_t value) { return std::to_string(value); };
    auto const& candidate = id.candidate;
    return "Endpoint " + id.key.endpoint.stringValue() + ", color " + number(id.key.color) +
           ", protocol " + SrTePolicy::protocolEnumToString(candidate.protocol) + ", originator " +
           candidate.originator.stringValue() + "(AS" + number(candidate.originatorAs) +
           "), discriminator " + number(candidate.discriminator);
}

Message invalidMessage(Candidate const& candidate, Agent::Inputs const& inputs) {
    auto const* const range = inputs.mplsConfig->labelRange("srlb");
    auto const srlb = range && range->size() > 0 ? *range : Mpls::LabelRange();
    auto const last = srlb.size() > 0 ? srlb.base() + srlb.size() - 1 : 0;
    auto const text = endpointText(candidate.id()) + " is unusable";
    auto const bsid = "BSID(" + candidate.entry->bindingSid.stringValue() + ")";
    std::string const identifier = "SRTE_POLICY_INVALID_";
    switch (candidate.reason) {
        case PolicyInvalidReason::bsidOutOfRange:
            return {identifier + "BSID_OUT_OF_RANGE", text + ": " + bsid + " is outside SRLB [" +
                                                          std::to_string(srlb.base()) + ", " +
                                                          std::to_string(last) + "]"};
        case PolicyInvalidReason::bsidMissing: return {identifier + "BSID_MISSING", text};
        case PolicyInvalidReason::bsidInUse:
            return inUseElsewhere(candidate.id(), candidate.entry->bindingSid);
        default: return {identifier + "NO_SEGMENT_LISTS", text};
    }
}

/// Nothing for a list within the depth.
std::optional<Message> depthMessage(List const& list, Outcome const& outcome) {
    auto const error = list.resolution ? list.resolution->error : SegmentListResolveError::unset;
    bool const backup = error == SegmentListResolveError::backupExceedsMsd;
    if (!backup && error != SegmentListResolveError::exceedsMsd) return std::nullopt;

    auto const& ids = outcome.witnesses.listId;
    auto const id = ids.find(list.content);
    auto const number = id == ids.end() ? 0 : id->second.value();
    auto const& stack = list.content.labels;
    std::string labels = "[ ";
    for (std::size_t i = 0; i < stack.size(); ++i) labels += stack.label(i).stringValue() + " ";
    auto const which = std::string(backup ? " for the backup path exceeds the" : " exceeds");
    return Message{backup ? "SRTE_RESOLVED_SEGMENT_LIST_BACKUP_EXCEEDS_MSD"
                          : "SRTE_RESOLVED_SEGMENT_LIST_INVALID_EXCEEDS_MSD",
                   "Resolved segment list (ID " + std::to_string(number) + ")" + which +
                       " maximum supported hardware label push stack depth (" +
                       std::to_string(*outcome.inputs.hardware->maxLabelPushDepth()) +
                       "), was configured with labels " + labels + "]"};
}

}  // namespace

Message inUseElsewhere(SrTePolicy::PolicyId const& policyId, Wirex::MplsLabel bindingSid) {
    return {"SRTE_POLICY_INVALID_BSID_IN_USE_OTHER_APPLICATION",
            endpointText(policyId) + " is unusable: BSID(" + bindingSid.stringValue() +
                ") already in use by another application"};
}

Message conflict(SrTePolicy::PolicyId const& refused, SrTePolicy::PolicyId const& holder,
                 Wirex::MplsLabel bindingSid) {
    return {"SRTE_POLICY_CONFLICT_BSID_IN_USE",
            endpointText(refused) + " is unusable, BSID(" + bindingSid.stringValue() +
                ") already present, conflicts with " + endpointText(holder)};
}

std::set<Message> messages(Outcome const& outcome) {
    std::set<Message> messages;
    for (auto const& candidate : outcome.candidates) {
        bool const silent = candidate.reason == PolicyInvalidReason::noSegmentLists &&
                            candidate.id().candidate.protocol == SrTePolicy::Protocol::config;
        if (candidate.valid() || silent) continue;
        messages.insert(invalidMessage(candidate, outcome.inputs));
    }
    for (auto const& [content, list] : outcome.lists) {
        if (auto message = depthMessage(list, outcome)) messages.insert(*message);
    }
    for (auto const& [key, policy] : outcome.policies) {
        if (!policy.refused) continue;
        auto const& holder = outcome.bindingSidHolder.at(policy.bindingSid());
        messages.insert(conflict(policy.active().id(), outcome.policies.at(holder).active().id(),
                                 policy.bindingSid()));
    }
    return messages;
}

}  // namespace Sim::Expected
