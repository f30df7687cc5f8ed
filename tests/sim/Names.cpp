#include "tests/sim/Names.h"

#include <algorithm>

#include "tests/sim/Words.h"

namespace Sim {

using Pooltab::Fib::AdjType;
using Pooltab::Fib::FecId;
using SrTePolicy::SegmentListId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

ListContent contentOf(SrTePolicy::Export::SegmentList const& list) {
    auto const size = std::min<std::size_t>(list.size, list.maxSize);
    auto const labels = std::span(list.segment).first(size);
    return {list.policyId, {labels.begin(), labels.end()}, list.distinguisherId};
}

Names::Names(Agent::SurvivingTables const& tables) {
    auto const& lists = tables.exportedLists->segmentList();
    for (auto row = lists.begin(); row; row.next()) {
        lists_[row.key()] = words(contentOf(row.value()));
    }
    auto const& policies = tables.policyStatus->policyStatusEntry();
    for (auto row = policies.begin(); row; row.next()) addFecs(row.value());
    auto const& groups = tables.gribiStatus->nhgToFecEntry();
    for (auto row = groups.begin(); row; row.next()) {
        addFec(row.value(), Agent::gribiFecIds, "FEC of group ", words(row.key().value()));
    }
}

std::string Names::list(SegmentListId id) const {
    auto const found = lists_.find(id);
    return found == lists_.end() ? words("list number", id.value()) : found->second;
}

std::string Names::list(TunnelId tunnelId) const {
    if (tunnelId.type() == TunnelType::srTeSegmentList) {
        return list(SegmentListId(static_cast<std::uint32_t>(tunnelId.index())));
    }
    return "tunnel " + tunnelId.stringValue();
}

std::string Names::fec(FecId id) const {
    auto const found = fecs_.find(id);
    return found == fecs_.end() ? "FEC " + id.stringValue() : found->second;
}

std::string Names::fec(TunnelId tunnelId) const {
    if (tunnelId.type() != TunnelType::srTePolicy) return "tunnel " + tunnelId.stringValue();
    return fec(FecId::fecIdForAdjType(AdjType::srTePolicy, tunnelId.index()));
}

void Names::addFecs(SrTePolicy::PolicyStatusEntry const& entry) {
    auto const owner = words("FEC of", entry.key, "for ");
    addFec(entry.labelFecId, Agent::policyFecIds, owner, "label");
    addFec(entry.v4FecId, Agent::policyFecIds, owner, "v4");
    addFec(entry.v6FecId, Agent::policyFecIds, owner, "v6");
}

/// One FEC may have several roles; those of an owner are of our own kind and its range.
void Names::addFec(FecId id, SrTePolicy::FecIdRange const& range, std::string const& owner,
                   std::string const& role) {
    bool const inRange = id.masked() >= range.min && id.masked() <= range.max;
    auto& name = fecs_[id];
    name += name.empty() ? owner + role : "+" + role;
    if (!inRange || id.adjType() != AdjType::srTePolicy) name += " out of range";
}

}  // namespace Sim
