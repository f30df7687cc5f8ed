#include "bench/Yardstick.h"

#include <array>

namespace Bench {

using namespace SrTePolicy;
using Tunnel::TunnelTable::MplsVia;
using Tunnel::TunnelTable::SrTePolicyTunnelTableEntry;
using Tunnel::TunnelTable::SrTeSegmentListTunnelTableEntry;

namespace {

constexpr std::uint64_t fecBase = std::uint64_t{1} << 32;

SegmentListId listId(std::uint32_t policy, std::uint32_t list) {
    return SegmentListId(policy * Load::lists + list + 1);
}

}  // namespace

Yardstick::Yardstick(Load const& load) : load_(load) {
    auto const ecPolicy = ecPolicyFactory();
    ecPolicy->policyIs(Load::key(0));
    for (std::uint32_t candidate = 0; candidate < Load::candidates; ++candidate) {
        PolicyEntry entry;
        entry.policyId = Load::policyId(0, candidate);
        entry.priority = {Load::preference(candidate), Protocol::config, {}, candidate + 1};
        entry.bindingSid = Load::bindingSid(0);
        for (std::uint32_t i = 0; i < Load::listsPerCandidate; ++i) {
            entry.wTunnelId.push_back(
                {listId(0, candidate * Load::listsPerCandidate + i).getTunnelId(), i + 1});
        }
        ecPolicy->candidateIs(entry);
    }
    ecPolicy->activeIs(Load::policyId(0, 0));
    selected_ = *ecPolicy->policy(Load::key(0));
}

void Yardstick::fill() {
    fillSegments();
    for (std::uint32_t policy = 0; policy < load_.policies; ++policy) {
        for (std::uint32_t candidate = 0; candidate < Load::candidates; ++candidate) {
            fillCandidate(policy, candidate);
        }
        fillPolicy(policy);
    }
}

void Yardstick::fillSegments() {
    for (std::uint32_t top = 0; top < Load::topLabels; ++top) {
        auto const route = Load::topRoute(top);
        auto const viaInfo = segmentViaInfoFactory(Mpls::LfibViaType::mpls);
        for (std::uint32_t i = 0; i < route.mplsVias.size(); ++i) {
            viaInfo->mplsViaIs({{route.key}, Mpls::LfibViaIndexRange(i)}, route.mplsVias[i]);
        }
        SegmentId const id(top + 1);
        segments_[id] = Quor::makePtr<SegmentResolve const>(id, viaInfo);
    }
}

void Yardstick::fillCandidate(std::uint32_t policy, std::uint32_t candidate) {
    auto const id = Load::policyId(policy, candidate);
    auto const bindingSid = Load::bindingSid(policy);
    keyMap_[id.key].push_back({id.candidate, {1.0, PolicyInvalidReason::usable, bindingSid}});

    PolicyIdEntry entry(id, Load::preference(candidate), {Wirex::IpGenAddr::ipv4(0), 0});
    entry.bindingSid = bindingSid;
    entry.version = 1;
    entry.wSegmentList.reserve(Load::listsPerCandidate);
    for (std::uint32_t i = 0; i < Load::listsPerCandidate; ++i) {
        auto const list = candidate * Load::listsPerCandidate + i;
        entry.wSegmentList.push_back({listId(policy, list), i + 1});
        fillList(policy, list, id);
    }
    selectionInput_.emplace(id, std::move(entry));
}

void Yardstick::fillList(std::uint32_t policy, std::uint32_t list, PolicyId const& id) {
    auto const segmentListId = listId(policy, list);
    SegmentListUser user(segmentListId, nullptr);
    user.policyIdIs(id);
    users_.emplace(segmentListId, std::move(user));

    Export::SegmentList copy;
    copy.segmentListId = segmentListId;
    copy.policyId = id;
    copy.size = Load::labelsPerList;
    for (std::uint32_t i = 0; i < copy.size; ++i) copy.segment[i] = Load::label(policy, list, i);
    exported_.emplace(segmentListId, copy);

    status_.emplace(segmentListId, SegmentListResolveError::noError);
    tunnels_.emplace(segmentListId.getTunnelId(), tunnel(policy, list, 0));
}

SrTeSegmentListTunnelTableEntry Yardstick::tunnel(std::uint32_t policy, std::uint32_t list,
                                                  std::uint32_t variant) const {
    auto const top = Load::label(policy, list, 0).value();
    auto const& viaInfo = *segments_.at(SegmentId(top - Load::firstSegmentLabel + 1))->viaInfo();
    std::array<MplsVia, 2> vias;
    std::size_t count = 0;
    for (auto row = viaInfo.mplsVia().begin(); row; row.next()) {
        auto& via = vias[count++];
        via = {row.value().nextHop, row.value().intf, row.value().operation};
        if (variant != 0) via.nextHop = Wirex::IpGenAddr::ipv4(variant);
        via.operation.stack.append(Load::label(policy, list, 1));
        via.operation.stack.append(Load::label(policy, list, 2));
    }
    return SrTeSegmentListTunnelTableEntry(listId(policy, list).getTunnelId(), vias);
}

void Yardstick::fillPolicy(std::uint32_t policy) {
    auto const key = Load::key(policy);
    ecPolicy_.emplace(key, selected_);

    auto const labelFecId = FecId::fecIdForAdjType(Pooltab::Fib::AdjType::srTePolicy,
                                                   fecBase | (2 * std::uint64_t{policy}));
    FecId const v6FecId(labelFecId.value() + 1);
    for (auto const& [fecId, label] : {std::pair(labelFecId, Wirex::MplsLabel()),
                                       std::pair(v6FecId, Wirex::MplsLabel::explicitNullV6())}) {
        Pooltab::Fib::Fec fec(fecId);
        for (std::uint32_t i = 0; i < Load::listsPerCandidate; ++i) {
            fec.viaIs(Pooltab::Fib::ViaIndex(i),
                      Pooltab::Fib::Via(listId(policy, i).getTunnelId(), i + 1, label));
        }
        fecs_.emplace(fecId, std::move(fec));
        fecIdToPolicyKey_.emplace(fecId, key);
    }
    auto const bindingSid = Load::bindingSid(policy);
    policyStatus_.emplace(key, PolicyStatusEntry{key, Load::policyId(policy, 0).candidate,
                                                 bindingSid, labelFecId, labelFecId, v6FecId, 1.0});
    auto const tunnelId = labelFecId.fecIdToTunnelId();
    policyTunnels_.emplace(
        tunnelId, SrTePolicyTunnelTableEntry{tunnelId, Wirex::IpGenPrefix::fullLength(key.endpoint),
                                             key.color, 0});

    Mpls::ConsolidatedLfibRoute route;
    route.key = Mpls::RouteKey::fromLabel(bindingSid);
    route.source = Mpls::LFib::Source::srTePolicy;
    route.metric = Mpls::RouteMetric(1);
    route.viaType = Mpls::LfibViaType::extFec;
    route.extFecVia = Mpls::LfibExtFecVia::popInto(labelFecId);
    bsidRoutes_.emplace(route.key, Quor::makePtr<Mpls::LfibRow const>(std::move(route)));
}

void Yardstick::overwriteLists(std::uint32_t lists, std::uint32_t variant) {
    for (std::uint32_t i = 0; i < lists; ++i) {
        auto const policy = i / Load::lists;
        auto const list = i % Load::lists;
        auto const id = listId(policy, list);
        tunnels_.insert_or_assign(id.getTunnelId(), tunnel(policy, list, variant));
        status_[id] = SegmentListResolveError::noError;
    }
}

}  // namespace Bench
