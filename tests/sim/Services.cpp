#include "tests/sim/Services.h"

#include <array>
#include <limits>

#include "Platform/Mpls/LfibWriter.h"
#include "tests/sim/TableWalk.h"
#include "tests/sim/Universe.h"

namespace Sim {

namespace {

using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using SrTePolicy::SegmentListResolveError;

constexpr auto maxU64 = std::numeric_limits<std::uint64_t>::max();
constexpr std::array<std::uint64_t, nextHopCount> nextHopIds{
    0, 1, 2, 3, std::uint64_t{1} << 32, std::uint64_t{1} << 63, maxU64};
constexpr std::array<std::uint64_t, groupCount> groupIds{0, 10, maxU64};

// One that segments have, one that is a binding SID, and one that no packet carries.
constexpr std::array<std::uint32_t, incomingLabelCount> incomingLabels{
    900, 901, 16006, 24002, 100001, 100009, 0, Wirex::MplsLabel::null};

/// S-BFD settings; nothing when the policy has none.
std::optional<SrTePolicy::PolicySbfdConfig> settingsAt(std::uint32_t content) {
    constexpr std::array<std::array<std::uint32_t, 3>, settingCount - 1> settings{
        {{50, 3, 7},
         {50, 3, 8},
         {0, 3, 7},
         {0, 0, 0},
         {300, 0, 7},
         {0xFFFFFFFF, 255, 7},
         {20, 2, 7},
         {1, 0, 0xFFFFFFFF}}};
    content %= settingCount;
    if (content == 0) return std::nullopt;
    auto const& [interval, multiplier, discriminator] = settings[content - 1];
    return SrTePolicy::PolicySbfdConfig{Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier),
                                        Bfd::BfdDiscriminator(discriminator)};
}

Agent::BfdSettings globalSettingsAt(std::uint32_t content) {
    constexpr std::array<std::array<std::uint32_t, 2>, 4> settings{
        {{0, 0}, {300, 3}, {100, 5}, {300, 0}}};
    auto const& [interval, multiplier] = settings[content % settings.size()];
    return {Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multiplier)};
}

/// Labels to push, top first: mostly of segments, sometimes none or too many, or one too large.
std::vector<std::uint32_t> stackAt(std::uint32_t content) {
    Random random(content);
    std::vector<std::uint32_t> labels;
    constexpr std::array<std::uint32_t, 8> sizes{1, 1, 2, 2, 3, 8, 9, 0};
    auto const size = sizes[random(sizes.size())];
    for (std::uint32_t i = 0; i < size; ++i) {
        auto const place = random.percent(75) ? random(4) : random(labelCount);
        labels.push_back(routeKeyAt(place).topLabel().value());
    }
    if (content % 16 == 15) labels.push_back(Wirex::MplsLabel::null);
    return labels;
}

Agent::GribiNextHopGroup groupAt(std::uint32_t place, std::uint32_t content) {
    constexpr std::array<std::uint64_t, 6> weights{1, 2, 7, 0, std::uint64_t{1} << 32, maxU64};
    Random random(content);
    Agent::GribiNextHopGroup group{groupIds[place % groupCount], {}};
    for (auto const id : nextHopIds) {
        if (!random.percent(45)) continue;
        group.nextHopWeights.emplace_back(id, weights[random(weights.size())]);
    }
    return group;
}

/// Mostly the peer of a session of ours. States that we know nothing of belong to others.
void applyToPeer(Event const& event, Agent::Tables const& tables) {
    auto& peers = *tables.bfdPeers;
    if (event.place % 8 == 7) {
        Bfd::Peer const foreign{L3::VrfName("red"), tiLfaAt(event.place),
                                Bfd::BfdDiscriminator(event.content)};
        peers.operStateIs(foreign, Bfd::OperState(event.content % 9));
        return;
    }
    auto const session = keyIn(tables.bfdSessions->session(), event.place);
    if (!session) return;
    if (event.content % 5 == 4) {
        peers.operStateDel(session->peer);
    } else {
        peers.operStateIs(session->peer, Bfd::OperState(event.content % 5));
    }
}

void applyToCounter(Event const& event, Agent::Tables const& tables) {
    auto& counters = *tables.tunnelCounters;
    if (event.content % 2) {
        auto const tunnel = keyIn(tables.segmentListTunnels->entry(), event.place);
        if (tunnel) counters.tunnelCounterIs(*tunnel, {});
    } else if (auto const tunnel = keyIn(counters.tunnelCounter(), event.place)) {
        counters.tunnelCounterDel(*tunnel);
    }
}

}  // namespace

