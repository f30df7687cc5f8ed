#include "tests/sim/Universe.h"

#include <array>
#include <limits>

namespace Sim {

namespace {

using SrTePolicy::Protocol;
using Wirex::BoundedMplsLabelStack;
using Wirex::MplsLabel;
using Wirex::MplsLabelAction;

constexpr std::uint32_t noLabel = MplsLabel::null;

// The edges of the ranges of `srlbAt`, and one label that no packet carries.
constexpr std::array<std::uint32_t, CandidateContent::bsids> bsidLabels{
    100000, 100001, 100002, noLabel, 100009, 100010, 1048575, MplsLabel::entropyPlaceholder};

constexpr std::uint32_t segmentLabelCount = 9;

constexpr auto maxU32 = std::numeric_limits<Number>::max();
constexpr auto maxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::array<std::uint64_t, nextHopCount> nextHopIds{
    0, 1, 2, 3, std::uint64_t{1} << 32, std::uint64_t{1} << 63, maxU64};

Wirex::IpGenAddr address(char const* text) {
    return Wirex::IpGenAddr::parse(text).value();
}

Wirex::IpGenAddr const& endpointAt(Number place) {
    static std::array<Wirex::IpGenAddr, endpointCount> const endpoints{
        address("192.0.2.5"), address("0.0.0.0"), address("2001:db8::5"), address("::")};
    return endpoints[place % endpointCount];
}

SrTePolicy::CandidateId const& candidateIdAt(Number place) {
    static std::array<SrTePolicy::CandidateId, candidatesOfPolicy> const candidates{
        SrTePolicy::CandidateId{Protocol::config, address("0.0.0.0"), 0, 1},
        {Protocol::config, address("0.0.0.0"), 0, 2},
        {Protocol::bgp, address("192.0.2.9"), 65001, 1},
        {Protocol::bgp, address("192.0.2.9"), 65002, 1},
        {Protocol::bgp, address("2001:db8::9"), 65001, 1},
        {Protocol::pcep, address("192.0.2.9"), 65001, 7},
        {static_cast<Protocol>(25), address("192.0.2.9"), 65001, 7}};
    return candidates[place % candidatesOfPolicy];
}

SrTePolicy::Originator originatorAt(Number place) {
    switch (place) {
        case 0: return {address("192.0.2.9"), 65001};
        case 1: return {address("192.0.2.8"), 65002};
        case 2: return {address("2001:db8::8"), 65001};
        default: return {address("::c000:209"), 65001};  // the number of 192.0.2.9
    }
}

BoundedMplsLabelStack randomStack(Random& random, Number size) {
    BoundedMplsLabelStack stack;
    for (Number i = 0; i < size; ++i) {
        // Few of them lead anywhere, and those most often.
        auto const place = random.percent(75) ? random(4) : random(segmentLabelCount);
        stack.push(routeKeyAt(place).topLabel());
    }
    return stack;
}

SrTePolicy::WeightedLabels randomList(Random& random) {
    SrTePolicy::WeightedLabels list;
    auto const size = random.percent(80) ? 1 + random(3) : 1 + random(8);
    list.labels = {MplsLabelAction::push, randomStack(random, size)};
    list.weight = random.percent(60) ? 1 : 2 + random(4);
    return list;
}

std::vector<SrTePolicy::WeightedLabels> listsAt(Number set) {
    Random random(set * 977 + 1);
    std::vector<SrTePolicy::WeightedLabels> lists;
    if (set == 0) return lists;
    auto const count = random.percent(60) ? 1 : 2 + random(2);
    for (Number i = 0; i < count; ++i) lists.push_back(randomList(random));
    auto& first = lists.front();
    switch (set) {
        case 1: first.labels.stack = {}; break;
        case 2: lists.push_back(first); break;
        case 3: first.labels.stack = randomStack(random, 9); break;
        case 4: first.labels.stack.push(MplsLabel(MplsLabel::entropyPlaceholder)); break;
        case 5: first.weight = 0; break;
        case 6:
            lists.push_back(first);
            lists.back().weight = 7;
            break;
        default: break;
    }
    return lists;
}

}  // namespace

std::uint32_t Random::operator()(std::uint32_t count) {
    state_ += 0x9E3779B97F4A7C15u;
    auto mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return static_cast<std::uint32_t>((mixed ^ (mixed >> 31)) % count);
}

// Each part has bits of its own, so that a change of one leaves the others alone.
CandidateContent::CandidateContent(Number number)
    : bsid(number % 8 % bsids),
      enlp(number / 8 % 8 % enlps),
      preference(number / 64 % 4 % preferences),
      originator(number / 256 % 4 % originators),
      listSet(number / 1024 % listSets) {}

Number CandidateContent::number() const {
    return bsid + 8 * enlp + 64 * preference + 256 * originator + 1024 * listSet;
}

Protocol protocolAt(Number place) {
    constexpr std::array<Protocol, protocolCount> protocols{
        Protocol::config, Protocol::bgp, Protocol::pcep, static_cast<Protocol>(25)};
    return protocols[place % protocolCount];
}

SrTePolicy::PolicyId policyIdAt(Number place) {
    auto const policy = place / candidatesOfPolicy % policyCount;
    return {{endpointAt(policy), 1 + policy / endpointCount}, candidateIdAt(place)};
}

SrTePolicy::PolicyInputEntry entryAt(Number place, Number number) {
    CandidateContent const content(number);
    SrTePolicy::PolicyInputEntry entry(policyIdAt(place));
    entry.bindingSid = MplsLabel(bsidLabels[content.bsid]);
    entry.segmentList = listsAt(content.listSet);
    entry.enlp = SrTePolicy::Enlp(content.enlp);
    entry.preference = SrTePolicy::Preference(100 * content.preference);
    entry.originator = originatorAt(content.originator);
    return entry;
}

Agent::Srlb srlbAt(Number content) {
    switch (content % 8) {
        case 0: return {std::nullopt};
        case 1: return {Mpls::LabelRange(100000, 2)};
        case 2: return {Mpls::LabelRange(100001, 9)};
        case 3: return {Mpls::LabelRange(1048570, 16)};
        case 4: return {Mpls::LabelRange(100000, 0)};
        default: return {Mpls::LabelRange(100000, 10)};
    }
}

Agent::MaxSidDepth depthAt(Number content) {
    constexpr std::array<std::uint8_t, 8> depths{0, 1, 2, 3, 4, 6, 10, 255};
    if (content % 10 >= depths.size()) return {};
    return {depths[content % 10]};
}

std::optional<SrTePolicy::PolicySbfdConfig> settingsAt(Number content) {
    constexpr std::array<std::array<Number, 3>, sbfdSettings - 1> settings{{{50, 3, 7},
                                                                            {50, 3, 8},
                                                                            {0, 3, 7},
                                                                            {0, 0, 0},
                                                                            {300, 0, 7},
                                                                            {maxU32, 255, 7},
                                                                            {20, 2, 7},
                                                                            {1, 0, maxU32}}};
    content %= sbfdSettings;
    if (content == 0) return std::nullopt;
    auto const& [interval, multiplier, discriminator] = settings[content - 1];
    return SrTePolicy::PolicySbfdConfig{Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier),
                                        Bfd::BfdDiscriminator(discriminator)};
}

