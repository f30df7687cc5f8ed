#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/SmallSet.h"
#include "Platform/Tunnel/TunnelId.h"
#include "Platform/Wirex/MplsLabel.h"
#include "SrTePolicy/SrTePolicySegmentList.h"
#include "SrTeTypes/GribiIds.h"
#include "SrTeTypes/SegmentListId.h"

namespace Gribi {

/// The segment list of a next hop; the reference is what keeps the list interned.
struct SRTE_EXPORT NexthopIdToSegmentListEntry {
    NextHopId nextHopId;
    Quor::Ptr<SrTePolicy::SegmentList const> segmentList;
};

/// The list of every next hop that has one. Written by NhConfigSm alone; new whenever gRIBI starts.
class SRTE_EXPORT NexthopIdToSegmentListMap final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingMap<NextHopId, Quor::Ptr<SrTePolicy::SegmentList const>>;

    Entries const& nhToSlEntry() const { return entries_; }
    /// Null when the next hop has none.
    SrTePolicy::SegmentList const* segmentList(NextHopId id) const {
        auto const* const row = entries_.find(id);
        return row ? row->get() : nullptr;
    }
    void nhToSlEntryIs(NexthopIdToSegmentListEntry entry) {
        entries_.entryIs(entry.nextHopId, std::move(entry.segmentList));
    }
    void nhToSlEntryDel(NextHopId id) { entries_.entryDel(id); }
    void nhToSlEntryDelAll() { entries_.entryDelAll(); }

private:
    Entries entries_;
};

SRTE_EXPORT Quor::Ptr<NexthopIdToSegmentListMap> nexthopIdToSegmentListMapFactory();

struct SRTE_EXPORT SegmentListIdToNexthopIdEntry {
    SrTePolicy::SegmentListId slId;
    NextHopId nextHopId;
};

/// The inverse of `NexthopIdToSegmentListMap`. Written by NhConfigSm alone, in the same handlers.
class SRTE_EXPORT SegmentListIdToNexthopIdMap final : public Quor::PtrInterface {
public:
    using Entries = Quor::NotifyingDenseMap<SrTePolicy::SegmentListId, NextHopId>;

    Entries const& slToNhEntry() const { return entries_; }
    /// Null when the list is no next hop's; valid until the next change or call-out.
    NextHopId const* nextHopId(SrTePolicy::SegmentListId id) const { return entries_.find(id); }
    void slToNhEntryIs(SegmentListIdToNexthopIdEntry const& entry) {
        entries_.entryIs(entry.slId, entry.nextHopId);
    }
    void slToNhEntryDel(SrTePolicy::SegmentListId id) { entries_.entryDel(id); }
    void slToNhEntryDelAll() { entries_.entryDelAll(); }

private:
    Entries entries_;
};

SRTE_EXPORT Quor::Ptr<SegmentListIdToNexthopIdMap> segmentListIdToNexthopIdMapFactory();

/// The groups that use one next hop: a few, as a rule.
class SRTE_EXPORT NexthopToNexthopGroupEntry {
public:
    using NextHopGroups = Quor::SmallSet<NextHopGroupId, 2>;

    NextHopGroups const& nextHopGroup() const { return nextHopGroups_; }
    void nextHopGroupIs(NextHopGroupId id) { nextHopGroups_.insert(id); }
    void nextHopGroupDel(NextHopGroupId id) { nextHopGroups_.erase(id); }
    void nextHopGroupDelAll() { nextHopGroups_.clear(); }

private:
    NextHopGroups nextHopGroups_;
};

/// Which groups a change of a next hop concerns. Owned by gRIBI's publish machine.
class SRTE_EXPORT NexthopToNexthopGroupMap final : public Quor::PtrInterface {
public:
    using Entries = Quor::OrderedMap<NextHopId, NexthopToNexthopGroupEntry>;

    Entries const& nhToNhgEntry() const { return entries_; }
    /// Creates the entry when it is missing.
    NexthopToNexthopGroupEntry& nhToNhgEntryIs(NextHopId id) {
        return *entries_.tryEmplace(id).first;
    }
    /// Null when absent; valid until the next change.
    NexthopToNexthopGroupEntry* nhToNhgEntry(NextHopId id) { return entries_.find(id); }
    void nhToNhgEntryDel(NextHopId id) { entries_.erase(id); }
    void nhToNhgEntryDelAll() { entries_.clear(); }

private:
    Entries entries_;
};

/// The incoming labels that point at one group. Owned by gRIBI's LFIB machine.
class SRTE_EXPORT NhgIdToMplsLabelsEntry {
public:
    using Labels = Quor::SmallSet<Wirex::MplsLabel, 2>;

    Labels const& labelSet() const { return labels_; }
    void labelSetIs(Wirex::MplsLabel label) { labels_.insert(label); }
    void labelSetDel(Wirex::MplsLabel label) { labels_.erase(label); }
    bool labelSetHas(Wirex::MplsLabel label) const { return labels_.has(label); }
    void labelSetDelAll() { labels_.clear(); }

private:
    Labels labels_;
};

struct SRTE_EXPORT TunnelWeightEntry {
    Tunnel::TunnelTable::TunnelId tunnelId;
    std::uint64_t weight = 0;
};

/// The tunnels that one group spreads its traffic over, by tunnel id, so that an unchanged group
/// always gives the same vias. Refilled for every evaluation: a sorted row that keeps its storage.
class SRTE_EXPORT TunnelWeightMap {
public:
    std::span<TunnelWeightEntry const> tunnelWeightEntry() const { return entries_; }
    /// The existing entry or a new one; valid until the next change.
    TunnelWeightEntry& tunnelWeightEntryIs(Tunnel::TunnelTable::TunnelId tunnelId);
    void tunnelWeightEntryDel(Tunnel::TunnelTable::TunnelId tunnelId);
    void tunnelWeightEntryDelAll() { entries_.clear(); }

private:
    std::vector<TunnelWeightEntry> entries_;
};

/// Overwrites the weight of a tunnel that is there already.
SRTE_EXPORT void addTunnelWeightEntry(TunnelWeightMap& map, Tunnel::TunnelTable::TunnelId tunnelId,
                                      std::uint64_t weight);

}  // namespace Gribi