Agent::Step serviceStep(Event const& event) {
    Agent::Step step;
    auto& gribi = step.gribi;
    auto const nextHop = nextHopIds[event.place % nextHopCount];
    auto const group = groupIds[event.place % groupCount];
    auto const label = incomingLabels[event.place % incomingLabelCount];
    switch (event.kind) {
        case Kind::sbfd: {
            auto const key = policyIdAt(event.place * candidatesOfPolicy).key;
            step.policies.written.push_back({{{key, settingsAt(event.content)}, {}}, {}});
            break;
        }
        case Kind::bfd: step.bfd = globalSettingsAt(event.content); break;
        case Kind::nextHop:
            gribi.nextHop.written.push_back({nextHop, stackAt(event.content)});
            break;
        case Kind::nextHopGone: gribi.nextHop.removed.push_back(nextHop); break;
        case Kind::group:
            gribi.nextHopGroup.written.push_back(groupAt(event.place, event.content));
            break;
        case Kind::groupGone: gribi.nextHopGroup.removed.push_back(group); break;
        case Kind::label:
            gribi.mpls.written.push_back({label, groupIds[event.content % groupCount]});
            break;
        case Kind::labelGone: gribi.mpls.removed.push_back(label); break;
        case Kind::gribi:
            gribi.configuration = Agent::GribiConfiguration{event.content % 2 == 0};
            break;
        case Kind::agent:
            step.router.emplace_back(Agent::AgentEnabled{event.content % 2 == 0});
            break;
        default: break;
    }
    return step;
}

void applyToOtherAgents(Event const& event, World& world) {
    event.kind == Kind::peer ? applyToPeer(event, world.tables())
                             : applyToCounter(event, world.tables());
    world.toldOfWrite();
}

Event serviceEvent(std::uint64_t number) {
    Random random(number);
    auto const dice = random(100);
    if (dice < 16) return {Kind::sbfd, random(policyCount), random(settingCount)};
    if (dice < 36) return {Kind::peer, random(32), random(8)};
    if (dice < 40) return {Kind::bfd, 0, random(4)};
    if (dice < 48) return {Kind::counter, random(16), random(2)};
    if (dice < 62) return {Kind::nextHop, random(nextHopCount), random(256)};
    if (dice < 68) return {Kind::nextHopGone, random(nextHopCount), 0};
    if (dice < 79) return {Kind::group, random(groupCount), random(256)};
    if (dice < 82) return {Kind::groupGone, random(groupCount), 0};
    if (dice < 91) return {Kind::label, random(incomingLabelCount), random(groupCount)};
    if (dice < 94) return {Kind::labelGone, random(incomingLabelCount), 0};
    if (dice < 98) return {Kind::gribi, 0, random.percent(70) ? 0 : 1u};
    return {Kind::agent, 0, random.percent(70) ? 0 : 1u};
}

void damageService(Agent::SurvivingTables const& tables, std::uint32_t kind, std::uint32_t pick) {
    auto& status = *tables.segmentListStatus;
    switch (kind) {
        case 0:
            if (auto const key = keyIn(tables.sbfdInputConfig->config(), pick)) {
                tables.sbfdInputConfig->configDel(*key);
            }
            break;
        case 1:
            if (auto const key = keyIn(tables.bfdSessions->session(), pick)) {
                tables.bfdSessions->sessionDel(*key);
            }
            break;
        case 2:
            tables.bfdSessions->sessionIs(
                Agent::sbfdSession(SegmentListId(500 + pick), Bfd::BfdDiscriminator(7)), {});
            break;
        case 3:
            if (auto const key = keyIn(status.statusWithSbfd(), pick)) {
                pick % 2 ? status.statusWithSbfdDel(*key)
                         : status.statusWithSbfdIs(*key, SegmentListResolveError(1 + pick % 4));
            }
            break;
        case 4:
            if (auto const tunnel = keyIn(tables.tunnelMap->entry(), pick)) {
                tables.tunnelMap->entryDel(*tunnel);
            }
            break;
        case 5:
            if (auto const id = keyIn(tables.nextHopTunnels->nhToTunnelMap(), pick)) {
                tables.nextHopTunnels->nhToTunnelMapDel(*id);
            } else {
                tables.nextHopTunnels->nhToTunnelMapIs(Gribi::NextHopId(pick),
                                                       SegmentListId(500).getTunnelId());
            }
            break;
        case 6:
            if (auto const id = keyIn(tables.gribiStatus->nhgToFecEntry(), pick)) {
                tables.gribiStatus->nhgToFecEntryDel(*id);
            }
            break;
        default:
            if (auto const key = keyIn(tables.gribiLfib->rows(), pick)) {
                Mpls::LfibWriter(tables.gribiLfib).lfibRouteDel(*key);
            }
            break;
    }
}

