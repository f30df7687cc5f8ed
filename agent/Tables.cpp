#include "agent/Tables.h"

#include <algorithm>

namespace Agent {

namespace {

using SrTePolicy::SegmentListId;
using Tunnel::TunnelTable::TunnelId;
using Tunnel::TunnelTable::TunnelType;

/// Grows to the largest identity that it is shown.
class Largest {
public:
    void include(SegmentListId id) { largest_ = std::max(largest_, id); }
    void include(TunnelId tunnelId) {
        if (tunnelId.type() != TunnelType::srTeSegmentList) return;
        include(SegmentListId(static_cast<std::uint32_t>(tunnelId.index())));
    }
    SegmentListId value() const { return largest_; }

private:
    SegmentListId largest_;
};

void includePolicies(Largest& largest, SurvivingTables const& tables) {
    for (auto row = tables.selectionInput->policyIdEntry().begin(); row; row.next()) {
        for (auto const& list : row.value().wSegmentList) largest.include(list.segmentListId);
    }
    for (auto row = tables.ecPolicy->policy().begin(); row; row.next()) {
        for (auto const& candidate : row.value().candidates()) {
            for (auto const& tunnel : candidate.wTunnelId) largest.include(tunnel.tunnelId);
        }
    }
    for (auto row = tables.forwarding->fec().begin(); row; row.next()) {
        for (auto const& via : row.value().vias()) largest.include(via.tunnelId());
    }
}

}  // namespace

SegmentListId largestSegmentListId(SurvivingTables const& tables) {
    Largest largest;
    auto const& status = *tables.segmentListStatus;
    for (auto row = tables.exportedLists->segmentList().begin(); row; row.next()) {
        largest.include(row.key());
    }
    for (auto row = status.status().begin(); row; row.next()) largest.include(row.key());
    for (auto row = status.statusWithSbfd().begin(); row; row.next()) {
        largest.include(row.key().segmentListId);
    }
    for (auto row = tables.segmentListTunnels->entry().begin(); row; row.next()) {
        largest.include(row.key());
    }
    includePolicies(largest, tables);
    return largest.value();
}

void clearPublishOutputs(SurvivingTables const& tables) {
    tables.policyStatus->policyStatusEntryDelAll();
    tables.policyTunnels->entryDelAll();
    auto const inRange = [](Pooltab::Fib::FecId fecId) {
        return fecId.masked() >= policyFecIds.min && fecId.masked() <= policyFecIds.max;
    };
    for (auto row = tables.forwarding->fec().begin(); row; row.next()) {
        if (inRange(row.key())) tables.forwarding->fecDel(row.key());
    }
    tables.policyStatus->fecIdToPolicyKeyDelAll();
}

}  // namespace Agent
