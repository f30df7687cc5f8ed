#include "bench/Load.h"

#include <string>

namespace Bench {

SrTePolicy::PolicyKey Load::key(std::uint32_t policy) {
    return {Wirex::IpGenAddr::ipv4(0x0A000000u + policy), 100};
}

SrTePolicy::PolicyId Load::policyId(std::uint32_t policy, std::uint32_t candidate) {
    return {key(policy),
            {SrTePolicy::Protocol::config, Wirex::IpGenAddr::ipv4(0), 0, candidate + 1}};
}

SrTePolicy::Preference Load::preference(std::uint32_t candidate) {
    return SrTePolicy::Preference(candidate == 0 ? 200 : 100);
}

SrTePolicy::PolicyInputEntry Load::entry(std::uint32_t policy, std::uint32_t candidate) {
    SrTePolicy::PolicyInputEntry entry(policyId(policy, candidate));
    entry.bindingSid = bindingSid(policy);
    entry.preference = preference(candidate);
    entry.originator = {Wirex::IpGenAddr::ipv4(0), 0};
    for (std::uint32_t i = 0; i < listsPerCandidate; ++i) {
        auto const list = candidate * listsPerCandidate + i;
        SrTePolicy::WeightedLabels weighted;
        weighted.labels =
            Wirex::pushOperation({label(policy, list, 0).value(), label(policy, list, 1).value(),
                                  label(policy, list, 2).value()});
        weighted.weight = i + 1;
        entry.segmentList.push_back(weighted);
    }
    return entry;
}

Wirex::MplsLabel Load::bindingSid(std::uint32_t policy) {
    return Wirex::MplsLabel(srlbBase + policy % srlbSize);
}

Wirex::MplsLabel Load::label(std::uint32_t policy, std::uint32_t list, std::uint32_t index) {
    // A cheap mix spreads the labels: neighbours in policy order share none.
    auto const mixed = (policy * lists + list) * 2654435761u + index * 40503u;
    auto const range = index == 0 ? topLabels : segmentLabels - topLabels;
    auto const first = index == 0 ? firstSegmentLabel : firstSegmentLabel + topLabels;
    return Wirex::MplsLabel(first + (mixed >> 8) % range);
}

Mpls::ConsolidatedLfibRoute Load::topRoute(std::uint32_t top, std::uint32_t variant) {
    Mpls::ConsolidatedLfibRoute route;
    auto const label = firstSegmentLabel + top;
    route.key = Mpls::RouteKey::fromLabel(Wirex::MplsLabel(label));
    route.viaType = Mpls::LfibViaType::mpls;
    for (std::uint32_t i = 0; i < 2; ++i) {
        auto const nextHop = 0xC0000200u + 256 * variant + 2 * (top % 64) + i;
        route.mplsVias.push_back(
            {Wirex::IpGenAddr::ipv4(nextHop),
             Wirex::IntfId::physical("et" + std::to_string(2 * (top % 64) + i)),
             {Wirex::MplsLabelAction::swap, {label}}});
    }
    return route;
}

}  // namespace Bench