void gribiRoutesLeadToTheirGroups(Agent::Tables const& tables) {
    forEach(tables.gribiLfib->rows(), [&](Mpls::RouteKey key, auto const& row) {
        auto const* const entry = tables.gribiAfts->mplsAft->mplsAftEntry().find(key.topLabel());
        hold(entry, "gribiRoutesLeadToTheirGroups: nobody asks for", key);
        auto const* const fecId = tables.gribiStatus->nhgToFecEntry(entry->nextHopGroupId);
        hold(fecId && row->route.extFecVia.fecId == *fecId, "gribiRoutesLeadToTheirGroups:", key);
    });
    std::size_t fecs = 0;
    forEach(tables.gribiStatus->nhgToFecEntry(), [&](auto const& group, FecId fecId) {
        auto const* const fec = tables.forwarding->fec(fecId);
        hold(fec, "gribiRoutesLeadToTheirGroups: no FEC of", group);
        hold(!fec->vias().empty(), "gribiRoutesLeadToTheirGroups: no via of", group);
        for (auto const& via : fec->vias()) {
            hold(tables.segmentListTunnels->entry(via.tunnelId()),
                 "gribiRoutesLeadToTheirGroups: no tunnel", group, via.tunnelId());
        }
        ++fecs;
    });
    forEach(tables.forwarding->fec(), [&](FecId id, auto const&) {
        if (Agent::gribiFecIds.has(id)) --fecs;
    });
    hold(fecs == 0, "gribiRoutesLeadToTheirGroups: FECs without a group");
}

void combinedStatusesFollow(Agent::Tables const& tables) {
    forEach(tables.segmentListStatus->statusWithSbfd(), [&](auto const& key, auto combined) {
        auto const plain = tables.segmentListStatus->status(key.segmentListId);
        hold(plain.has_value(), "combinedStatusesFollow: no plain one of", key);
        auto const config = tables.sbfdInputConfig->config(key);
        auto const* const state =
            config ? tables.bfdPeers->operState(
                         Agent::sbfdSession(key.segmentListId, config->remoteDiscriminator).peer)
                   : nullptr;
        bool const down = state && *state == Bfd::OperState::down;
        bool const usable = *plain == SegmentListResolveError::noError;
        hold(combined == (usable && down ? SegmentListResolveError::sbfdDown : *plain),
             "combinedStatusesFollow:", key);
    });
}

void sessionsAreThoseOfTheConfiguration(Agent::Tables const& tables) {
    std::size_t ours = 0;
    forEach(tables.sbfdInputConfig->config(), [&](auto const& key, auto const&) {
        auto const config = tables.sbfdInputConfig->config(key);
        hold(tables.bfdSessions->session(
                 Agent::sbfdSession(key.segmentListId, config->remoteDiscriminator)),
             "sessionsAreThoseOfTheConfiguration: none for", key);
        ++ours;
    });
    hold(tables.bfdSessions->session().size() == ours,
         "sessionsAreThoseOfTheConfiguration: one too many");
}

void nothingIsLeftOfServices(Agent::SurvivingTables const& tables) {
    hold(tables.segmentListStatus->statusWithSbfd().empty(), "nothingIsLeft: combined status");
    hold(tables.sbfdInputConfig->config().empty(), "nothingIsLeft: S-BFD configuration");
    hold(tables.bfdSessions->session().empty(), "nothingIsLeft: session");
    hold(tables.tunnelMap->entry().empty(), "nothingIsLeft: tunnel map");
    hold(tables.nextHopTunnels->nhToTunnelMap().empty(), "nothingIsLeft: next hop's tunnel");
    hold(tables.gribiStatus->nhgToFecEntry().empty(), "nothingIsLeft: group");
    hold(tables.gribiLfib->rows().empty(), "nothingIsLeft: gRIBI route");
    forEach(tables.forwarding->fec(), [](FecId id, auto const&) {
        hold(!Agent::gribiFecIds.has(id), "nothingIsLeft: gRIBI FEC", id);
    });
}

}  // namespace Sim