Agent::BfdSettings globalSettingsAt(Number content) {
    constexpr std::array<std::array<Number, 2>, 4> settings{{{0, 0}, {300, 3}, {100, 5}, {300, 0}}};
    auto const& [interval, multiplier] = settings[content % settings.size()];
    return {Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier)};
}

std::uint64_t nextHopIdAt(Number place) {
    return nextHopIds[place % nextHopCount];
}

/// Labels mostly of segments, sometimes none or too many, or one too large.
Agent::GribiNextHop nextHopAt(Number place, Number content) {
    constexpr std::array<Number, 8> sizes{1, 1, 2, 2, 3, 8, 9, 0};
    Random random(content);
    Agent::GribiNextHop nextHop{nextHopIdAt(place), {}};
    for (auto left = sizes[random(sizes.size())]; left > 0; --left) {
        auto const which = random.percent(75) ? random(4) : random(labelCount);
        nextHop.pushedLabels.push_back(routeKeyAt(which).topLabel().value());
    }
    if (content % 16 == 15) nextHop.pushedLabels.push_back(noLabel);
    return nextHop;
}

std::uint64_t groupIdAt(Number place) {
    constexpr std::array<std::uint64_t, groupCount> ids{0, 10, maxU64};
    return ids[place % groupCount];
}

Agent::GribiNextHopGroup groupAt(Number place, Number content) {
    constexpr std::array<std::uint64_t, 6> weights{1, 2, 7, 0, std::uint64_t{1} << 32, maxU64};
    Random random(content);
    Agent::GribiNextHopGroup group{groupIdAt(place), {}};
    for (auto const id : nextHopIds) {
        if (!random.percent(45)) continue;
        group.nextHopWeights.emplace_back(id, weights[random(weights.size())]);
    }
    return group;
}

/// Among them some that segments have, some that are binding SIDs, and one that no packet carries.
Number incomingLabelAt(Number place) {
    constexpr std::array<Number, incomingLabelCount> incoming{900,    901,    16006, 24002,
                                                              100001, 100009, 0,     noLabel};
    return incoming[place % incomingLabelCount];
}

Agent::GribiMplsEntry mplsEntryAt(Number place, Number content) {
    return {incomingLabelAt(place), groupIdAt(content)};
}

}  // namespace Sim
